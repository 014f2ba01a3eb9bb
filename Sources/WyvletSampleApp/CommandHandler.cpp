#include "WyvletSampleApp/CommandHandler.h"

#include <fmt/format.h>

#include <boost/json.hpp>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "WyvletSampleApp/ScreenAnswers.h"
#include "WyvletSampleApp/ScreenRenderer.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {
namespace {

namespace json = boost::json;

/// The arguments of a free-form command.
class Arguments {
 public:
  /// An empty payload stands for no arguments.
  explicit Arguments(const Bytes& payload) {
    if (payload.data.empty()) return;
    boost::system::error_code error;
    json::value value = json::parse(payload.data, error);
    if (!error && value.is_object()) object_ = std::move(value.as_object());
  }

  std::optional<std::string> text(std::string_view key) const {
    const json::value* value = object_.if_contains(key);
    if (value == nullptr || !value->is_string()) return {};
    return std::string(value->as_string());
  }

  std::optional<bool> boolean(std::string_view key) const {
    const json::value* value = object_.if_contains(key);
    if (value == nullptr || !value->is_bool()) return {};
    return value->as_bool();
  }

  std::optional<std::int64_t> integer(std::string_view key) const {
    const json::value* value = object_.if_contains(key);
    if (value == nullptr || !value->is_number()) return {};
    if (value->is_int64()) return value->as_int64();
    const double number = value->to_number<double>();
    constexpr double kMost = 9e15;
    if (std::trunc(number) != number || std::abs(number) > kMost) return {};
    return static_cast<std::int64_t>(number);
  }

 private:
  json::object object_;
};

/// An answer that the registry knows.
template <class Record>
std::string answer(CompanionMessageType type, const Record& record) {
  return encodeEnvelope(CompanionMessage::make(type, record, DateEpoch::Unix1970), DateEpoch::Unix1970);
}

/// An answer that it does not know.
template <class Record>
std::string answer(std::string_view type, const Record& record) {
  return encodeEnvelope(RawMessage{std::string(type), Bytes{encodeRecord(record)}, Date::now()});
}

}  // namespace

struct CommandHandler::Command {
  std::string_view type;
  std::string (CommandHandler::*run)(const Bytes&, const Reply&);
};

const CommandHandler::Command CommandHandler::kCommands[] = {
    {"command.switchEnvironment", &CommandHandler::switchEnvironment},
    {"command.clearStore", &CommandHandler::clearStore},
    {"command.toggleRule", &CommandHandler::toggleRule},
    {"command.replayRequest", &CommandHandler::replayRequest},
    {"command.fireDeepLink", &CommandHandler::fireDeepLink},
    {"command.markQAPassed", &CommandHandler::markQAPassed},
    {"command.markQAFailed", &CommandHandler::markQAFailed},
    {"command.resetQAItem", &CommandHandler::resetQAItem},
    {"command.fetchBody", &CommandHandler::fetchBody},
    {"command.addMockRule", &CommandHandler::addMockRule},
    {"command.removeMockRule", &CommandHandler::removeMockRule},
    {"command.addInterceptRule", &CommandHandler::addInterceptRule},
    {"command.removeInterceptRule", &CommandHandler::removeInterceptRule},
    {"command.findElement", &CommandHandler::findElement},
    {"command.screenText", &CommandHandler::screenText},
    {"command.requestSnapshot", &CommandHandler::requestSnapshot},
    {"command.requestScreenshot", &CommandHandler::requestScreenshot},
    {"command.screenHTML", &CommandHandler::screenHTML},
    {"command.perfSnapshot", &CommandHandler::perfSnapshot},
    {"command.accessibilityAudit", &CommandHandler::accessibilityAudit},
    {"command.getWebViewConsole", &CommandHandler::webViewConsole},
    {"command.showOverlay", &CommandHandler::showOverlay},
    {"command.hideOverlay", &CommandHandler::hideOverlay},
    {"command.typeText", &CommandHandler::typeText},
};

