#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "WyvletShared/Base64.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/RecordList.h"

namespace wyvlet {
namespace {

constexpr std::string_view kID = "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40";

/// The text of one object, with one field replaced or added.
std::string with(std::string_view object, std::string_view key, std::string_view value) {
  boost::json::object json = boost::json::parse({object.data(), object.size()}).as_object();
  json.erase({key.data(), key.size()});
  std::string text = boost::json::serialize(json);
  text.back() = ',';
  return text + "\"" + std::string(key) + "\":" + std::string(value) + "}";
}

std::string without(std::string_view object, std::string_view key) {
  boost::json::object json = boost::json::parse({object.data(), object.size()}).as_object();
  json.erase({key.data(), key.size()});
  return boost::json::serialize(json);
}

const std::string kLogEntry =
    R"({"id":"4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40","timestamp":1717200000.25,)"
    R"("level":"INFO","category":"App","message":"boot","file":"App.swift","line":7})";

const std::string kRequest =
    R"({"id":"4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40","timestamp":1717200000.25,"url":"https://a.example/b",)"
    R"("host":"a.example","path":"/b","method":"GET","requestHeaders":{},"responseHeaders":{},"duration":0.5,)"
    R"("isMocked":false,"isIntercepted":false,"isEnvironmentRewritten":false})";

const std::string kMockRule =
    R"({"id":"4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40","name":"m","matchPattern":{"mode":"contains",)"
    R"("pattern":"/b"},"mockStatusCode":503,"mockResponseHeaders":{},"isEnabled":true,"createdAt":1})";

template <class Record>
std::string reasonFor(std::string_view json) {
  const Result<Record> result = decodeRecord<Record>(json);
  return result ? "it decodes" : result.reason();
}

TEST(RecordDecoder, RequestWithoutAStatusDecodesAndIsNoSuccess) {
  const auto request = decodeRecord<TransferableNetworkRequest>(kRequest);
  ASSERT_TRUE(request) << request.reason();
  EXPECT_EQ(request->statusCode, std::nullopt);
  EXPECT_EQ(request->responseBody, std::nullopt);
  EXPECT_FALSE(request->isSuccess());
  EXPECT_EQ(request->host, "a.example");
  EXPECT_EQ(request->duration, 0.5);
  EXPECT_EQ(request->timestamp.secondsSince1970, 1717200000.25);
}

TEST(RecordDecoder, RequestNeedsItsHeaderMapsEvenWhenEmpty) {
  EXPECT_EQ(reasonFor<TransferableNetworkRequest>(without(kRequest, "requestHeaders")),
            "TransferableNetworkRequest.requestHeaders: missing");
  EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "responseHeaders", "null")),
            "TransferableNetworkRequest.responseHeaders: expected an object");
  EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "responseHeaders", R"({"Age":1})")),
            "TransferableNetworkRequest.responseHeaders: expected text");
}

TEST(RecordDecoder, IdentifiersAreAcceptedInEitherCase) {
  const auto entry =
      decodeRecord<TransferableLogEntry>(with(kLogEntry, "id", R"("4c9b1f2e-0d1a-4b7e-9f63-2a8d7c5e1b40")"));
  ASSERT_TRUE(entry) << entry.reason();
  EXPECT_EQ(entry->id.text(), kID);
  EXPECT_EQ(reasonFor<TransferableLogEntry>(with(kLogEntry, "id", R"("4c9b1f2e")")),
            "TransferableLogEntry.id: expected a UUID");
}

TEST(RecordDecoder, IntegralNumbersAreIntegersHoweverWritten) {
  const std::pair<std::string_view, std::int64_t> good[] = {{"200", 200},
                                                            {"200.0", 200},
                                                            {"2e2", 200},
                                                            {"2.0E+2", 200},
                                                            {"20000e-2", 200},
                                                            {"-0", 0},
                                                            {"-0.0", 0},
                                                            {"-7", -7},
                                                            {"9223372036854775807", INT64_MAX},
                                                            {"-9223372036854775808", INT64_MIN},
                                                            {"-9.223372036854775808e18", INT64_MIN}};
  for (const auto& [text, number] : good) {
    const auto request = decodeRecord<TransferableNetworkRequest>(with(kRequest, "statusCode", text));
    ASSERT_TRUE(request) << text << request.reason();
    EXPECT_EQ(request->statusCode, number) << text;
  }
  for (const std::string_view text :
       {"200.5", "2e-1", "9223372036854775808", "-9223372036854775809", "9223372036854775808.0", "1e19",
        "1e400", "-1e400", "99999999999999999999999999", "\"200\"", "true", "[200]"}) {
    EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "statusCode", text)),
              "TransferableNetworkRequest.statusCode: expected an integer")
        << text;
  }
}

