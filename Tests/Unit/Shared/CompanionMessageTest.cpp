#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <set>

#include "WyvletShared/Base64.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/TrafficRecords.h"

namespace wyvlet {
namespace {

constexpr std::pair<std::string_view, std::string_view> kRegistry[] = {
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
};

TEST(CompanionMessageType, RegistryIsClosedAndOrdered) {
  ASSERT_EQ(std::size(kRegistry), kCompanionMessageTypeCount);
  for (std::size_t i = 0; i < std::size(kRegistry); ++i) {
    const auto type = static_cast<CompanionMessageType>(i);
    EXPECT_EQ(rawString(type), kRegistry[i].first);
    EXPECT_EQ(caseName(type), kRegistry[i].second);
    EXPECT_EQ(messageType(kRegistry[i].first), type);
  }
  EXPECT_EQ(static_cast<std::size_t>(CompanionMessageType::responseScreenHTML), 34u);
  EXPECT_EQ(static_cast<std::size_t>(CompanionMessageType::heartbeat), 11u);
}

TEST(CompanionMessageType, MatchingIsExact) {
  for (const std::string_view text : {"", "Sync.full", "sync.full ", "sync.ful", "syncFull", "SYNC.FULL",
                                      "response.tap", "response.perfSnapshot", "command.typeText"}) {
    EXPECT_EQ(messageType(text), std::nullopt) << text;
  }
}

TEST(Envelope, KeysAreInOrder) {
  const CompanionMessage message{CompanionMessageType::commandFireDeepLink, Bytes{R"({"url":"a://b"})"},
                                 Date{978307200.0 + 1.5}};
  EXPECT_EQ(encodeEnvelope(message),
            R"({"type":"command.fireDeepLink","payload":"eyJ1cmwiOiJhOi8vYiJ9","timestamp":1.5})");
  EXPECT_EQ(encodeEnvelope(message, DateEpoch::Unix1970),
            R"({"type":"command.fireDeepLink","payload":"eyJ1cmwiOiJhOi8vYiJ9","timestamp":978307201.5})");
  EXPECT_EQ(encodeEnvelope(RawMessage{"command.showOverlay", Bytes{}, Date{1717200000.25}}),
            R"({"type":"command.showOverlay","payload":"","timestamp":1717200000.25})");
  EXPECT_EQ(encodeEnvelope(RawMessage{"odd \"type\"\n", Bytes{}, Date{0}}),
            R"({"type":"odd \"type\"\n","payload":"","timestamp":0})");
}

TEST(Envelope, TypedMessageReadsBackInItsOwnEpoch) {
  for (std::size_t i = 0; i < kCompanionMessageTypeCount; ++i) {
    const CompanionMessage message{static_cast<CompanionMessageType>(i), Bytes{"{\"a\":\"\\u00e9/\"}"},
                                   Date{1717200000.25}};
    const ReceivedMessage received =
        decodeEnvelope(encodeEnvelope(message, DateEpoch::Reference2001), DateEpoch::Reference2001);
    EXPECT_EQ(received.registered, message);
    EXPECT_EQ(received.free, std::nullopt);
    EXPECT_EQ(received.reason, "");
  }
}

TEST(Envelope, TypedMessageReadFrom1970IsThirtyOneYearsEarly) {
  const CompanionMessage message{CompanionMessageType::heartbeat, Bytes{}, Date{1717200000.25}};
  EXPECT_EQ(decodeEnvelope(encodeEnvelope(message)).registered->timestamp.secondsSince1970,
            1717200000.25 - 978307200);
}

TEST(Envelope, UnregisteredTypeIsFree) {
  const ReceivedMessage received =
      decodeEnvelope(R"({"type":"response.tap","payload":"e30=","timestamp":1717200000.25})");
  EXPECT_EQ(received.registered, std::nullopt);
  EXPECT_EQ(received.free, (RawMessage{"response.tap", Bytes{"{}"}, Date{1717200000.25}}));
  EXPECT_EQ(received.reason, "");
}

TEST(Envelope, FreeFormNeedsNoTimestamp) {
  for (const std::string_view body :
       {R"({"type":"response.tap","payload":"e30="})",
        R"({"type":"response.tap","payload":"e30=","timestamp":null})",
        R"({"type":"response.tap","payload":"e30=","timestamp":"now"})",
        R"({"type":"response.tap","payload":"e30=","timestamp":{"a":[1]}})",
        R"({"timestamp":7,"type":"response.tap","payload":"e30=","timestamp":1e999})"}) {
    const ReceivedMessage received = decodeEnvelope(body);
    EXPECT_EQ(received.registered, std::nullopt) << body;
    EXPECT_EQ(received.free, (RawMessage{"response.tap", Bytes{"{}"}, Date{0}})) << body;
  }
}

TEST(Envelope, RegisteredTypeWithoutATimestampIsFree) {
  const ReceivedMessage received = decodeEnvelope(R"({"type":"sync.full","payload":"e30="})");
  EXPECT_EQ(received.registered, std::nullopt);
  EXPECT_EQ(received.free, (RawMessage{"sync.full", Bytes{"{}"}, Date{0}}));
}

TEST(Envelope, KeysComeInAnyOrderAmongUnknownOnes) {
  const ReceivedMessage received = decodeEnvelope(
      R"( {"v":[1,{"type":"x"}],"timestamp":5,"payload":"e30=","Type":1,"type":"event.log","z":99999999999999999999} )");
  EXPECT_EQ(received.registered, (CompanionMessage{CompanionMessageType::eventLog, Bytes{"{}"}, Date{5}}));
}

TEST(Envelope, LastOfEqualKeysCounts) {
  EXPECT_EQ(
      decodeEnvelope(
          R"({"type":1,"payload":"!","timestamp":null,"type":"heartbeat","payload":"e30=","timestamp":5})")
          .registered,
      (CompanionMessage{CompanionMessageType::heartbeat, Bytes{"{}"}, Date{5}}));
  EXPECT_EQ(decodeEnvelope(R"({"type":"heartbeat","payload":"e30=","timestamp":5,"payload":7})").reason,
            "CompanionMessage.payload: expected base64 text");
}

TEST(Envelope, PayloadWithEscapedSlashesIsRead) {
  const ReceivedMessage received = decodeEnvelope(R"({"type":"heartbeat","payload":"\/\/8=","timestamp":5})");
  ASSERT_TRUE(received.registered) << received.reason;
  EXPECT_EQ(received.registered->payload.data, "\xff\xff");
}

TEST(Envelope, ReasonSaysWhatABodyLacks) {
  const std::pair<std::string_view, std::string_view> examples[] = {
      {R"({"payload":"e30=","timestamp":5})", "CompanionMessage.type: missing"},
      {R"({"type":7,"payload":"e30=","timestamp":5})", "CompanionMessage.type: expected text"},
      {R"({"type":null,"payload":"e30=","timestamp":5})", "CompanionMessage.type: expected text"},
      {R"({"type":"event.log","timestamp":5})", "CompanionMessage.payload: missing"},
      {R"({"type":"event.log","payload":null,"timestamp":5})",
       "CompanionMessage.payload: expected base64 text"},
      {R"({"type":"event.log","payload":"e30","timestamp":5})",
       "CompanionMessage.payload: expected base64 text"},
      {R"({"type":"response.tap","payload":"e3 0="})", "CompanionMessage.payload: expected base64 text"},
      {"[]", "CompanionMessage: expected an object"},
      {"7", "CompanionMessage: expected an object"},
      {"", "CompanionMessage: not valid JSON: unexpected end at byte 0"},
      {"{", "CompanionMessage: not valid JSON: expected a key at byte 1"},
      {R"({"type":"event.log","payload":"e30=","timestamp":5)",
       "CompanionMessage: not valid JSON: unexpected end at byte 50"},
      {R"({"type":"event.log","payload":"e30=","timestamp":5}})",
       "CompanionMessage: not valid JSON: unexpected text after the value at byte 51"},
      {"[1,]", "CompanionMessage: not valid JSON: unexpected character at byte 3"}};
  for (const auto& [body, reason] : examples) {
    const ReceivedMessage received = decodeEnvelope(body);
    EXPECT_EQ(received.registered, std::nullopt) << body;
    EXPECT_EQ(received.free, std::nullopt) << body;
    EXPECT_EQ(received.reason, reason) << body;
  }
}

TEST(Envelope, ReasonStaysOnOneShortLine) {
  const std::string noise = "\n\r\x1b[2J" + std::string(1'000'000, '\n');
  for (const std::string& body :
       {noise, "{\"type\":\"" + noise + "\"}", "{\"" + noise, "[\"" + noise + "\"]",
        "{\"type\":\"a\",\"payload\":\"" + noise + "\"}", std::string(1'000'000, '[')}) {
    const ReceivedMessage received = decodeEnvelope(body);
    EXPECT_FALSE(received.registered || received.free);
    EXPECT_FALSE(received.reason.empty());
    EXPECT_LT(received.reason.size(), 200u);
    EXPECT_EQ(received.reason.find_first_of("\r\n\x1b"), std::string::npos);
  }
}

TEST(Envelope, EveryTruncationIsRefusedWithAReason) {
  const std::string body = R"({"type":"event.log","payload":"e30=","timestamp":1717200000.25})";
  ASSERT_TRUE(decodeEnvelope(body).registered);
  for (std::size_t length = 0; length < body.size(); ++length) {
    const ReceivedMessage received = decodeEnvelope(std::string_view(body).substr(0, length));
    EXPECT_FALSE(received.registered || received.free) << length;
    EXPECT_FALSE(received.reason.empty()) << length;
  }
}

TEST(CompanionMessage, MakeStampsAndCarriesTheRecord) {
  const FireDeepLinkCommand command{"travel://trips"};
  const double before = Date::now().secondsSince1970;
  const CompanionMessage message = CompanionMessage::make(CompanionMessageType::commandFireDeepLink, command);
  EXPECT_GE(message.timestamp.secondsSince1970, before);
  EXPECT_LE(message.timestamp.secondsSince1970, Date::now().secondsSince1970);
  EXPECT_EQ(message.payload.data, R"({"url":"travel://trips"})");
  EXPECT_EQ(*message.decodePayload<FireDeepLinkCommand>(), command);
  EXPECT_EQ(message.decodePayload<ClearStoreCommand>().reason(), "ClearStoreCommand.storeName: missing");
}

TEST(CompanionMessage, PayloadDatesCountFromTheChosenEpoch) {
  TransferableLogEntry entry;
  entry.timestamp = {1717200000.25};
  const CompanionMessage byDefault = CompanionMessage::make(CompanionMessageType::eventLog, entry);
  EXPECT_NE(byDefault.payload.data.find("\"timestamp\":738892800.25"), std::string::npos);
  EXPECT_EQ(*byDefault.decodePayload<TransferableLogEntry>(), entry);
  const CompanionMessage from1970 =
      CompanionMessage::make(CompanionMessageType::eventLog, entry, DateEpoch::Unix1970);
  EXPECT_NE(from1970.payload.data.find("\"timestamp\":1717200000.25"), std::string::npos);
  EXPECT_EQ(*from1970.decodePayload<TransferableLogEntry>(DateEpoch::Unix1970), entry);
}

}  // namespace
}  // namespace wyvlet
