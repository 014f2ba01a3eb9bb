#include <gtest/gtest.h>

#include <ctime>

#include "WyvletShared/Values.h"

namespace wyvlet {
namespace {

TEST(Date, NowCountsFrom1970) {
  const auto before = static_cast<double>(std::time(nullptr));
  const double now = Date::now().secondsSince1970;
  const auto after = static_cast<double>(std::time(nullptr));
  EXPECT_GE(now, before);
  EXPECT_LE(now, after + 1);
}

TEST(Date, TheTwoEpochsAreThirtyOneYearsApart) {
  std::tm start{};
  start.tm_year = 101;
  start.tm_mday = 1;
  EXPECT_EQ(static_cast<double>(timegm(&start)), kReference2001);
}

}  // namespace
}  // namespace wyvlet