TEST(RecordDecoder, LineOfALogEntryIsNeverNegative) {
  for (const std::string_view text : {"-1", "-0.5", "-1.0", "18446744073709551616", "1e20", "7.25"}) {
    EXPECT_EQ(reasonFor<TransferableLogEntry>(with(kLogEntry, "line", text)),
              "TransferableLogEntry.line: expected an integer of 0 or more")
        << text;
  }
  EXPECT_EQ(decodeRecord<TransferableLogEntry>(with(kLogEntry, "line", "18446744073709551615"))->line,
            UINT64_MAX);
  EXPECT_EQ(decodeRecord<TransferableLogEntry>(with(kLogEntry, "line", "0"))->line, 0u);
}

TEST(RecordDecoder, DoublesAreReadExactly) {
  const std::pair<std::string_view, double> numbers[] = {
      {"0.1", 0.1},
      {"1731934523.1234569", 1731934523.1234569},
      {"9007199254740993", 9007199254740992.0},
      {"123456789012345678901234567890", 1.2345678901234568e29},
      {"18446744073709551615", 18446744073709551615.0},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"5e-324", 5e-324},
      {"1e-400", 0.0},
      {"-1e-400", -0.0},
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"-0", -0.0}};
  for (const auto& [text, number] : numbers) {
    const auto request = decodeRecord<TransferableNetworkRequest>(with(kRequest, "duration", text));
    ASSERT_TRUE(request) << text << request.reason();
    EXPECT_EQ(request->duration, number) << text;
    EXPECT_EQ(std::signbit(request->duration), std::signbit(number)) << text;
  }
  EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "duration", "1e400")),
            "TransferableNetworkRequest.duration: number out of range");
  EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "timestamp", "-1e999")),
            "TransferableNetworkRequest.timestamp: number out of range");
  EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "duration", "\"0.5\"")),
            "TransferableNetworkRequest.duration: expected a number");
}

TEST(RecordDecoder, DatesCountFromTheGivenEpoch) {
  EXPECT_EQ(
      decodeRecord<TransferableLogEntry>(kLogEntry, DateEpoch::Reference2001)->timestamp.secondsSince1970,
      1717200000.25 + 978307200.0);
}

TEST(RecordDecoder, MockRuleNeedsNeitherMethodNorBodyButItsHeaders) {
  EXPECT_TRUE(decodeRecord<TransferableMockRule>(kMockRule));
  EXPECT_EQ(reasonFor<TransferableMockRule>(without(kMockRule, "mockResponseHeaders")),
            "TransferableMockRule.mockResponseHeaders: missing");
}

TEST(RecordDecoder, FullSyncNeedsEverythingButTheActiveEnvironment) {
  const std::string sync = encodeRecord(FullSyncPayload());
  EXPECT_EQ(sync.find("activeEnvironmentId"), std::string::npos);
  EXPECT_TRUE(decodeRecord<FullSyncPayload>(sync));
  EXPECT_EQ(reasonFor<FullSyncPayload>(without(sync, "buildNumber")), "FullSyncPayload.buildNumber: missing");
}

TEST(RecordDecoder, KeychainEntryIsIdentifiedByText) {
  EXPECT_EQ(
      reasonFor<TransferableKeychainEntry>(R"({"id":7,"itemClass":"genp","service":"s","account":"a"})"),
      "TransferableKeychainEntry.id: expected text");
}

TEST(RecordDecoder, GroupedSyncTakesAnySubsetOfItsKeys) {
  EXPECT_EQ(*decodeRecord<LenientSyncPayload>("{}"), LenientSyncPayload());
  const auto sync = decodeRecord<LenientSyncPayload>(
      R"({"currentScreen":"Trips","httpRequests":null,"environmentState":{},"qaState":{"buildNumber":"77"}})");
  ASSERT_TRUE(sync) << sync.reason();
  EXPECT_EQ(sync->currentScreen, "Trips");
  EXPECT_EQ(sync->httpRequests, std::nullopt);
  EXPECT_EQ(sync->environmentState, EnvironmentStatePayload());
  EXPECT_EQ(sync->qaState->buildNumber, "77");
  EXPECT_EQ(sync->rulesState, std::nullopt);
}

TEST(RecordDecoder, GroupedSyncWithAKeyOfTheWrongShapeFailsAsAWhole) {
  EXPECT_EQ(reasonFor<LenientSyncPayload>(R"({"httpRequests":{}})"),
            "LenientSyncPayload.httpRequests: expected a list");
  EXPECT_EQ(reasonFor<LenientSyncPayload>(R"({"qaState":{"results":[],"buildNumber":77}})"),
            "LenientQAState.buildNumber: expected text (in LenientSyncPayload.qaState)");
}

