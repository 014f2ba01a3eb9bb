#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/AppState.h"
#include "WyvletSampleApp/Element.h"
#include "WyvletSampleApp/NetworkEngine.h"
#include "WyvletSampleApp/PriceTicker.h"
#include "WyvletSampleApp/Probe.h"
#include "WyvletShared/FullSync.h"
#include "WyvletShared/Result.h"

namespace wyvlet::sample {

/// Harbor Travel, the app under test: its state, how a finger and a keyboard change it, and the
/// calls that it makes. Input answers with what happened, or with why nothing did; the consequences
/// of a call come when the backend answers. Loop thread only; the three references must outlive it.
class AppModel {
 public:
  AppModel(AppLoop& loop, Probe& probe, NetworkEngine& network);

  /// What the app does when it is started. Takes about two seconds on the loop's clock.
  void launch();

  const AppState& state() const { return state_; }
  std::vector<Element> elements() const;
  std::string_view screen() const;

  // The hand of the user; points.
  Result<std::string> tap(int x, int y);
  Result<std::string> tapLabel(std::string_view label);
  Result<std::string> tapIdentifier(std::string_view identifier);
  /// A touch that lasts half a second or longer on a crossing marks it as saved instead of opening it.
  Result<std::string> touchDown(int x, int y);
  Result<std::string> touchUp(int x, int y);
  /// Up and down scrolls; to the right from the left edge goes back.
  Result<std::string> swipe(int x1, int y1, int x2, int y2);
  /// Types into the focused field, in place of the text that was there when it got the focus.
  Result<std::string> type(std::string_view text);
  /// "home" and "lock" (also "side-button") send the app to the background and bring it back; "siri"
  /// and "apple-pay" leave it as it is.
  Result<std::string> pressButton(std::string_view name);
  /// Brings the app to the foreground, as launching a running app does.
  void activate();

  // What servers ask for.
  /// harbor://home, results?from=&to=, booking/ID, confirmation, profile, help. False for others.
  bool openDeepLink(const std::string& url);
  bool switchEnvironment(const UUID& id);
  bool switchEnvironment(std::string_view name);
  /// A call that no screen asked for.
  void send(HTTPCall call);

  void startRecording(std::string name);
  Result<std::string> stopRecording();

 private:
  Result<std::string> tapped(const Element* element, int x, int y);
  void perform(const Element& element);
  void navigate(ScreenID screen);
  void goBack();

  void log(std::string_view level, std::string_view category, std::string message,
           const char* file = __builtin_FILE(), int line = __builtin_LINE());
  HTTPCall call(std::string method, std::string url, std::optional<std::string> body = {}) const;
  /// Logs a reply that was no success.
  void logFailure(const std::string& what, const HTTPReply& reply);
  void loadInit();
  void loadProfile();
  void loadPromotionPage();
  void search();
  void openFare(const std::string& id);
  void confirmBooking();
  void openHelp();
  void togglePush();
  void toggleDarkMode();
  std::string* fieldText(std::string_view identifier);
  void recordStep(FlowStepData step);
  void environmentSwitched();

  AppLoop& loop_;
  Probe& probe_;
  NetworkEngine& network_;
  PriceTicker ticker_;
  AppState state_;
  bool inBackground_ = false;
  bool fieldSelected_ = false;  // the next text replaces the field's content
  std::uint64_t searches_ = 0;  // only the newest search's reply counts
  std::uint64_t openings_ = 0;  // and only what concerns the newest opened fare is shown
  std::optional<RecordedFlowData> recording_;
  struct Touch {
    std::string identifier;
    double at = 0;
  };
  std::optional<Touch> touch_;
};

}  // namespace wyvlet::sample
