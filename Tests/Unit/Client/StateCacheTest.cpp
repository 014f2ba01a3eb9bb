#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Client/StateCache.h"
#include "Unit/Client/TestApp.h"

namespace wyvlet {
namespace {

using test::logEntry;
using test::request;

TransferableWSConnection connection(const UUID& id, const std::string& status) {
  TransferableWSConnection connection;
  connection.id = id;
  connection.status = status;
  return connection;
}

void sync(StateCache& cache, LenientSyncPayload payload) {
  cache.swap(*StateCache::prepare(std::move(payload)));
}

std::vector<TransferableNetworkRequest> requests(std::size_t count) {
  std::vector<TransferableNetworkRequest> list;
  for (std::size_t i = 0; i < count; ++i) list.push_back(request("/" + std::to_string(i)));
  return list;
}

/// Every list filled, to see it emptied.
LenientSyncPayload everything() {
  LenientSyncPayload payload;
  payload.httpRequests = {request("/a")};
  payload.wsConnections = {connection(UUID::random(), "open")};
  payload.logEntries = {logEntry("boot")};
  const auto environment = UUID::random();
  payload.environmentState = EnvironmentStatePayload{.environments = {{{environment, "Staging", {}, ""}}},
                                                     .activeEnvironmentId = environment};
  payload.rulesState.emplace();
  payload.rulesState->rewriteRules.emplace(1);
  payload.rulesState->mockRules.emplace(2);
  payload.rulesState->interceptRules.emplace(3);
  payload.qaState.emplace();
  payload.qaState->results.emplace(1);
  payload.qaState->buildNumber = "412";
  payload.userDefaultsEntries = {{"1", "theme", "dark", "String"}};
  payload.keychainEntries.emplace(1);
  payload.currentScreen = "Trips";
  payload.recordedFlows.emplace(1);
  payload.recordedFlows->front().name = "Book";
  return payload;
}

TEST(StateCache, IsEmptyBeforeTheFirstSync) {
  const StateCache cache;
  const auto snapshot = cache.snapshot();
  EXPECT_TRUE(snapshot.httpRequests.empty());
  EXPECT_TRUE(snapshot.recordedFlows.empty());
  EXPECT_FALSE(snapshot.activeEnvironmentId);
  EXPECT_EQ(snapshot.buildNumber, "");
  EXPECT_EQ(snapshot.currentScreen, "Unknown");
  EXPECT_EQ(cache.currentScreen(), "Unknown");
  EXPECT_FALSE(snapshot.isConnected);
}

TEST(StateCache, ASyncFillsEveryList) {
  StateCache cache;
  const auto payload = everything();
  sync(cache, payload);
  const auto snapshot = cache.snapshot();
  ASSERT_EQ(snapshot.httpRequests.size(), 1U);
  EXPECT_EQ(snapshot.httpRequests[0], payload.httpRequests->front());
  ASSERT_EQ(snapshot.wsConnections.size(), 1U);
  EXPECT_EQ(snapshot.wsConnections[0], payload.wsConnections->front());
  ASSERT_EQ(snapshot.logEntries.size(), 1U);
  EXPECT_EQ(snapshot.logEntries[0], payload.logEntries->front());
  ASSERT_EQ(snapshot.environments.size(), 1U);
  EXPECT_EQ(snapshot.environments[0].name, "Staging");
  EXPECT_EQ(snapshot.activeEnvironmentId, payload.environmentState->activeEnvironmentId);
  EXPECT_EQ(snapshot.rewriteRules.size(), 1U);
  EXPECT_EQ(snapshot.mockRules.size(), 2U);
  EXPECT_EQ(snapshot.interceptRules.size(), 3U);
  EXPECT_EQ(snapshot.qaResults.size(), 1U);
  EXPECT_EQ(snapshot.buildNumber, "412");
  ASSERT_EQ(snapshot.userDefaultsEntries.size(), 1U);
  EXPECT_EQ(snapshot.userDefaultsEntries[0].key, "theme");
  EXPECT_EQ(snapshot.keychainEntries.size(), 1U);
  EXPECT_EQ(snapshot.currentScreen, "Trips");
  ASSERT_EQ(snapshot.recordedFlows.size(), 1U);
  EXPECT_EQ(snapshot.recordedFlows[0].name, "Book");
}

TEST(StateCache, ASyncWithOnlyAScreenEmptiesEverythingElse) {
  StateCache cache;
  sync(cache, everything());
  LenientSyncPayload only;
  only.currentScreen = "Login";
  sync(cache, only);
  const auto snapshot = cache.snapshot();
  EXPECT_TRUE(snapshot.httpRequests.empty());
  EXPECT_TRUE(snapshot.wsConnections.empty());
  EXPECT_TRUE(snapshot.logEntries.empty());
  EXPECT_TRUE(snapshot.environments.empty());
  EXPECT_FALSE(snapshot.activeEnvironmentId);
  EXPECT_TRUE(snapshot.rewriteRules.empty());
  EXPECT_TRUE(snapshot.mockRules.empty());
  EXPECT_TRUE(snapshot.interceptRules.empty());
  EXPECT_TRUE(snapshot.qaResults.empty());
  EXPECT_EQ(snapshot.buildNumber, "");
  EXPECT_TRUE(snapshot.userDefaultsEntries.empty());
  EXPECT_TRUE(snapshot.keychainEntries.empty());
  EXPECT_TRUE(snapshot.recordedFlows.empty());
  EXPECT_EQ(snapshot.currentScreen, "Login");
}

TEST(StateCache, ASyncWithoutAScreenMakesItUnknown) {
  StateCache cache;
  sync(cache, everything());
  sync(cache, {});
  EXPECT_EQ(cache.currentScreen(), "Unknown");
}

TEST(StateCache, KeepsFiveHundredStreamedRequests) {
  StateCache cache;
  for (int i = 0; i < 499; ++i) cache.append(request("/" + std::to_string(i)), 100);
  EXPECT_EQ(cache.snapshot().httpRequests.size(), 499U);
  cache.append(request("/499"), 100);
  EXPECT_EQ(cache.snapshot().httpRequests.size(), 500U);
  cache.append(request("/500"), 100);
  const auto list = cache.snapshot().httpRequests;
  ASSERT_EQ(list.size(), 500U);
  EXPECT_EQ(list[0].path, "/1") << "the oldest goes";
  EXPECT_EQ(list[499].path, "/500");
}

TEST(StateCache, KeepsFiveHundredStreamedLogEntries) {
  StateCache cache;
  for (int i = 0; i <= 500; ++i) cache.append(logEntry(std::to_string(i)), 100);
  const auto list = cache.snapshot().logEntries;
  ASSERT_EQ(list.size(), 500U);
  EXPECT_EQ(list[0].message, "1");
  EXPECT_EQ(list[499].message, "500");
}

TEST(StateCache, ASyncMayBringMoreAndTheNextEventDropsOne) {
  StateCache cache;
  LenientSyncPayload payload;
  payload.httpRequests = requests(800);
  sync(cache, std::move(payload));
  EXPECT_EQ(cache.snapshot().httpRequests.size(), 800U);
  cache.append(request("/new"), 100);
  const auto list = cache.snapshot().httpRequests;
  ASSERT_EQ(list.size(), 800U);
  EXPECT_EQ(list[0].path, "/1");
  EXPECT_EQ(list[799].path, "/new");
}

TEST(StateCache, AKnownConnectionIsReplacedInItsPlace) {
  StateCache cache;
  const auto first = UUID::random();
  const auto second = UUID::random();
  EXPECT_TRUE(cache.upsert(connection(first, "open"), 100));
  EXPECT_TRUE(cache.upsert(connection(second, "open"), 100));
  EXPECT_TRUE(cache.upsert(connection(first, "closed"), 100));
  const auto list = cache.snapshot().wsConnections;
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0], connection(first, "closed"));
  EXPECT_EQ(list[1], connection(second, "open"));
}