void CommandHandler::handle(const ReceivedMessage& message, const Reply& reply) {
  const std::string type(message.registered ? rawString(message.registered->type)
                         : message.free     ? std::string_view(message.free->type)
                                            : std::string_view());
  const Bytes none;
  const Bytes& payload = message.registered ? message.registered->payload
                         : message.free     ? message.free->payload
                                            : none;
  for (const Command& command : kCommands) {
    if (command.type != type) continue;
    const std::string reason = (this->*command.run)(payload, reply);
    if (!reason.empty()) {
      probe_.log("WARN", "Companion", fmt::format("Ignored {}: {}", type, reason), app_.screen());
    }
    return;
  }
  probe_.log("WARN", "Companion", "Ignored unknown message " + type, app_.screen());
}

// Typed commands

std::string CommandHandler::switchEnvironment(const Bytes& payload, const Reply&) {
  const auto command = decodeRecord<SwitchEnvironmentCommand>(payload.data);
  if (!command) return command.reason();
  return app_.switchEnvironment(command->environmentId) ? "" : "no such environment";
}

std::string CommandHandler::clearStore(const Bytes& payload, const Reply&) {
  const auto command = decodeRecord<ClearStoreCommand>(payload.data);
  if (!command) return command.reason();
  return probe_.clearStore(command->storeName) ? "" : "no store " + command->storeName;
}

std::string CommandHandler::toggleRule(const Bytes& payload, const Reply&) {
  const auto command = decodeRecord<ToggleRuleCommand>(payload.data);
  if (!command) return command.reason();
  if (!probe_.rules().toggle(command->ruleType, command->ruleId)) return "no such rule";
  probe_.rulesChanged();
  return "";
}

std::string CommandHandler::replayRequest(const Bytes& payload, const Reply&) {
  auto command = decodeRecord<ReplayRequestCommand>(payload.data);
  if (!command) return command.reason();
  HTTPCall call;
  call.method = command->method;
  call.url = command->url;
  call.headers = command->headers;
  if (command->body) call.body = command->body->data;
  call.verbatim = true;
  app_.send(std::move(call));
  return "";
}

std::string CommandHandler::fireDeepLink(const Bytes& payload, const Reply&) {
  const auto command = decodeRecord<FireDeepLinkCommand>(payload.data);
  if (!command) return command.reason();
  return app_.openDeepLink(command->url) ? "" : "no screen for it";
}

std::string CommandHandler::markQA(const Bytes& payload, Probe::QAStatus status) {
  const auto command = decodeRecord<MarkQACommand>(payload.data);
  if (!command) return command.reason();
  return probe_.markQA(command->itemId, status, command->notes, command->requestIds) ? "" : "no such item";
}

std::string CommandHandler::markQAPassed(const Bytes& payload, const Reply&) {
  return markQA(payload, Probe::QAStatus::Passed);
}

std::string CommandHandler::markQAFailed(const Bytes& payload, const Reply&) {
  return markQA(payload, Probe::QAStatus::Failed);
}

std::string CommandHandler::resetQAItem(const Bytes& payload, const Reply&) {
  return markQA(payload, Probe::QAStatus::Pending);
}

std::string CommandHandler::fetchBody(const Bytes& payload, const Reply&) {
  const auto command = decodeRecord<FetchBodyCommand>(payload.data);
  if (!command) return command.reason();
  return probe_.resendWithBody(command->requestId) ? "" : "no such request";
}

// Rules

std::string CommandHandler::addMockRule(const Bytes& payload, const Reply&) {
  const Arguments arguments(payload);
  const auto pattern = arguments.text("urlPattern");
  if (!pattern) return "urlPattern is missing";
  TransferableMockRule rule;
  rule.id = UUID::random();
  rule.name = arguments.text("name").value_or("Mock");
  rule.matchPattern = {"contains", *pattern};
  rule.httpMethod = arguments.text("httpMethod");
  rule.mockStatusCode = arguments.integer("statusCode").value_or(200);
  rule.mockResponseHeaders = {{"Content-Type", "application/json"}};
  rule.mockResponseBody = Bytes{arguments.text("responseBody").value_or("")};
  rule.isEnabled = true;
  rule.createdAt = Date::now();
  probe_.rules().addMock(std::move(rule));
  probe_.rulesChanged();
  return "";
}

