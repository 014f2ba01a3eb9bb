#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/AppModel.h"
#include "WyvletSampleApp/CompanionServer.h"
#include "WyvletSampleApp/NetworkEngine.h"
#include "WyvletSampleApp/Probe.h"

namespace wyvlet::sample {

/// What a line on the control channel is answered with.
struct ControlAnswer {
  bool ok = true;
  std::string text;
  std::function<void()> afterwards;  ///< run on the loop once the answer has been written; may be empty

  /// "ok", "ok TEXT" or "error TEXT", in one line.
  std::string line() const;
};

/// Carries out the commands of the control channel, which its server documents. Loop thread only;
/// the references must outlive it.
class ControlHandler {
 public:
  using Reply = std::function<void(ControlAnswer)>;

  struct Settings {
    std::string bundleId;
    std::string crashDirectory;
    int scale = 1;
  };

  ControlHandler(AppLoop& loop, AppModel& app, Probe& probe, NetworkEngine& network, CompanionServer& server,
                 Settings settings)
      : loop_(loop),
        app_(app),
        probe_(probe),
        network_(network),
        server_(server),
        settings_(std::move(settings)) {}

  /// `reply` is called once, at once or, for "settle", later.
  void handle(std::string_view line, const Reply& reply);

 private:
  struct Command;
  static const Command kCommands[];

  ControlAnswer tap(const std::string& rest);
  ControlAnswer tapLabel(const std::string& rest);
  ControlAnswer tapIdentifier(const std::string& rest);
  ControlAnswer touchDown(const std::string& rest);
  ControlAnswer touchUp(const std::string& rest);
  ControlAnswer swipe(const std::string& rest);
  ControlAnswer type(const std::string& rest);
  ControlAnswer button(const std::string& rest);
  ControlAnswer activate(const std::string& rest);
  ControlAnswer screen(const std::string& rest);
  ControlAnswer describeUI(const std::string& rest);
  ControlAnswer screenshot(const std::string& rest);
  ControlAnswer overlays(const std::string& rest);
  ControlAnswer held(const std::string& rest);
  ControlAnswer approve(const std::string& rest);
  ControlAnswer emitLog(const std::string& rest);
  ControlAnswer log(const std::string& rest);
  ControlAnswer emitRequest(const std::string& rest);
  ControlAnswer environment(const std::string& rest);
  ControlAnswer deepLink(const std::string& rest);
  ControlAnswer record(const std::string& rest);
  ControlAnswer stopRecording(const std::string& rest);
  ControlAnswer links(const std::string& rest);
  ControlAnswer restartLink(const std::string& rest);
  ControlAnswer crash(const std::string& rest);
  ControlAnswer quit(const std::string& rest);
  ControlAnswer help(const std::string& rest);

  void settle(double deadline, const Reply& reply);

  AppLoop& loop_;
  AppModel& app_;
  Probe& probe_;
  NetworkEngine& network_;
  CompanionServer& server_;
  Settings settings_;
};

}  // namespace wyvlet::sample
