#include <gtest/gtest.h>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/Probe.h"

namespace wyvlet::sample {
namespace {

TransferableNetworkRequest exchange(std::size_t bodyBytes) {
  TransferableNetworkRequest request;
  request.id = UUID::random();
  request.method = "GET";
  request.url = "https://h/x";
  request.statusCode = 200;
  request.responseBody = Bytes{std::string(bodyBytes, 'x')};
  return request;
}

TEST(Probe, ACapturedExchangeIsAnEventWithDatesFrom1970) {
  World world;
  world.probe.log("INFO", "Test", "hello", "Home");
  ASSERT_EQ(world.events.size(), 1U);
  EXPECT_EQ(world.events[0].type, CompanionMessageType::eventLog);
  const auto entry = world.events[0].decodePayload<TransferableLogEntry>(DateEpoch::Unix1970);
  ASSERT_TRUE(entry);
  EXPECT_NEAR(entry->timestamp.secondsSince1970, Date::now().secondsSince1970, 60);
  EXPECT_EQ(entry->file, "ProbeTest.cpp");
  EXPECT_GT(entry->line, 0U);
  EXPECT_EQ(entry->screenName, "Home");
}

TEST(Probe, StoresKeepTheNewestFiveHundred) {
  World world;
  for (std::size_t i = 0; i <= Probe::kStoreLimit; ++i) {
    world.probe.log("DEBUG", "Test", std::to_string(i), "");
    world.probe.capture(exchange(0));
  }
  const auto sync = world.sync();
  EXPECT_EQ(sync.logEntries->size(), Probe::kStoreLimit);
  EXPECT_EQ(sync.logEntries->front().message, "1");
  EXPECT_EQ(sync.httpRequests->size(), Probe::kStoreLimit);
}

TEST(Probe, ALargeBodyTravelsOnlyWhenItIsAskedFor) {
  World world;
  const auto small = exchange(Probe::kBodyLimit);
  const auto large = exchange(Probe::kBodyLimit + 1);
  world.probe.capture(small);
  world.probe.capture(large);
  EXPECT_TRUE(world.sync().httpRequests->at(0).responseBody);
  EXPECT_FALSE(world.sync().httpRequests->at(1).responseBody);
  EXPECT_FALSE(world.events.back().decodePayload<TransferableNetworkRequest>()->responseBody);
  EXPECT_TRUE(world.probe.resendWithBody(large.id));
  EXPECT_EQ(world.events.back().decodePayload<TransferableNetworkRequest>()->responseBody,
            large.responseBody);
  EXPECT_FALSE(world.probe.resendWithBody(UUID::random()));
}

TEST(Probe, TheSyncIsReadBackWhole) {
  World world;
  world.launch();
  const auto sync = world.sync();
  const auto read = decodeRecord<LenientSyncPayload>(encodeRecord(sync));
  ASSERT_TRUE(read) << read.reason();
  EXPECT_EQ(read->httpRequests->size(), sync.httpRequests->size());
  EXPECT_EQ(read->currentScreen, "Home");
  EXPECT_EQ(read->environmentState, sync.environmentState);
  EXPECT_EQ(read->rulesState->rewriteRules->size(), 1U);
  EXPECT_EQ(read->qaState, sync.qaState);
  EXPECT_EQ(read->qaState->buildNumber, "2.4.1 (1187)");
  EXPECT_EQ(read->keychainEntries, sync.keychainEntries);
  EXPECT_EQ(read->recordedFlows->size(), 1U);
}

TEST(Probe, SocketFramesTravelWithTheirConnection) {
  World world;
  const UUID id = world.probe.openSocket("wss://ticker.harbor.travel/v1/prices");
  world.probe.socketFrame(id, "Sent", "Text", "hello");
  world.probe.socketFrame(id, "Received", "Binary", std::string("\0\1", 2));
  const auto connection = world.events.back().decodePayload<TransferableWSConnection>();
  ASSERT_TRUE(connection);
  EXPECT_EQ(connection->host, "ticker.harbor.travel");
  EXPECT_EQ(connection->status, "Connected");
  ASSERT_EQ(connection->frames.size(), 2U);
  EXPECT_EQ(connection->frames[0].payloadString, "hello");
  EXPECT_FALSE(connection->frames[1].payloadString);
  EXPECT_EQ(connection->frames[1].payload->data.size(), 2U);
  EXPECT_EQ(connection->frames[1].connectionId, id);
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventWsFrame), 2U);

  world.probe.closeSocket(id, 1001, "going away");
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventWsClose), 1U);
  const auto closed = world.sync().wsConnections->at(0);
  EXPECT_EQ(closed.status, "Closed");
  EXPECT_EQ(closed.closeCode, 1001);
  EXPECT_EQ(closed.closeReason, "going away");
}

TEST(Probe, FramesOfAnUnknownConnectionAreNothing) {
  World world;
  world.probe.socketFrame(UUID::random(), "Sent", "Text", "x");
  world.probe.closeSocket(UUID::random(), 1000, "");
  EXPECT_TRUE(world.events.empty());
}

TEST(Probe, AConnectionKeepsItsNewestFrames) {
  World world;
  const UUID id = world.probe.openSocket("wss://h/");
  for (int i = 0; i < 130; ++i) world.probe.socketFrame(id, "Received", "Text", std::to_string(i));
  const auto frames = world.sync().wsConnections->at(0).frames;
  EXPECT_EQ(frames.size(), 100U);
  EXPECT_EQ(frames.front().payloadString, "30");
}

