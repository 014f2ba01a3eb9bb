#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "Support/Mutex.h"
#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/ControlHandler.h"
#include "WyvletShared/Result.h"

namespace wyvlet::sample {

/// The control channel: a Unix-domain stream socket on which scripts play the user. A client sends a
/// command a line and gets a line for each: "ok", "ok TEXT" or "error TEXT" (see ControlLine.h for
/// line feeds inside). Several clients may be connected. Points are those of the 390x844 screen.
///
///     tap X Y                   taps what lies there
///     tap-label LABEL           taps the element with that label or text; else one that contains it
///     tap-id IDENTIFIER         taps the element with that identifier
///     touch-down X Y            begins a touch; touch-up X Y ends it. Half a second or longer on a
///                               crossing marks it as saved
///     swipe X1 Y1 X2 Y2         scrolls; from the left edge to the right goes back
///     type TEXT                 types into the focused text field
///     button NAME               home, lock, side-button (background and back), siri, apple-pay
///     activate                  brings the app to the foreground
///     screen                    the screen and its elements as JSON
///     describe-ui               the same as an accessibility tree, in AXe's form
///     screenshot PATH           saves the picture of the screen
///     settle [SECONDS]          waits, for SECONDS (5) at most, until no call is under way and the
///                               servers have been sent everything
///     overlays                  the last notices of the servers as JSON, and whether one is visible
///     held                      the calls held by intercept rules as JSON
///     approve [ID|all]          lets held calls go
///     emit-log N                logs N entries
///     log LEVEL CATEGORY TEXT   logs one
///     emit-request [METHOD] URL [BODY]   makes a call
///     environment [NAME]        the active environment, or switches to another
///     deep-link URL             opens harbor://home, results?from=&to=, booking/ID, confirmation,
///                               profile, help
///     record [NAME]             records a flow until stop-recording
///     links                     how many servers are connected
///     restart-link              ends the links; servers may connect again
///     crash [REASON]            leaves a crash report (the answer is its path) and dies of SIGABRT
///     quit                      ends the app
///     help                      the names of all commands
///
/// A thread accepts and one thread serves each client. Owned by the app; destroyed only before the
/// loop has run or after it has ended.
class ControlServer {
 public:
  ControlServer(AppLoop& loop, ControlHandler& handler);
  /// Ends the channel and deletes the socket file.
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  /// Listens on `path`, taking the place of a socket file that nobody listens on any more; "" or why
  /// it cannot. Only this user may connect.
  std::string listen(const std::string& path);

  /// A fresh path in a directory that only this user can enter; "" when none can be made.
  static std::string defaultPath();

 private:
  class Client;

  void accept();

  AppLoop& loop_;
  ControlHandler& handler_;
  std::string path_;
  int socket_ = -1;
  int wakeReader_ = -1;
  int wakeWriter_ = -1;
  std::thread acceptor_;
  std::list<std::unique_ptr<Client>> clients_;  // the accepting thread's, until it has been joined
};

}  // namespace wyvlet::sample
