#include "Client/MessageHandler.h"

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "Client/AppRequests.h"
#include "Client/ResponseFormatters.h"
#include "Client/StateCache.h"
#include "Support/Log.h"
#include "WyvletShared/RecordCodec.h"

namespace wyvlet {
namespace {

/// How the answer of a type is worded, and who waits for it.
struct AnswerRoute {
  std::string_view rawType;
  FormattedResponse (*format)(std::string_view payload);
  AnswerKind kind;
};

constexpr std::array kRegisteredAnswers = {
    AnswerRoute{"response.findElement", formatFindResponse, AnswerKind::Find},
    AnswerRoute{"response.screenText", formatScreenTextResponse, AnswerKind::ScreenText},
    AnswerRoute{"response.snapshot", formatSnapshotResponse, AnswerKind::Snapshot},
    AnswerRoute{"response.screenshot", formatScreenshotResponse, AnswerKind::Screenshot},
    AnswerRoute{"response.screenHTML", formatScreenHTMLResponse, AnswerKind::ScreenHTML},
};

constexpr std::array kFreeFormAnswers = {
    AnswerRoute{"response.perfSnapshot", formatPerfSnapshotResponse, AnswerKind::PerfSnapshot},
    AnswerRoute{"response.accessibilityAudit", formatAccessibilityAuditResponse,
                AnswerKind::AccessibilityAudit},
    AnswerRoute{"response.webViewConsole", formatWebViewConsoleResponse, AnswerKind::WebViewConsole},
    AnswerRoute{"response.tap", formatInputResponse, AnswerKind::Input},
    AnswerRoute{"response.swipe", formatInputResponse, AnswerKind::Input},
    AnswerRoute{"response.typeText", formatInputResponse, AnswerKind::Input},
    AnswerRoute{"response.input", formatInputResponse, AnswerKind::Input},
};

/// The line for every message, made once for each type: an app may send a hundred thousand a second.
const std::string& receivedLine(CompanionMessageType type) {
  static const auto kLines = [] {
    std::array<std::string, kCompanionMessageTypeCount> lines;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      lines[i] = "Received: " + std::string(caseName(static_cast<CompanionMessageType>(i)));
    }
    return lines;
  }();
  return kLines[static_cast<std::size_t>(type)];
}

template <class List>
std::size_t count(const std::optional<List>& list) {
  return list ? list->size() : 0;
}

template <std::size_t Count>
void deliver(const std::array<AnswerRoute, Count>& routes, std::string_view rawType, std::string_view payload,
             StateCache& cache, AppRequests& requests) {
  for (const auto& route : routes) {
    if (route.rawType != rawType) continue;
    auto answer = route.format(payload);
    if (answer.screen) cache.setCurrentScreen(*answer.screen);
    requests.store(route.kind, std::move(answer));
    return;
  }
}

}  // namespace

std::optional<LenientSyncPayload> MessageHandler::handle(std::string_view body) {
  auto received = decodeEnvelope(body);
  if (received.registered) return handleMessage(*received.registered);
  if (received.free) {
    handleFreeForm(*received.free);
  } else {
    logLine(kClientTag, "Decode error (" + std::to_string(body.size()) + " bytes): " + received.reason);
  }
  return std::nullopt;
}

std::optional<LenientSyncPayload> MessageHandler::handleMessage(const CompanionMessage& message) {
  logLine(kClientTag, receivedLine(message.type));
  const std::string_view payload = message.payload.data;
  switch (message.type) {
    case CompanionMessageType::syncFull: {
      auto sync = decodeRecord<LenientSyncPayload>(payload);
      if (sync) return *std::move(sync);
      logLine(kClientTag, "Sync decode error: " + sync.reason());
      break;
    }
    case CompanionMessageType::eventHttpRequest:
      if (auto request = decodeRecord<TransferableNetworkRequest>(payload)) {
        cache_.append(*std::move(request), payload.size());
      }
      break;
    case CompanionMessageType::eventWsConnection:
      if (auto connection = decodeRecord<TransferableWSConnection>(payload)) {
        if (!cache_.upsert(*std::move(connection), payload.size())) {
          logLine(kClientTag, "Dropped a WebSocket event: the connections hold too much already");
        }
      }
      break;
    case CompanionMessageType::eventLog:
      if (auto entry = decodeRecord<TransferableLogEntry>(payload)) {
        cache_.append(*std::move(entry), payload.size());
      }
      break;
    case CompanionMessageType::eventEnvironmentChanged:
      if (auto state = decodeRecord<EnvironmentStatePayload>(payload)) {
        cache_.replaceEnvironments(*std::move(state));
      }
      break;
    case CompanionMessageType::eventQAStatusChanged:
      if (auto results = decodeRecord<std::vector<TransferableQAResult>>(payload)) {
        cache_.replaceQAResults(*std::move(results));
      }
      break;
    default:
      // Of the others only the answers matter: after a change of rules or a clear the app sends a
      // new full sync.
      deliver(kRegisteredAnswers, rawString(message.type), payload, cache_, requests_);
  }
  return std::nullopt;
}

void MessageHandler::handleFreeForm(const RawMessage& message) {
  deliver(kFreeFormAnswers, message.type, message.payload.data, cache_, requests_);
}

std::string syncSummary(const LenientSyncPayload& sync) {
  const auto environments = sync.environmentState ? count(sync.environmentState->environments) : 0;
  const auto results = sync.qaState ? count(sync.qaState->results) : 0;
  return "Synced: " + std::to_string(count(sync.httpRequests)) + " reqs, " +
         std::to_string(count(sync.logEntries)) + " logs, " + std::to_string(environments) + " envs, " +
         std::to_string(results) + " QA, " + std::to_string(count(sync.userDefaultsEntries)) + " UD";
}

}  // namespace wyvlet
