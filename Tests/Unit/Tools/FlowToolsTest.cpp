#include <gtest/gtest.h>

#include "Samples.h"
#include "Tools/FlowTools.h"

namespace wyvlet::test {
namespace {

FlowStepData step(std::string action, std::string screen) {
  FlowStepData made;
  made.action = std::move(action);
  made.screen = std::move(screen);
  return made;
}

TEST(RecordedFlows, WithoutAppOrFlows) {
  EXPECT_EQ(recordedFlows({}), "Wyvlet not connected");
  EXPECT_EQ(
      recordedFlows(connected()),
      "No recorded flows. Record a flow in Wyvlet by tapping the record button on the floating bubble.");
}

TEST(RecordedFlows, StepsShowWhatTheyHave) {
  FlowStepData tap = step("tap", "Home");
  tap.label = "Search";
  tap.startCoordinates = Coords{10.9, -20.9};
  tap.endCoordinates = Coords{30, 40};
  FlowStepData type = step("type", "Search");
  type.text = "Oslo";
  type.extra = {{"field", "to"}, {"delay", "2"}};
  FlowStepData wait = step("wait", "Search");
  wait.extra = std::map<std::string, std::string>{};
  CacheSnapshot cache = connected();
  cache.recordedFlows = {{sampleId(1), "Book", "From home", Date{}, {tap, type, wait}},
                         {sampleId(2), "Empty", "", Date{}, {}},
                         {sampleId(3), "Bare", std::nullopt, Date{}, {step("back", "")}}};
  EXPECT_EQ(recordedFlows(cache),
            "Recorded Flows (3):\n[00000001] Book (3 steps)\n  Description: From home\n"
            "  1. tap \"Search\" at (10,-20) [screen: Home]\n"
            "  2. type text=\"Oslo\" [\"delay\": \"2\", \"field\": \"to\"] [screen: Search]\n"
            "  3. wait [:] [screen: Search]\n[00000002] Empty (0 steps)\n[00000003] Bare (1 steps)\n"
            "  1. back [screen: ]");
}

TEST(RecordedFlows, ExtraValuesStayInTheirQuotesAndOnTheirLine) {
  FlowStepData type = step("type", "Notes");
  type.extra = {{"say \"hi\"", "C:\\new\nline\r\tend"}, {"é", ""}};
  CacheSnapshot cache = connected();
  cache.recordedFlows = {{sampleId(1), "F", std::nullopt, Date{}, {type}}};
  EXPECT_EQ(recordedFlows(cache),
            "Recorded Flows (1):\n[00000001] F (1 steps)\n"
            R"(  1. type ["say \"hi\"": "C:\\new\nline\r\tend", "é": ""] [screen: Notes])");
}

TEST(RecordedFlows, AbsurdCoordinatesStayInRange) {
  FlowStepData tap = step("tap", "S");
  tap.startCoordinates = Coords{1e300, -1e300};
  CacheSnapshot cache = connected();
  cache.recordedFlows = {{sampleId(1), "F", std::nullopt, Date{}, {tap}}};
  EXPECT_EQ(recordedFlows(cache),
            "Recorded Flows (1):\n[00000001] F (1 steps)\n"
            "  1. tap at (9223372036854775807,-9223372036854775808) [screen: S]");
}

}  // namespace
}  // namespace wyvlet::test
