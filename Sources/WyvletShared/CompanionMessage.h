#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/Result.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// The closed registry of message types, in registry order.
enum class CompanionMessageType : std::uint8_t {
  syncFull,
  eventHttpRequest,
  eventWsConnection,
  eventWsFrame,
  eventWsStatusChange,
  eventWsClose,
  eventLog,
  eventEnvironmentChanged,
  eventRulesChanged,
  eventQAStatusChanged,
  eventClear,
  heartbeat,
  commandSwitchEnvironment,
  commandClearStore,
  commandToggleRule,
  commandReplayRequest,
  commandFireDeepLink,
  commandMarkQAPassed,
  commandMarkQAFailed,
  commandResetQAItem,
  commandFetchBody,
  commandAddMockRule,
  commandRemoveMockRule,
  commandAddInterceptRule,
  commandRemoveInterceptRule,
  commandFindElement,
  commandScreenText,
  commandRequestSnapshot,
  commandRequestScreenshot,
  commandScreenHTML,
  responseFindElement,
  responseScreenText,
  responseSnapshot,
  responseScreenshot,
  responseScreenHTML,
};

inline constexpr std::size_t kCompanionMessageTypeCount = 35;

/// "event.httpRequest" for `eventHttpRequest`: the text on the wire.
std::string_view rawString(CompanionMessageType type);

/// "eventHttpRequest": the name used in log lines.
std::string_view caseName(CompanionMessageType type);

/// The registered type with that exact wire text, or nothing.
std::optional<CompanionMessageType> messageType(std::string_view rawString);

/// The envelope of every registered message: its type, the type's own JSON document as opaque
/// bytes, and when it was made.
struct CompanionMessage {
  CompanionMessageType type;
  Bytes payload;
  Date timestamp;

  bool operator==(const CompanionMessage&) const = default;

  /// A message stamped with the time now, carrying `payload` as JSON. Dates inside the payload are
  /// written in `epoch`; an app that talks to this server writes them from 1970.
  template <class Record>
  static CompanionMessage make(CompanionMessageType type, const Record& payload,
                               DateEpoch epoch = DateEpoch::Reference2001) {
    return {type, Bytes{encodeRecord(payload, epoch)}, Date::now()};
  }

  template <class Record>
  Result<Record> decodePayload(DateEpoch epoch = DateEpoch::Reference2001) const {
    return decodeRecord<Record>(payload.data, epoch);
  }
};

/// The same envelope with a free type string, for commands and answers that the registry lacks.
struct RawMessage {
  std::string type;
  Bytes payload;
  Date timestamp;

  bool operator==(const RawMessage&) const = default;
};

/// The envelope's JSON, keys in the order type, payload, timestamp. Typed messages count their
/// timestamp from 2001 and free-form ones from 1970: both ends have always done so.
std::string encodeEnvelope(const CompanionMessage& message, DateEpoch epoch = DateEpoch::Reference2001);
std::string encodeEnvelope(const RawMessage& message, DateEpoch epoch = DateEpoch::Unix1970);

/// What a frame's body turned out to be. One parse serves both forms: `registered` is set when the
/// body is a complete envelope of a registered type, otherwise `free` when "type" is a string and
/// "payload" is base64 text. When neither is set, `reason` is the one-line reason why the body is
/// not an envelope.
struct ReceivedMessage {
  std::optional<CompanionMessage> registered;
  std::optional<RawMessage> free;
  std::string reason;
};

/// Reads a frame's body. Keys in any order; unknown keys ignored. Never throws. Any thread.
ReceivedMessage decodeEnvelope(std::string_view body, DateEpoch epoch = DateEpoch::Unix1970);

}  // namespace wyvlet