TEST(StateCache, OfTwinsInASyncTheFirstIsReplaced) {
  StateCache cache;
  const auto id = UUID::random();
  LenientSyncPayload payload;
  payload.wsConnections = {connection(UUID::random(), "other"), connection(id, "one"), connection(id, "two")};
  sync(cache, std::move(payload));
  EXPECT_TRUE(cache.upsert(connection(id, "new"), 100));
  const auto list = cache.snapshot().wsConnections;
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[1].status, "new");
  EXPECT_EQ(list[2].status, "two");
}

TEST(StateCache, ConnectionsHaveNoCap) {
  StateCache cache;
  for (int i = 0; i < 2000; ++i) EXPECT_TRUE(cache.upsert(connection(UUID::random(), "open"), 100));
  EXPECT_EQ(cache.snapshot().wsConnections.size(), 2000U);
}

TEST(StateCache, WhatIsTooMuchPushesTheOldestOut) {
  constexpr std::size_t kHalf = StateCache::kMaxStreamedBytes / 2;
  StateCache cache;
  cache.append(request("/small"), 1);
  cache.append(request("/half"), kHalf);
  cache.append(request("/other-half"), kHalf);
  auto list = cache.snapshot().httpRequests;
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].path, "/half");
  EXPECT_EQ(list[1].path, "/other-half");
  cache.append(request("/one-more"), 1);
  list = cache.snapshot().httpRequests;
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].path, "/other-half");
  EXPECT_EQ(list[1].path, "/one-more");
  cache.append(logEntry("of a list of its own"), kHalf);
  EXPECT_EQ(cache.snapshot().httpRequests.size(), 2U);
}

