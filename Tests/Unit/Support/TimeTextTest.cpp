#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "Support/TimeText.h"

namespace wyvlet {
namespace {

class TimeText : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC-2", 1);  // two hours east of Greenwich
    ::tzset();
  }
};

TEST_F(TimeText, IsLocalTimeOfDay) { EXPECT_EQ("02:00:01.250", timeOfDayText(1.25)); }

TEST_F(TimeText, RoundsToTheNearestMillisecond) {
  EXPECT_EQ("02:00:00.001", timeOfDayText(0.0006));
  EXPECT_EQ("02:00:00.000", timeOfDayText(0.0004));
  EXPECT_EQ("02:00:02.000", timeOfDayText(1.9996));
  EXPECT_EQ("15:46:40.123", timeOfDayText(1700056000.123));
}

TEST_F(TimeText, KnowsTheTimeBefore1970) { EXPECT_EQ("01:59:59.500", timeOfDayText(-0.5)); }

TEST_F(TimeText, BearsAbsurdTimes) {
  EXPECT_EQ("00:00:00.000", timeOfDayText(1e300));
  EXPECT_EQ("00:00:00.000", timeOfDayText(-1e300));
  EXPECT_EQ(12u, timeOfDayText(8.9e12).size());
}

}  // namespace
}  // namespace wyvlet
