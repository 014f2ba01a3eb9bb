// What an app sends in one session, and the answers of every tool that reads what was kept of it.
//
// The input is a row of messages that end with a NUL byte each; a message's first byte chooses its type,
// the rest is its payload. Each leaves log lines: run with -close_fd_mask=2.

#include <algorithm>
#include <array>
#include <boost/json.hpp>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Client/AppRequests.h"
#include "Client/MessageHandler.h"
#include "Client/ResponseFormatters.h"
#include "Client/StateCache.h"
#include "Support/Text.h"
#include "Tools/EnvironmentTools.h"
#include "Tools/FlowTools.h"
#include "Tools/QATools.h"
#include "Tools/RuleTools.h"
#include "Tools/StatusTools.h"
#include "Tools/StorageTools.h"
#include "Tools/Timeline.h"
#include "Tools/TrafficTools.h"
#include "Tools/VerificationTools.h"
#include "WyvletShared/CompanionMessage.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

void requireAnswer(const std::string& answer) { require(!answer.empty() && isValidUTF8(answer)); }

using Format = FormattedResponse (*)(std::string_view);
constexpr std::array<Format, 9> kFormats = {
    formatSnapshotResponse,   formatScreenshotResponse,     formatFindResponse,
    formatScreenTextResponse, formatScreenHTMLResponse,     formatPerfSnapshotResponse,
    formatInputResponse,      formatWebViewConsoleResponse, formatAccessibilityAuditResponse};

constexpr std::array<std::string_view, 8> kFreeTypes = {
    "response.perfSnapshot", "response.accessibilityAudit", "response.webViewConsole", "response.tap",
    "response.swipe",        "response.typeText",           "response.input",          "response.unknown"};

std::string body(unsigned char choice, std::string_view payload) {
  const Bytes bytes{std::string(payload)};
  if (choice < kCompanionMessageTypeCount) {
    return encodeEnvelope(CompanionMessage{static_cast<CompanionMessageType>(choice), bytes, Date{}});
  }
  return encodeEnvelope(RawMessage{std::string(kFreeTypes[choice % kFreeTypes.size()]), bytes, Date{}});
}

void receive(StateCache& cache, MessageHandler& handler, std::string_view message) {
  const auto choice = static_cast<unsigned char>(message.front());
  const auto payload = message.substr(1);
  if (auto sync = handler.handle(body(choice, payload))) {
    requireAnswer(syncSummary(*sync));
    cache.swap(*StateCache::prepare(*std::move(sync)));
  }
  requireAnswer(kFormats[choice % kFormats.size()](payload).text);
}

void askEveryTool(CacheSnapshot cache) {
  cache.isConnected = true;
  const Date now{1'700'000'000};
  requireAnswer(status(cache));
  requireAnswer(networkLogs(cache, 20, std::nullopt, std::nullopt));
  requireAnswer(appLogs(cache, 20, std::nullopt, std::nullopt));
  requireAnswer(appLogs(cache, -1, "error", cache.currentScreen));
  requireAnswer(websocketLogs(cache, 3));
  requireAnswer(userDefaults(cache, std::nullopt));
  requireAnswer(cookies(cache));
  requireAnswer(recordedFlows(cache));
  requireAnswer(qaChecklist(cache));
  requireAnswer(rules(cache));
  requireAnswer(environment(cache));
  requireAnswer(timeline(cache, 1'000'000'000, 100, now));
  requireAnswer(checkEvent(cache, {.name = "", .property = "a", .value = "b"}, now));
  requireAnswer(assertRequest(cache, {}, now));
  for (const auto& request : cache.httpRequests) {
    requireAnswer(requestDetail(cache, request.id.text()));
    requireAnswer(networkLogs(cache, 1, request.screenName, request.host));
  }
  for (const auto& known : cache.environments) {
    requireAnswer(switchEnvironment(cache, known.name, [](const auto&) {}));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  StateCache cache;
  AppRequests requests({.isConnected = [] { return true; }, .send = [](auto, const auto&) {}});
  MessageHandler handler(cache, requests);
  while (!input.empty()) {
    const auto message = input.substr(0, input.find('\0'));
    if (!message.empty()) receive(cache, handler, message);
    input.remove_prefix(std::min(message.size() + 1, input.size()));
  }
  askEveryTool(cache.snapshot());
  return 0;
}
