#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "WyvletSampleApp/AppModel.h"
#include "WyvletSampleApp/PerformanceMeter.h"
#include "WyvletSampleApp/Probe.h"
#include "WyvletShared/CompanionMessage.h"

namespace wyvlet::sample {

/// Carries out what a server asks for. A question is answered through `reply`; the effects of a
/// command reach all servers as events or as a full sync. A command that is unknown or cannot be
/// read is ignored with a line in the app's own log. Loop thread only; the references must outlive it.
class CommandHandler {
 public:
  /// Takes the body of one frame, for the server that asked.
  using Reply = std::function<void(std::string)>;

  CommandHandler(AppModel& app, Probe& probe, const PerformanceMeter& meter, int scale)
      : app_(app), probe_(probe), meter_(meter), scale_(scale) {}

  void handle(const ReceivedMessage& message, const Reply& reply);

 private:
  struct Command;
  static const Command kCommands[];

  // One function a command; they give why the command was ignored, or "".
  std::string switchEnvironment(const Bytes& payload, const Reply& reply);
  std::string clearStore(const Bytes& payload, const Reply& reply);
  std::string toggleRule(const Bytes& payload, const Reply& reply);
  std::string replayRequest(const Bytes& payload, const Reply& reply);
  std::string fireDeepLink(const Bytes& payload, const Reply& reply);
  std::string markQAPassed(const Bytes& payload, const Reply& reply);
  std::string markQAFailed(const Bytes& payload, const Reply& reply);
  std::string resetQAItem(const Bytes& payload, const Reply& reply);
  std::string fetchBody(const Bytes& payload, const Reply& reply);
  std::string addMockRule(const Bytes& payload, const Reply& reply);
  std::string removeMockRule(const Bytes& payload, const Reply& reply);
  std::string addInterceptRule(const Bytes& payload, const Reply& reply);
  std::string removeInterceptRule(const Bytes& payload, const Reply& reply);
  std::string findElement(const Bytes& payload, const Reply& reply);
  std::string screenText(const Bytes& payload, const Reply& reply);
  std::string requestSnapshot(const Bytes& payload, const Reply& reply);
  std::string requestScreenshot(const Bytes& payload, const Reply& reply);
  std::string screenHTML(const Bytes& payload, const Reply& reply);
  std::string perfSnapshot(const Bytes& payload, const Reply& reply);
  std::string accessibilityAudit(const Bytes& payload, const Reply& reply);
  std::string webViewConsole(const Bytes& payload, const Reply& reply);
  std::string showOverlay(const Bytes& payload, const Reply& reply);
  std::string hideOverlay(const Bytes& payload, const Reply& reply);
  std::string typeText(const Bytes& payload, const Reply& reply);

  std::string markQA(const Bytes& payload, Probe::QAStatus status);

  AppModel& app_;
  Probe& probe_;
  const PerformanceMeter& meter_;
  int scale_;
};

}  // namespace wyvlet::sample
