#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <set>

#include "Client/AppRequests.h"
#include "Client/MessageHandler.h"
#include "Client/StateCache.h"
#include "Unit/Client/LogCapture.h"
#include "Unit/Client/TestApp.h"

namespace wyvlet {
namespace {

using test::LogCapture;
using test::logEntry;
using test::request;
using ::testing::ElementsAre;
using ::testing::StartsWith;

class Messages : public ::testing::Test {
 protected:
  std::optional<LenientSyncPayload> handle(CompanionMessageType type, std::string payload) {
    return handler_.handle(encodeEnvelope(CompanionMessage{type, Bytes{std::move(payload)}, Date::now()}));
  }
  void handleFree(std::string type, std::string payload) {
    EXPECT_FALSE(
        handler_.handle(encodeEnvelope(RawMessage{std::move(type), Bytes{std::move(payload)}, Date::now()})));
  }

  /// Hands out the stored answer of a kind: asks, while the link does nothing but deliver it again.
  template <class Ask>
  std::string answerTo(Ask ask, const std::function<void()>& deliver) {
    deliver_ = deliver;
    return ask();
  }

  std::function<void()> deliver_;
  LogCapture log_;
  StateCache cache_;
  AppRequests requests_{{.isConnected = [] { return true; },
                         .send = [this](std::string_view, const boost::json::object&) { deliver_(); }}};
  MessageHandler handler_{cache_, requests_};
};

TEST_F(Messages, EventsGoToTheCache) {
  handle(CompanionMessageType::eventHttpRequest, encodeRecord(request("/trips")));
  handle(CompanionMessageType::eventLog, encodeRecord(logEntry("boot")));
  TransferableWSConnection connection;
  connection.url = "wss://live";
  handle(CompanionMessageType::eventWsConnection, encodeRecord(connection));
  const auto environment = UUID::random();
  handle(CompanionMessageType::eventEnvironmentChanged,
         encodeRecord(EnvironmentStatePayload{{{{environment, "Staging", {}, ""}}}, environment}));
  handle(CompanionMessageType::eventQAStatusChanged, encodeRecord(std::vector<TransferableQAResult>(3)));
  const auto snapshot = cache_.snapshot();
  EXPECT_EQ(snapshot.httpRequests[0].path, "/trips");
  EXPECT_EQ(snapshot.logEntries[0].message, "boot");
  EXPECT_EQ(snapshot.wsConnections[0].url, "wss://live");
  EXPECT_EQ(snapshot.environments[0].name, "Staging");
  EXPECT_EQ(snapshot.activeEnvironmentId, environment);
  EXPECT_EQ(snapshot.qaResults.size(), 3U);
}

TEST_F(Messages, AConnectionThatIsTooMuchIsDroppedWithALogLine) {
  TransferableWSConnection connection;
  connection.id = UUID::random();
  ASSERT_TRUE(cache_.upsert(connection, StateCache::kMaxStreamedBytes));
  connection.id = UUID::random();
  handle(CompanionMessageType::eventWsConnection, encodeRecord(connection));
  EXPECT_EQ(cache_.snapshot().wsConnections.size(), 1U);
  const std::string dropped = "[wyvlet] Dropped a WebSocket event: the connections hold too much already";
  ASSERT_TRUE(log_.waitFor(dropped));
  EXPECT_THAT(log_.lines(), ElementsAre("[wyvlet] Received: eventWsConnection", dropped));
}

TEST_F(Messages, AnEnvironmentChangeWithoutEnvironmentsMeansNone) {
  const std::string full =
      R"({"environments":[{"id":"00000000-0000-0000-0000-000000000001","name":"A",)"
      R"("baseURLs":[],"notes":""}],"activeEnvironmentId":"00000000-0000-0000-0000-000000000001"})";
  for (const auto* none : {"{}", R"({"environments":null,"activeEnvironmentId":null})"}) {
    handle(CompanionMessageType::eventEnvironmentChanged, full);
    EXPECT_EQ(cache_.snapshot().environments.size(), 1U);
    handle(CompanionMessageType::eventEnvironmentChanged, none);
    EXPECT_TRUE(cache_.snapshot().environments.empty());
    EXPECT_FALSE(cache_.snapshot().activeEnvironmentId);
  }
}

TEST_F(Messages, AnEventThatDoesNotDecodeChangesNothing) {
  handle(CompanionMessageType::eventHttpRequest, encodeRecord(request("/trips")));
  handle(CompanionMessageType::eventQAStatusChanged, encodeRecord(std::vector<TransferableQAResult>(3)));
  for (const auto type : {CompanionMessageType::eventHttpRequest, CompanionMessageType::eventWsConnection,
                          CompanionMessageType::eventLog, CompanionMessageType::eventEnvironmentChanged,
                          CompanionMessageType::eventQAStatusChanged}) {
    for (const auto* payload : {"", "nonsense", "[1]", "7"}) EXPECT_FALSE(handle(type, payload));
  }
  const auto snapshot = cache_.snapshot();
  EXPECT_EQ(snapshot.httpRequests.size(), 1U);
  EXPECT_TRUE(snapshot.wsConnections.empty());
  EXPECT_TRUE(snapshot.logEntries.empty());
  EXPECT_EQ(snapshot.qaResults.size(), 3U);
  ASSERT_TRUE(log_.waitFor("[wyvlet] Received: eventQAStatusChanged", 5));
  for (const auto& line : log_.lines()) EXPECT_THAT(line, StartsWith("[wyvlet] Received: "));
}

TEST_F(Messages, EveryRegisteredMessageIsLoggedByItsCaseName) {
  std::vector<std::string> expected;
  for (std::size_t i = 0; i < kCompanionMessageTypeCount; ++i) {
    const auto type = static_cast<CompanionMessageType>(i);
    if (type == CompanionMessageType::syncFull) continue;
    handle(type, "{}");
    expected.push_back("[wyvlet] Received: " + std::string(caseName(type)));
  }
  ASSERT_TRUE(log_.waitFor(expected.back()));
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_EQ(expected.front(), "[wyvlet] Received: eventHttpRequest");
}

TEST_F(Messages, ThoseThatTheServerDoesNotReadChangeNothing) {
  handle(CompanionMessageType::eventLog, encodeRecord(logEntry("boot")));
  for (const auto type : {CompanionMessageType::eventWsFrame, CompanionMessageType::eventWsStatusChange,
                          CompanionMessageType::eventWsClose, CompanionMessageType::eventRulesChanged,
                          CompanionMessageType::eventClear, CompanionMessageType::heartbeat,
                          CompanionMessageType::commandClearStore}) {
    EXPECT_FALSE(handle(type, R"({"rewriteRules":[]})"));
  }
  EXPECT_EQ(cache_.snapshot().logEntries.size(), 1U);
}

TEST_F(Messages, AFullSyncIsHandedBack) {
  const auto sync = handle(CompanionMessageType::syncFull,
                           R"({"currentScreen":"Home","deviceName":"iPhone","httpRequests":null,"extra":1})");
  ASSERT_TRUE(sync);
  EXPECT_EQ(sync->currentScreen, "Home");
  EXPECT_FALSE(sync->httpRequests);
  EXPECT_EQ(cache_.currentScreen(), "Unknown") << "it takes effect only if its link is still the one";
}

TEST_F(Messages, AFullSyncThatDoesNotDecodeIsLogged) {
  EXPECT_FALSE(handle(CompanionMessageType::syncFull, R"({"httpRequests":{}})"));
  const auto line = log_.waitForPrefix("[wyvlet] Sync decode error: ");
  EXPECT_GT(line.size(), std::string_view("[wyvlet] Sync decode error: ").size());
  EXPECT_THAT(log_.lines(), ElementsAre("[wyvlet] Received: syncFull", line));
}

TEST_F(Messages, ASyncIsSummedUp) {
  LenientSyncPayload sync;
  EXPECT_EQ(syncSummary(sync), "Synced: 0 reqs, 0 logs, 0 envs, 0 QA, 0 UD");
  sync.httpRequests.emplace(12);
  sync.logEntries.emplace(30);
  sync.environmentState.emplace();
  EXPECT_EQ(syncSummary(sync), "Synced: 12 reqs, 30 logs, 0 envs, 0 QA, 0 UD");
  sync.environmentState->environments.emplace(2);
  sync.qaState.emplace();
  sync.qaState->results.emplace(5);
  sync.userDefaultsEntries.emplace(8);
  EXPECT_EQ(syncSummary(sync), "Synced: 12 reqs, 30 logs, 2 envs, 5 QA, 8 UD");
}

TEST_F(Messages, RegisteredAnswersReachWhoAsked) {
  using Type = CompanionMessageType;
  EXPECT_EQ(
      answerTo([&] { return requests_.findElement("x", false, test::kPatience); },
               [&] { handle(Type::responseFindElement, R"({"screen":"A","query":"x","results":[]})"); }),
      "Screen: A\nNo elements found matching \"x\"");
  EXPECT_EQ(cache_.currentScreen(), "A");
  EXPECT_EQ(answerTo([&] { return requests_.screenText(test::kPatience); },
                     [&] { handle(Type::responseScreenText, R"({"screen":"B","lines":[]})"); }),
            "Screen: B\nVisible text (0 items):");
  EXPECT_EQ(cache_.currentScreen(), "B");
  EXPECT_EQ(
      answerTo([&] { return requests_.screenHTML(test::kPatience); },
               [&] { handle(Type::responseScreenHTML, R"({"screen":"C","html":"<p>","elementCount":1})"); }),
      "<p>");
  EXPECT_EQ(cache_.currentScreen(), "C");
  EXPECT_EQ(answerTo([&] { return requests_.screenshot(test::kPatience).imageBase64.value_or(""); },
                     [&] { handle(Type::responseScreenshot, R"({"screen":"D","base64PNG":"AAAA"})"); }),
            "AAAA");
  EXPECT_EQ(cache_.currentScreen(), "D");
}

TEST_F(Messages, AnswersOutsideTheRegistryReachWhoAsked) {
  EXPECT_EQ(answerTo([&] { return requests_.perfSnapshot(test::kPatience); },
                     [&] {
                       handleFree("response.perfSnapshot",
                                  R"({"fps":1,"memoryMB":2,"avgFPS":3,"peakMemoryMB":4,"screen":"P"})");
                     }),
            "Screen: P\nCurrent FPS: 1.0\nAverage FPS: 3.0\nMemory: 2.0 MB\nPeak Memory: 4.0 MB");
  EXPECT_EQ(cache_.currentScreen(), "P");
  EXPECT_EQ(
      answerTo(
          [&] { return requests_.accessibilityAudit(test::kPatience); },
          [&] { handleFree("response.accessibilityAudit", R"({"screen":"Q","issues":[],"issueCount":0})"); }),
      "Screen: Q\nAccessibility Audit: PASS — No issues found");
  EXPECT_EQ(answerTo([&] { return requests_.webViewConsole({}, 50, test::kPatience); },
                     [&] { handleFree("response.webViewConsole", "{}"); }),
            "WebView console decode failed");
  for (const auto* type : {"response.tap", "response.swipe", "response.typeText", "response.input"}) {
    EXPECT_EQ(answerTo([&] { return requests_.typeText("x", test::kPatience); },
                       [&] { handleFree(type, R"({"success":true,"message":"done"})"); }),
              "OK: done");
  }
  EXPECT_EQ(cache_.currentScreen(), "Q") << "input and console answers name no screen";
}

TEST_F(Messages, AnAnswerThatDoesNotDecodeLeavesTheScreenAndStillWakes) {
  cache_.setCurrentScreen("Home");
  EXPECT_EQ(answerTo([&] { return requests_.screenHTML(test::kPatience); },
                     [&] { handle(CompanionMessageType::responseScreenHTML, R"({"screen":"C"})"); }),
            "Screen HTML decode failed");
  EXPECT_EQ(cache_.currentScreen(), "Home");
}

TEST_F(Messages, ASnapshotAnswerLeavesTheScreen) {
  cache_.setCurrentScreen("Home");
  handle(CompanionMessageType::responseSnapshot, R"({"screen":"Other","elements":[]})");
  EXPECT_EQ(cache_.currentScreen(), "Home");
}

TEST_F(Messages, OtherTypesOutsideTheRegistryAreDroppedSilently) {
  for (const auto* type : {"response.Tap", "response.taps", "RESPONSE.TAP", "event.somethingNew", ""}) {
    handleFree(type, R"({"success":true,"message":"done"})");
  }
  EXPECT_EQ(answerTo([&] { return requests_.typeText("x", 0.05); }, [] {}), "Probe type_text timed out");
  handle(CompanionMessageType::heartbeat, "");
  ASSERT_TRUE(log_.waitFor("[wyvlet] Received: heartbeat"));
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(Messages, AFreeFormMessageNeedsNoTimestamp) {
  const auto deliver = [&] { EXPECT_FALSE(handler_.handle(R"({"type":"response.tap","payload":"e30="})")); };
  EXPECT_EQ(answerTo([&] { return requests_.typeText("x", test::kPatience); }, deliver),
            "Input response decode failed")
      << "the two bytes of an empty object are no input result";
}

TEST_F(Messages, WhatIsNoMessageIsOneLine) {
  const std::vector<std::string> bodies = {
      "garbage",
      "7",
      "[]",
      "{}",
      R"({"type":1,"payload":"e30=","timestamp":0})",
      R"({"type":"heartbeat","payload":"e30","timestamp":0})",
      R"({"type":"heartbeat","payload":{},"timestamp":0})",
      std::string("{\"type\":\"a\nb\"}"),
      std::string("\0\0\n", 3),
  };
  for (const auto& body : bodies) EXPECT_FALSE(handler_.handle(body));
  handle(CompanionMessageType::heartbeat, "");
  ASSERT_TRUE(log_.waitFor("[wyvlet] Received: heartbeat"));
  const auto lines = log_.lines();
  ASSERT_EQ(lines.size(), bodies.size() + 1);
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    EXPECT_THAT(lines[i],
                StartsWith("[wyvlet] Decode error (" + std::to_string(bodies[i].size()) + " bytes): "));
  }
}

}  // namespace
}  // namespace wyvlet
