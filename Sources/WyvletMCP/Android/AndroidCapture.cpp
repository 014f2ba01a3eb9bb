#include "Android/AndroidCapture.h"

#include <boost/json.hpp>
#include <chrono>
#include <utility>

#include "Android/AndroidScreen.h"
#include "Android/AndroidShell.h"
#include "Android/AndroidTools.h"
#include "Android/BridgeCommands.h"
#include "Android/CaptureFile.h"
#include "Support/Environment.h"
#include "Support/Files.h"
#include "Support/Text.h"
#include "WyvletShared/UUID.h"

namespace wyvlet::AndroidCapture {
namespace {

using std::chrono::system_clock;

/// How long the bridge gets to put the preferences into its capture.
constexpr std::chrono::seconds kPrefsPatience(1);

constexpr std::string_view kDumpFailed = "Failed to dump UI hierarchy";

// Never destroyed, because a tool call may outlast main.
CaptureFile& captureFile() {
  static auto& file = *new CaptureFile;
  return file;
}

AndroidScreen& screen() {
  static auto& screen = *new AndroidScreen(ProcessRunner::system());
  return screen;
}

ParsedCapture capture() { return captureFile().read(capturePath(), system_clock::now()); }

BridgeFiles bridgeFiles() { return {.capture = capturePath(), .commands = commandsPath()}; }

/// A text that is absent when there is nothing in it.
std::optional<std::string> nonEmpty(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
}

}  // namespace

std::string capturePath() { return homeFromEnvironment() + "/.wyvletqa/android-capture.json"; }
std::string commandsPath() { return homeFromEnvironment() + "/.wyvletqa/android-commands.json"; }

bool isPresent() { return fileStamp(capturePath()).has_value(); }

bool isActive() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(system_clock::now());
  return AndroidTools::isLive(capture().get(), now.time_since_epoch().count());
}

std::string status() { return AndroidTools::status(capture().get()); }

std::string networkLogs(std::int64_t limit, const std::optional<std::string>& urlFilter) {
  return AndroidTools::networkLogs(capture().get(), limit, urlFilter);
}

std::string requestDetail(std::string_view id) { return AndroidTools::requestDetail(capture().get(), id); }

std::string appLogs(std::int64_t limit, const std::optional<std::string>& level) {
  return AndroidTools::appLogs(capture().get(), limit, level);
}

std::string assertRequest(std::string_view urlPattern, const std::optional<std::string>& method) {
  return AndroidTools::assertRequest(capture().get(), urlPattern, method);
}

std::string readPrefs(const std::optional<std::string>& prefsName) {
  return requestPrefs(bridgeFiles(), captureFile(), nonEmpty(prefsName), kPrefsPatience);
}

std::string addMockRule(const boost::json::object& args) {
  const auto rule = mockRuleFromArguments(args, UUID::random().text());
  if (!rule) return "Error: url_pattern is required";
  return sendCommand(bridgeFiles(), addMockRuleCommand(*rule)).value_or(formatMockRuleAdded(*rule));
}

std::string removeMockRule(std::string_view id) {
  if (id.empty()) return "Error: rule_id is required";
  return sendCommand(bridgeFiles(), removeMockRuleCommand(id))
      .value_or("Mock rule removed: " + std::string(id));
}

std::string screenHTML(const std::optional<std::string>& serial) {
  const auto nodes = screen().read(serial);
  return nodes ? formatUIHTML(*nodes) : std::string(kDumpFailed);
}

std::string screenText(const std::optional<std::string>& serial) {
  const auto nodes = screen().read(serial);
  return nodes ? formatUIText(*nodes) : std::string(kDumpFailed);
}

std::string findElement(std::string_view text, bool exact, const std::optional<std::string>& serial) {
  const auto nodes = screen().read(serial);
  return nodes ? formatUIMatches(*nodes, text, exact) : std::string(kDumpFailed);
}

void forgetScreen() { screen().forget(); }

std::optional<std::string> shell(const std::string& command) {
  auto outcome = runAndroidCommand(ProcessRunner::system(), command);
  if (!outcome.started() || !isValidUTF8(outcome.output)) return std::nullopt;
  return std::move(outcome.output);
}

}  // namespace wyvlet::AndroidCapture
