#include <gtest/gtest.h>

#include <limits>

#include "Samples.h"
#include "Support/TimeText.h"
#include "Tools/Timeline.h"

namespace wyvlet::test {
namespace {

std::string at(double secondsAgo) { return timeOfDayText(kNow.secondsSince1970 - secondsAgo); }

TransferableNetworkRequest requestAt(double secondsAgo, std::string url,
                                     std::optional<std::int64_t> status = 200) {
  auto request = sampleRequest(1, "GET", std::move(url), status);
  request.timestamp = {kNow.secondsSince1970 - secondsAgo};
  return request;
}

TransferableLogEntry entryAt(double secondsAgo, std::string level, std::string message) {
  auto entry = sampleEntry(std::move(level), "c", std::move(message));
  entry.timestamp = {kNow.secondsSince1970 - secondsAgo};
  return entry;
}

TEST(Timeline, WithoutAppOrEvents) {
  EXPECT_EQ(timeline({}, 30, 50, kNow), "Wyvlet not connected");
  EXPECT_EQ(timeline(connected(), 30, 50, kNow), "No events in the last 30s.");
}

TEST(Timeline, MergesByTimeOldestFirst) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {requestAt(20, "https://x/1"), requestAt(5, "https://x/2", std::nullopt)};
  cache.logEntries = {entryAt(25, "INFO", "first"), entryAt(10.25, "ERROR", "third"),
                      entryAt(1, "W", "last")};
  EXPECT_EQ(timeline(cache, 30, 50, kNow),
            "Timeline (last 30s, 5 events):\n" + at(25) + " LOG[INFO] first\n" + at(20) +
                " NET       GET https://x/1 → 200 (125ms)\n" + at(10.25) + " LOG[ERRO] third\n" + at(5) +
                " NET       GET https://x/2 → — (125ms)\n" + at(1) + " LOG[W]    last");
}

TEST(Timeline, EqualTimesKeepRequestsFirstAndCacheOrder) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {requestAt(5, "a"), requestAt(5, "b")};
  cache.logEntries = {entryAt(5, "INFO", "c"), entryAt(5, "INFO", "d")};
  const std::string time = at(5);
  EXPECT_EQ(timeline(cache, 30, 50, kNow),
            "Timeline (last 30s, 4 events):\n" + time + " NET       GET a → 200 (125ms)\n" + time +
                " NET       GET b → 200 (125ms)\n" + time + " LOG[INFO] c\n" + time + " LOG[INFO] d");
}

TEST(Timeline, NewestUpToLimit) {
  CacheSnapshot cache = connected();
  cache.logEntries = {entryAt(3, "INFO", "a"), entryAt(2, "INFO", "b"), entryAt(1, "INFO", "c")};
  EXPECT_EQ(timeline(cache, 30, 2, kNow),
            "Timeline (last 30s, 2 events):\n" + at(2) + " LOG[INFO] b\n" + at(1) + " LOG[INFO] c");
  EXPECT_EQ(timeline(cache, 30, 0, kNow), "No events in the last 30s.");
  EXPECT_EQ(timeline(cache, 30, -7, kNow), "No events in the last 30s.");
}

TEST(Timeline, OnlyWhatIsLaterThanTheCutOff) {
  CacheSnapshot cache = connected();
  cache.logEntries = {entryAt(30, "INFO", "on the edge"), entryAt(29.5, "INFO", "inside")};
  EXPECT_EQ(timeline(cache, 30, 50, kNow),
            "Timeline (last 30s, 1 events):\n" + at(29.5) + " LOG[INFO] inside");
  EXPECT_EQ(timeline(cache, 0, 50, kNow), "No events in the last 0s.");
}

TEST(Timeline, Extremes) {
  CacheSnapshot cache = connected();
  auto request = requestAt(1e300, "u");
  request.duration = -1e308;
  cache.httpRequests = {request};
  cache.logEntries = {entryAt(-1e300, "INFO", "far")};
  EXPECT_EQ(timeline(cache, std::numeric_limits<std::int64_t>::min(), 50, kNow),
            "Timeline (last -9223372036854775808s, 1 events):\n00:00:00.000 LOG[INFO] far");
  EXPECT_EQ(timeline(cache, std::numeric_limits<std::int64_t>::max(), 50, kNow),
            "Timeline (last 9223372036854775807s, 1 events):\n00:00:00.000 LOG[INFO] far");
}

TEST(Timeline, TextsAreCutBetweenCharacters) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {requestAt(2, repeated("ü", 81))};
  cache.logEntries = {entryAt(1, "👍🏽👍🏽👍🏽👍🏽👍🏽", repeated("🇳🇴", 101))};
  EXPECT_EQ(timeline(cache, 30, 50, kNow),
            "Timeline (last 30s, 2 events):\n" + at(2) + " NET       GET " + repeated("ü", 80) +
                " → 200 (125ms)\n" + at(1) + " LOG[👍🏽👍🏽👍🏽👍🏽] " + repeated("🇳🇴", 100));
}

}  // namespace
}  // namespace wyvlet::test