TEST(RecordDecoder, FlatSyncReadAsGroupedKeepsTheSharedLists) {
  FullSyncPayload flat;
  flat.httpRequests = {*decodeRecord<TransferableNetworkRequest>(kRequest)};
  flat.logEntries = {*decodeRecord<TransferableLogEntry>(kLogEntry)};
  flat.environments = {{UUID{}, "Staging", {"https://s.example"}, ""}};
  flat.buildNumber = "77";
  const auto sync = decodeRecord<LenientSyncPayload>(encodeRecord(flat, DateEpoch::Unix1970));
  ASSERT_TRUE(sync) << sync.reason();
  EXPECT_EQ(sync->httpRequests, flat.httpRequests);
  EXPECT_EQ(sync->logEntries, flat.logEntries);
  EXPECT_EQ(sync->environmentState, std::nullopt);
  EXPECT_EQ(sync->qaState, std::nullopt);
}

TEST(RecordDecoder, EnvironmentEventWithoutEnvironmentsMeansNone) {
  for (const std::string_view text : {"{}", R"({"environments":null})"}) {
    const auto state = decodeRecord<EnvironmentStatePayload>(text);
    ASSERT_TRUE(state) << state.reason();
    EXPECT_EQ(state->environments, std::nullopt);
  }
}

TEST(RecordDecoder, ReasonTellsThePathToTheInnermostRecord) {
  EXPECT_EQ(
      reasonFor<LenientSyncPayload>(R"({"logEntries":[)" + kLogEntry + "," + kLogEntry + "," +
                                    with(kLogEntry, "line", "-1") + "]}"),
      "TransferableLogEntry.line: expected an integer of 0 or more (in LenientSyncPayload.logEntries[2])");
  EXPECT_EQ(
      reasonFor<LenientRulesState>(R"({"mockRules":[)" + with(kMockRule, "matchPattern", "{\"mode\":1}") +
                                   "]}"),
      "TransferableURLMatchPattern.mode: expected text (in LenientRulesState.mockRules[0].matchPattern)");
  EXPECT_EQ(reasonFor<MarkQACommand>(R"({"itemId":")" + std::string(kID) + R"(","requestIds":[")" +
                                     std::string(kID) + R"(",null]})"),
            "MarkQACommand.requestIds[1]: expected a UUID");
  EXPECT_EQ(reasonFor<LenientSyncPayload>(R"({"qaState":{"results":[7]}})"),
            "LenientQAState.results[0]: expected an object (in LenientSyncPayload.qaState)");
}

TEST(RecordDecoder, ListThatTravelsByItself) {
  using List = std::vector<TransferableQAResult>;
  EXPECT_EQ(reasonFor<List>("{}"), "list of TransferableQAResult: expected a list");
  EXPECT_EQ(reasonFor<List>("[[]]"), "list of TransferableQAResult[0]: expected an object");
  EXPECT_EQ(reasonFor<List>("[{}]"), "TransferableQAResult.id: missing (in list of TransferableQAResult[0])");
  EXPECT_EQ(reasonFor<List>("["), "list of TransferableQAResult: not valid JSON: unexpected end at byte 1");
}

TEST(RecordDecoder, ReasonNeverRepeatsTheInput) {
  const std::string noise = "\\n\\u001b[31mred\\r " + std::string(1'000'000, 'x');
  for (const std::string& text :
       {with(kLogEntry, "id", "\"" + noise + "\""), with(kLogEntry, "line", "\"" + noise + "\""),
        "{\"" + noise + "\":1}", "{\"" + noise + "\"", "\"" + noise, "[\"" + noise + "\"]",
        std::string(noise), with(kRequest, "requestHeaders", "{\"" + noise + "\":7}")}) {
    for (const std::string& reason :
         {reasonFor<TransferableLogEntry>(text), reasonFor<TransferableNetworkRequest>(text),
          reasonFor<LenientSyncPayload>(text)}) {
      EXPECT_LT(reason.size(), 200u) << reason.substr(0, 200);
      EXPECT_EQ(reason.find_first_of("\r\n\x1b"), std::string::npos);
    }
  }
}