std::string CommandHandler::removeMockRule(const Bytes& payload, const Reply&) {
  if (!probe_.rules().removeMock(Arguments(payload).text("ruleId").value_or(""))) return "no such rule";
  probe_.rulesChanged();
  return "";
}

std::string CommandHandler::addInterceptRule(const Bytes& payload, const Reply&) {
  const Arguments arguments(payload);
  const auto pattern = arguments.text("urlPattern");
  if (!pattern) return "urlPattern is missing";
  TransferableInterceptRule rule;
  rule.id = UUID::random();
  rule.name = arguments.text("name").value_or("Intercept");
  rule.matchPattern = {"contains", *pattern};
  rule.httpMethod = arguments.text("httpMethod");
  rule.isEnabled = true;
  rule.createdAt = Date::now();
  probe_.rules().addIntercept(std::move(rule));
  probe_.rulesChanged();
  return "";
}

std::string CommandHandler::removeInterceptRule(const Bytes& payload, const Reply&) {
  if (!probe_.rules().removeIntercept(Arguments(payload).text("ruleId").value_or(""))) return "no such rule";
  probe_.rulesChanged();
  return "";
}

// Questions

std::string CommandHandler::findElement(const Bytes& payload, const Reply& reply) {
  const Arguments arguments(payload);
  const auto text = arguments.text("text");
  if (!text) return "text is missing";
  reply(answer(
      CompanionMessageType::responseFindElement,
      findElements(app_.screen(), app_.elements(), *text, arguments.boolean("exact").value_or(false))));
  return "";
}

std::string CommandHandler::screenText(const Bytes&, const Reply& reply) {
  reply(answer(CompanionMessageType::responseScreenText, sample::screenText(app_.screen(), app_.elements())));
  return "";
}

std::string CommandHandler::requestSnapshot(const Bytes&, const Reply& reply) {
  reply(answer(CompanionMessageType::responseSnapshot, screenSnapshot(app_.screen(), app_.elements())));
  return "";
}

std::string CommandHandler::requestScreenshot(const Bytes&, const Reply& reply) {
  const std::string png = drawScreen(app_.state(), scale_).png();
  if (png.empty()) return "the picture could not be made";
  reply(answer(CompanionMessageType::responseScreenshot,
               ScreenshotResponse{std::string(app_.screen()), encodeBase64(png)}));
  return "";
}

std::string CommandHandler::screenHTML(const Bytes&, const Reply& reply) {
  reply(answer(CompanionMessageType::responseScreenHTML, sample::screenHTML(app_.screen(), app_.elements())));
  return "";
}

std::string CommandHandler::perfSnapshot(const Bytes&, const Reply& reply) {
  reply(answer("response.perfSnapshot", meter_.snapshot(app_.screen())));
  return "";
}

std::string CommandHandler::accessibilityAudit(const Bytes&, const Reply& reply) {
  reply(answer("response.accessibilityAudit", sample::accessibilityAudit(app_.screen(), app_.elements())));
  return "";
}

std::string CommandHandler::webViewConsole(const Bytes& payload, const Reply& reply) {
  constexpr std::int64_t kDefaultLimit = 50;
  const Arguments arguments(payload);
  reply(answer(
      "response.webViewConsole",
      probe_.consoleEntries(arguments.text("level"), arguments.integer("limit").value_or(kDefaultLimit))));
  return "";
}

std::string CommandHandler::typeText(const Bytes& payload, const Reply& reply) {
  const auto text = Arguments(payload).text("text");
  if (!text) return "text is missing";
  const auto typed = app_.type(*text);
  reply(answer("response.typeText", InputResult{static_cast<bool>(typed), typed ? *typed : typed.reason()}));
  return "";
}

// Overlay

std::string CommandHandler::showOverlay(const Bytes& payload, const Reply&) {
  const Arguments arguments(payload);
  const auto category = arguments.text("category");
  if (!category) return "category is missing";
  probe_.showOverlay({*category, arguments.text("detail"), arguments.boolean("passed"), {}});
  return "";
}

std::string CommandHandler::hideOverlay(const Bytes&, const Reply&) {
  probe_.hideOverlay();
  return "";
}

}  // namespace wyvlet::sample
