#include "WyvletShared/CompanionMessage.h"

#include <cmath>

#include "WyvletShared/Base64.h"
#include "WyvletShared/JSONReader.h"
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
  using Kind = JSONReader::Kind;
  ReceivedMessage received;
  JSONReader reader(body);
  // Why a field cannot be used; null once it can. As in any object, the last of equal keys counts.
  const char* typeProblem = "missing";
  const char* payloadProblem = "missing";
  const char* timestampProblem = "missing";
  std::string type;
  Bytes payload;
  Date timestamp;

  const auto readMember = [&](std::string_view key) {
    if (key == "type") {
      typeProblem = reader.kind() == Kind::Text ? nullptr : "expected text";
      if (typeProblem == nullptr) return reader.readText(type);
    } else if (key == "payload") {
      payloadProblem = "expected base64 text";
      if (reader.kind() == Kind::Text) {
        bool valid = false;
        if (!reader.readBase64(payload.data, valid)) return false;
        if (valid) payloadProblem = nullptr;
        return true;
      }
    } else if (key == "timestamp") {
      timestampProblem = "expected a number";
      if (reader.kind() == Kind::Number) {
        JSONReader::Number number;
        if (!reader.readNumber(number)) return false;
        timestamp.secondsSince1970 =
            number.value() + (epoch == DateEpoch::Reference2001 ? kReference2001 : 0);
        timestampProblem = std::isfinite(timestamp.secondsSince1970) ? nullptr : "number out of range";
        return true;
      }
    }
    return reader.skip();
  };

  if (reader.kind() != Kind::Object) {
    // Not an object, but perhaps not even JSON.
    if (reader.skip() && reader.atEnd()) received.reason = "CompanionMessage: expected an object";
  } else if (reader.readObject(readMember) && reader.atEnd()) {
    if (typeProblem != nullptr) {
      received.reason = std::string("CompanionMessage.type: ") + typeProblem;
    } else if (payloadProblem != nullptr) {
      received.reason = std::string("CompanionMessage.payload: ") + payloadProblem;
    } else if (const auto registered = messageType(type); registered && timestampProblem == nullptr) {
      received.registered = {*registered, std::move(payload), timestamp};
    } else {
      if (timestampProblem != nullptr) timestamp = {};
      received.free = {std::move(type), std::move(payload), timestamp};
    }
  }
  if (const std::optional<std::string> syntaxError = reader.syntaxError()) {
    received.reason = "CompanionMessage: not valid JSON: " + *syntaxError;
  }
  return received;
}

}  // namespace wyvlet