TEST(RecordDecoder, LastOfEqualKeysCounts) {
  const auto entry = decodeRecord<TransferableLogEntry>(R"({"screenName":"first","message":"first",)" +
                                                        kLogEntry.substr(1, kLogEntry.size() - 2) +
                                                        R"(,"message":"last","screenName":null})");
  ASSERT_TRUE(entry) << entry.reason();
  EXPECT_EQ(entry->message, "last");
  EXPECT_EQ(entry->screenName, std::nullopt);

  const auto request = decodeRecord<TransferableNetworkRequest>(R"({"requestHeaders":{"A":"1"},)" +
                                                                kRequest.substr(1, kRequest.size() - 2) +
                                                                R"(,"requestHeaders":{"B":"2","B":"3"}})");
  ASSERT_TRUE(request) << request.reason();
  EXPECT_EQ(request->requestHeaders, (std::map<std::string, std::string>{{"B", "3"}}));
}

TEST(RecordDecoder, KeysMayBeWrittenWithEscapes) {
  const auto link = decodeRecord<FireDeepLinkCommand>(R"({"\u0075rl":"travel:\/\/trips"})");
  ASSERT_TRUE(link) << link.reason();
  EXPECT_EQ(link->url, "travel://trips");
}

TEST(RecordDecoder, BodiesMayBeWrittenWithEscapedSlashes) {
  std::string bytes(3000, '\xff');  // base64 of nothing but slashes
  std::string text = encodeBase64(bytes);
  for (std::size_t at = 0; (at = text.find('/', at)) != std::string::npos; at += 2)
    text.replace(at, 1, "\\/");
  const auto request =
      decodeRecord<TransferableNetworkRequest>(with(kRequest, "responseBody", "\"" + text + "\""));
  ASSERT_TRUE(request) << request.reason();
  EXPECT_EQ(request->responseBody->data, bytes);
}

TEST(RecordDecoder, BodiesAreStrictBase64) {
  EXPECT_EQ(decodeRecord<TransferableNetworkRequest>(with(kRequest, "responseBody", "\"\""))->responseBody,
            Bytes{});
  for (const std::string_view text :
       {"\"e30\"", "\"e30=\\n\"", "\" e30=\"", "\"e3-=\"", "\"e30=e30=\"", "7", "[]"}) {
    EXPECT_EQ(reasonFor<TransferableNetworkRequest>(with(kRequest, "responseBody", text)),
              "TransferableNetworkRequest.responseBody: expected base64 text")
        << text;
  }
}

TEST(RecordDecoder, UnknownKeysHoldAnyJSON) {
  for (const std::string_view text : {"123456789012345678901234567890", "-1e400", "1E-400", "[[],{},[{}]]",
                                      "\"\\ud83e\\uddf3\"", "null", "{\"a\":{\"b\":[1,2,{\"c\":false}]}}"}) {
    EXPECT_TRUE(decodeRecord<TransferableLogEntry>(with(kLogEntry, "unheard", text))) << text;
  }
}

TEST(RecordDecoder, TextOfAnyOriginSurvives) {
  std::ifstream file(std::string(WYVLET_CORPORA) + "/blns/blns.json");
  std::stringstream text;
  text << file.rdbuf();
  const boost::json::value list = boost::json::parse(text.str());
  ASSERT_EQ(list.as_array().size(), 515u);
  for (const boost::json::value& item : list.as_array()) {
    ClearStoreCommand command;
    command.storeName = std::string_view(item.as_string());
    const auto ours = decodeRecord<ClearStoreCommand>(encodeRecord(command));
    ASSERT_TRUE(ours) << ours.reason();
    EXPECT_EQ(*ours, command);
    const auto theirs =
        decodeRecord<ClearStoreCommand>(boost::json::serialize(boost::json::object{{"storeName", item}}));
    ASSERT_TRUE(theirs) << theirs.reason();
    EXPECT_EQ(*theirs, command);
    const boost::json::value parsed = boost::json::parse(encodeRecord(command));
    EXPECT_EQ(parsed.at("storeName"), item);
  }
}

TEST(RecordDecoder, HostileTextInsideARecordIsJudgedLikeHostileTextAlone) {
  std::size_t accepted = 0, refused = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::string(WYVLET_CORPORA) + "/JSONTestSuite/test_parsing")) {
    std::ifstream file(entry.path(), std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    const std::string name = entry.path().filename().string();
    const bool decodes =
        static_cast<bool>(decodeRecord<Coords>("{\"x\":1,\"other\":" + text.str() + ",\"y\":2}"));
    if (name.starts_with("y_")) {
      EXPECT_TRUE(decodes) << name;
    }
    if (name.starts_with("n_")) {
      EXPECT_FALSE(decodes) << name;
    }
    ++(decodes ? accepted : refused);
  }
  EXPECT_GE(accepted, 95u);
  EXPECT_GE(refused, 188u);
}

}  // namespace
}  // namespace wyvlet
