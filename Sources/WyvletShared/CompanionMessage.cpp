#include "WyvletShared/CompanionMessage.h"

#include <boost/json.hpp>
#include <cmath>

#include "WyvletShared/Base64.h"
#include "WyvletShared/JSONWriter.h"

namespace wyvlet {
namespace {

struct TypeNames {
  std::string_view rawString;
  std::string_view caseName;
};

/// In registry order.
constexpr std::array<TypeNames, kCompanionMessageTypeCount> kTypes = {{
    {"sync.full", "syncFull"},
    {"event.httpRequest", "eventHttpRequest"},
    {"event.wsConnection", "eventWsConnection"},
    {"event.wsFrame", "eventWsFrame"},
    {"event.wsStatusChange", "eventWsStatusChange"},
    {"event.wsClose", "eventWsClose"},
    {"event.log", "eventLog"},
    {"event.environmentChanged", "eventEnvironmentChanged"},
    {"event.rulesChanged", "eventRulesChanged"},
    {"event.qaStatusChanged", "eventQAStatusChanged"},
    {"event.clear", "eventClear"},
    {"heartbeat", "heartbeat"},
    {"command.switchEnvironment", "commandSwitchEnvironment"},
    {"command.clearStore", "commandClearStore"},
    {"command.toggleRule", "commandToggleRule"},
    {"command.replayRequest", "commandReplayRequest"},
    {"command.fireDeepLink", "commandFireDeepLink"},
    {"command.markQAPassed", "commandMarkQAPassed"},
    {"command.markQAFailed", "commandMarkQAFailed"},
    {"command.resetQAItem", "commandResetQAItem"},
    {"command.fetchBody", "commandFetchBody"},
    {"command.addMockRule", "commandAddMockRule"},
    {"command.removeMockRule", "commandRemoveMockRule"},
    {"command.addInterceptRule", "commandAddInterceptRule"},
    {"command.removeInterceptRule", "commandRemoveInterceptRule"},
    {"command.findElement", "commandFindElement"},
    {"command.screenText", "commandScreenText"},
    {"command.requestSnapshot", "commandRequestSnapshot"},
    {"command.requestScreenshot", "commandRequestScreenshot"},
    {"command.screenHTML", "commandScreenHTML"},
    {"response.findElement", "responseFindElement"},
    {"response.screenText", "responseScreenText"},
    {"response.snapshot", "responseSnapshot"},
    {"response.screenshot", "responseScreenshot"},
    {"response.screenHTML", "responseScreenHTML"},
}};

std::string envelope(std::string_view type, const Bytes& payload, Date timestamp, DateEpoch epoch) {
  std::string json;
  json.reserve(payload.data.size() / 3 * 4 + 128);
  json += "{\"type\":";
  appendJSON(json, type);
  json += ",\"payload\":\"";
  json += encodeBase64(payload.data);
  json += "\",\"timestamp\":";
  appendJSON(json, timestamp, epoch);
  json += '}';
  return json;
}

}  // namespace

std::string_view rawString(CompanionMessageType type) {
  return kTypes[static_cast<std::size_t>(type)].rawString;
}

std::string_view caseName(CompanionMessageType type) {
  return kTypes[static_cast<std::size_t>(type)].caseName;
}

std::optional<CompanionMessageType> messageType(std::string_view rawString) {
  for (std::size_t i = 0; i < kTypes.size(); ++i) {
    if (kTypes[i].rawString == rawString) return static_cast<CompanionMessageType>(i);
  }
  return std::nullopt;
}

std::string encodeEnvelope(const CompanionMessage& message, DateEpoch epoch) {
  return envelope(rawString(message.type), message.payload, message.timestamp, epoch);
}

std::string encodeEnvelope(const RawMessage& message, DateEpoch epoch) {
  return envelope(message.type, message.payload, message.timestamp, epoch);
}

ReceivedMessage decodeEnvelope(std::string_view body, DateEpoch epoch) {
  ReceivedMessage received;
  boost::json::monotonic_resource memory;
  boost::json::error_code error;
  boost::json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  const boost::json::value json = boost::json::parse({body.data(), body.size()}, error, &memory, options);
  const boost::json::object* object = error ? nullptr : json.if_object();
  if (object == nullptr) {
    received.reason = error ? "Envelope: not valid JSON" : "Envelope: expected an object";
    return received;
  }
  const boost::json::value* typeValue = object->if_contains("type");
  const boost::json::value* payloadValue = object->if_contains("payload");
  const boost::json::value* timestampValue = object->if_contains("timestamp");
  if (typeValue == nullptr || !typeValue->is_string()) {
    received.reason = typeValue == nullptr ? "Envelope.type: missing" : "Envelope.type: expected text";
    return received;
  }
  if (payloadValue == nullptr || !payloadValue->is_string()) {
    received.reason =
        payloadValue == nullptr ? "Envelope.payload: missing" : "Envelope.payload: expected base64 text";
    return received;
  }
  const std::string_view type = typeValue->get_string();
  std::optional<std::string> payload = decodeBase64(std::string_view(payloadValue->get_string()));
  if (!payload) {
    received.reason = "Envelope.payload: not base64";
    return received;
  }
  boost::json::error_code notANumber;
  double seconds = 0;
  if (timestampValue != nullptr) {
    seconds = timestampValue->to_number<double>(notANumber);
    if (!notANumber && epoch == DateEpoch::Reference2001) seconds += kReference2001;
  }
  const std::optional<CompanionMessageType> registered = messageType(type);
  if (registered && timestampValue != nullptr && !notANumber) {
    received.registered = {*registered, Bytes{std::move(*payload)}, Date{seconds}};
  } else {
    received.free = {std::string(type), Bytes{std::move(*payload)}, Date{seconds}};
  }
  return received;
}

}  // namespace wyvlet
