#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "Samples.h"
#include "Tools/CacheQueries.h"

namespace wyvlet::test {
namespace {

TEST(NewestFirst, WalksNoFurtherThanNeeded) {
  const RecordList<TransferableLogEntry> entries = {sampleEntry("A", "", ""), sampleEntry("B", "", ""),
                                                    sampleEntry("C", "", ""), sampleEntry("D", "", "")};
  std::vector<std::string> seen;
  const auto chosen = newestFirst(entries, 1, [&](const auto& entry) {
    seen.push_back(entry.level);
    return entry.level != "D";
  });
  ASSERT_EQ(chosen.size(), 1u);
  EXPECT_EQ(chosen[0], &entries[2]);
  EXPECT_EQ(seen, (std::vector<std::string>{"D", "C"}));
}

TEST(FindByIdPrefix, FirstMatchInCacheOrder) {
  const RecordList<TransferableNetworkRequest> requests = {sampleRequest(1, "", ""), sampleRequest(2, "", ""),
                                                           sampleRequest(2, "", "")};
  EXPECT_EQ(findByIdPrefix(requests, "00000002"), &requests[1]);
  EXPECT_EQ(findByIdPrefix(requests, ""), &requests[0]);
  EXPECT_EQ(findByIdPrefix(requests, "00000003"), nullptr);
  EXPECT_EQ(findByIdPrefix(RecordList<TransferableNetworkRequest>(), ""), nullptr);
}

TEST(LastItems, AnyLimit) {
  const std::vector<int> items = {1, 2, 3};
  const auto last = [&](std::int64_t limit) {
    const auto range = lastItems(items, limit);
    return std::vector<int>(range.begin(), range.end());
  };
  EXPECT_EQ(last(2), (std::vector{2, 3}));
  EXPECT_EQ(last(3), items);
  EXPECT_EQ(last(std::numeric_limits<std::int64_t>::max()), items);
  EXPECT_EQ(last(0), std::vector<int>{});
  EXPECT_EQ(last(std::numeric_limits<std::int64_t>::min()), std::vector<int>{});
}

TEST(IsWithinLast, WindowAndItsEdge) {
  EXPECT_TRUE(isWithinLast(std::nullopt, Date{-1e300}, kNow));
  EXPECT_TRUE(isWithinLast(10, Date{kNow.secondsSince1970 - 10}, kNow));
  EXPECT_FALSE(isWithinLast(10, Date{kNow.secondsSince1970 - 10.5}, kNow));
  EXPECT_TRUE(isWithinLast(10, Date{kNow.secondsSince1970 + 3}, kNow));
}

TEST(Mentions, MessageOrCategoryInAnyCase) {
  const auto entry = sampleEntry("INFO", "Analytics", "Booking_Created");
  EXPECT_TRUE(mentions(entry, "booking_"));
  EXPECT_TRUE(mentions(entry, "LYTICS"));
  EXPECT_TRUE(mentions(entry, ""));
  EXPECT_FALSE(mentions(entry, "INFO"));
  EXPECT_FALSE(mentions(entry, "Analytics Booking"));
}

TEST(MillisecondsText, IsWhole) {
  EXPECT_EQ(millisecondsText(0.0424), "42ms");
  EXPECT_EQ(millisecondsText(0.0004), "0ms");
  EXPECT_EQ(millisecondsText(12.3456), "12346ms");
}

TEST(StatusList, InOrderWithAWordForNone) {
  const auto ok = sampleRequest(1, "", "", 200);
  const auto lost = sampleRequest(2, "", "", std::nullopt);
  EXPECT_EQ(statusList({&lost, &ok}), "none, 200");
  EXPECT_EQ(statusList({}), "");
}

}  // namespace
}  // namespace wyvlet::test