TEST(Probe, QAItemsAreMarkedFailedPassedAndReset) {
  World world;
  const UUID item = world.sync().qaState->results->front().id;
  const UUID evidence = UUID::random();
  ASSERT_TRUE(world.probe.markQA(item, Probe::QAStatus::Failed, "no list", std::vector<UUID>{evidence}));
  ASSERT_EQ(world.events.size(), 1U);
  EXPECT_EQ(world.events[0].type, CompanionMessageType::eventQAStatusChanged);
  auto results = decodeRecord<std::vector<TransferableQAResult>>(world.events[0].payload.data);
  ASSERT_TRUE(results);
  EXPECT_EQ(results->size(), 4U);
  EXPECT_EQ(results->front().status, "FAILED");
  EXPECT_EQ(results->front().failNotes, "no list");
  EXPECT_EQ(results->front().attachedRequestIds, std::vector<UUID>{evidence});

  ASSERT_TRUE(world.probe.markQA(item, Probe::QAStatus::Passed, "fine now", {}));
  EXPECT_EQ(world.sync().qaState->results->front().status, "PASSED");
  EXPECT_EQ(world.sync().qaState->results->front().failNotes, "");
  EXPECT_EQ(world.sync().qaState->results->front().attachedRequestIds.size(), 1U);

  ASSERT_TRUE(world.probe.markQA(item, Probe::QAStatus::Pending, {}, {}));
  EXPECT_EQ(world.sync().qaState->results->front().status, "PENDING");
  EXPECT_TRUE(world.sync().qaState->results->front().attachedRequestIds.empty());
  EXPECT_FALSE(world.probe.markQA(UUID::random(), Probe::QAStatus::Passed, {}, {}));
  EXPECT_EQ(world.events.size(), 3U);
}

TEST(Probe, AStoreIsClearedAndASyncFollows) {
  World world;
  world.launch();
  const int syncs = world.syncs;
  EXPECT_FALSE(world.probe.clearStore("everything"));
  EXPECT_EQ(world.syncs, syncs);
  EXPECT_TRUE(world.probe.clearStore("requests"));
  EXPECT_TRUE(world.sync().httpRequests->empty());
  EXPECT_FALSE(world.sync().logEntries->empty());
  EXPECT_EQ(world.syncs, syncs + 1);
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventClear), 1U);
  EXPECT_TRUE(world.probe.clearStore("all"));
  EXPECT_TRUE(world.sync().logEntries->empty());
  EXPECT_EQ(world.sync().wsConnections->size(), 1U) << "it is still open";
  EXPECT_TRUE(world.sync().wsConnections->front().frames.empty());
  EXPECT_EQ(world.probe.consoleEntries({}, 50).totalCount, 0);
}

TEST(Probe, AStoredValueCausesASyncOnlyWhenItChanges) {
  World world;
  world.probe.setDefault("currency", "EUR", "String");
  EXPECT_EQ(world.syncs, 0);
  world.probe.setDefault("currency", "GBP", "String");
  world.probe.setDefault("brand_new", "1", "Int");
  EXPECT_EQ(world.syncs, 2);
  EXPECT_EQ(world.probe.defaultValue("currency"), "GBP");
  EXPECT_EQ(world.probe.defaultValue("brand_new"), "1");
  EXPECT_FALSE(world.probe.defaultValue("missing"));
}

TEST(Probe, RuleChangesAreAnEventAndASync) {
  World world;
  world.probe.rulesChanged();
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventRulesChanged), 1U);
  EXPECT_EQ(world.syncs, 1);
}

TEST(Probe, ConsoleEntriesAreFilteredAndLimited) {
  World world;
  world.probe.console("log", "one", "u");
  world.probe.console("error", "two", "u");
  world.probe.console("log", "three", "u");
  EXPECT_EQ(world.probe.consoleEntries({}, 50).entries.size(), 3U);
  const auto logs = world.probe.consoleEntries("LOG", 1);
  ASSERT_EQ(logs.entries.size(), 1U);
  EXPECT_EQ(logs.entries[0].message, "three");
  EXPECT_EQ(logs.totalCount, 2);
  EXPECT_TRUE(world.probe.consoleEntries({}, 0).entries.empty());
  EXPECT_TRUE(world.probe.consoleEntries({}, -3).entries.empty());
  EXPECT_EQ(world.probe.consoleEntries({}, INT64_MAX).entries.size(), 3U);
  EXPECT_TRUE(world.probe.consoleEntries("debug", 50).entries.empty());
}

TEST(Probe, OverlaysAreKeptAndGoAwayByThemselves) {
  World world;
  EXPECT_FALSE(world.probe.overlayVisible());
  for (int i = 0; i < 25; ++i) {
    world.probe.showOverlay({"data", std::to_string(i), {}, {}});
    world.pass(0.001);
  }
  EXPECT_EQ(world.probe.overlays().size(), 20U);
  EXPECT_EQ(world.probe.overlays().back().detail, "24");
  EXPECT_TRUE(world.probe.overlayVisible());
  world.probe.hideOverlay();
  EXPECT_FALSE(world.probe.overlayVisible());
  world.probe.showOverlay({"scan", {}, true, {}});
  world.pass(3.9);
  EXPECT_TRUE(world.probe.overlayVisible()) << "earlier notices' time does not count";
  world.pass(0.2);
  EXPECT_FALSE(world.probe.overlayVisible());
}

TEST(Probe, TheLastRequestIsDescribed) {
  World world;
  EXPECT_EQ(world.probe.lastRequestText(), "");
  auto request = exchange(0);
  world.probe.capture(request);
  EXPECT_EQ(world.probe.lastRequestText(), "GET https://h/x → 200");
  request.statusCode.reset();
  world.probe.capture(request);
  EXPECT_EQ(world.probe.lastRequestText(), "GET https://h/x → no response");
}

}  // namespace
}  // namespace wyvlet::sample