TEST(StateCache, OneThatIsTooMuchByItselfStaysAlone) {
  StateCache cache;
  cache.append(logEntry("small"), 1);
  cache.append(logEntry("huge"), StateCache::kMaxStreamedBytes + 1);
  ASSERT_EQ(cache.snapshot().logEntries.size(), 1U);
  EXPECT_EQ(cache.snapshot().logEntries[0].message, "huge");
}

TEST(StateCache, ConnectionsThatAreTooMuchChangeNothing) {
  constexpr std::size_t kMost = StateCache::kMaxStreamedBytes;
  StateCache cache;
  const auto first = UUID::random();
  const auto second = UUID::random();
  EXPECT_TRUE(cache.upsert(connection(first, "open"), kMost - 10));
  EXPECT_FALSE(cache.upsert(connection(second, "open"), 11));
  EXPECT_FALSE(cache.upsert(connection(first, "too much"), kMost + 1));
  EXPECT_TRUE(cache.upsert(connection(second, "open"), 10));
  EXPECT_TRUE(cache.upsert(connection(first, "shorter"), 1)) << "what it held before makes room";
  EXPECT_TRUE(cache.upsert(connection(second, "longer"), kMost - 1));
  const auto list = cache.snapshot().wsConnections;
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].status, "shorter");
  EXPECT_EQ(list[1].status, "longer");
}

TEST(StateCache, ASyncMakesRoomForEvents) {
  StateCache cache;
  EXPECT_TRUE(cache.upsert(connection(UUID::random(), "open"), StateCache::kMaxStreamedBytes));
  sync(cache, {});
  EXPECT_TRUE(cache.upsert(connection(UUID::random(), "open"), StateCache::kMaxStreamedBytes));
}

TEST(StateCache, EnvironmentsChangeWithTheActiveOne) {
  StateCache cache;
  sync(cache, everything());
  const auto production = UUID::random();
  cache.replaceEnvironments(
      {.environments = {{{production, "Production", {"https://p"}, ""}}}, .activeEnvironmentId = production});
  EXPECT_EQ(cache.snapshot().environments[0].name, "Production");
  EXPECT_EQ(cache.snapshot().activeEnvironmentId, production);
  cache.replaceEnvironments({});
  EXPECT_TRUE(cache.snapshot().environments.empty());
  EXPECT_FALSE(cache.snapshot().activeEnvironmentId);
}

TEST(StateCache, QAResultsAreReplaced) {
  StateCache cache;
  sync(cache, everything());
  TransferableQAResult result;
  result.title = "Pay with card";
  cache.replaceQAResults({result, result});
  EXPECT_EQ(cache.snapshot().qaResults.size(), 2U);
  EXPECT_EQ(cache.snapshot().buildNumber, "412");
}

TEST(StateCache, ASnapshotNeverChanges) {
  StateCache cache;
  const auto socket = UUID::random();
  cache.append(request("/before"), 100);
  EXPECT_TRUE(cache.upsert(connection(socket, "open"), 100));
  const auto before = cache.snapshot();
  const auto* record = &before.httpRequests[0];
  cache.append(request("/after"), 100);
  EXPECT_TRUE(cache.upsert(connection(socket, "closed"), 100));
  cache.setCurrentScreen("Elsewhere");
  EXPECT_EQ(before.httpRequests.size(), 1U);
  EXPECT_EQ(before.wsConnections[0].status, "open");
  EXPECT_EQ(before.currentScreen, "Unknown");
  EXPECT_EQ(&cache.snapshot().httpRequests[0], record) << "a record is never copied";
  sync(cache, {});
  EXPECT_EQ(before.httpRequests[0].path, "/before") << "and lives as long as a snapshot holds it";
}

TEST(StateCache, ReadersWorkWhileTheQueueWrites) {
  StateCache cache;
  std::atomic<bool> isWriting = true;
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (isWriting) {
        const auto snapshot = cache.snapshot();
        EXPECT_LE(snapshot.httpRequests.size(), 500U);
        for (const auto& each : snapshot.httpRequests) EXPECT_EQ(each.method, "GET");
        EXPECT_EQ(snapshot.logEntries.size() % 2, 0U) << "a sync is seen whole or not at all";
      }
    });
  }
  for (int i = 0; i < 2000; ++i) {
    cache.append(request("/" + std::to_string(i)), 100);
    EXPECT_TRUE(cache.upsert(connection(UUID::random(), "open"), 100));
    cache.setCurrentScreen(std::to_string(i));
    if (i % 100 != 0) continue;
    LenientSyncPayload payload;
    payload.logEntries = std::vector<TransferableLogEntry>(static_cast<std::size_t>(i / 100 % 5 * 2));
    sync(cache, std::move(payload));
  }
  isWriting = false;
  for (auto& reader : readers) reader.join();
}

}  // namespace
}  // namespace wyvlet
