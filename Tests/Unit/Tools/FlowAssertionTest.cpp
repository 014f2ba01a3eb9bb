#include <gtest/gtest.h>

#include "Samples.h"
#include "Tools/FlowAssertion.h"

namespace wyvlet::test {
namespace {

class AssertFlow : public ::testing::Test {
 protected:
  AssertFlow() {
    cache.httpRequests = {sampleRequest(1, "GET", "https://x/api/search"),
                          sampleRequest(2, "POST", "https://x/api/bookings", 201),
                          sampleRequest(3, "POST", "https://x/API/bookings", 409),
                          sampleRequest(4, "GET", "https://x/lost", std::nullopt)};
    cache.logEntries = {sampleEntry("INFO", "analytics", "Booking_Created id=1"),
                        sampleEntry("INFO", "booking_created", "again"), sampleEntry("INFO", "a", "PASS")};
    cache.currentScreen = "Booking Confirmation";
  }

  CacheSnapshot cache = connected();
};

TEST_F(AssertFlow, StepsThatAreNoArrayOfObjects) {
  const std::string invalid =
      "FAIL: Invalid JSON in 'steps' parameter. Expected a JSON array of step objects.";
  for (const char* steps : {"", "x", "{}", "null", "[1]", "[{},\"a\"]", "[{}", "[{}] x", "[{},]", "[NaN]",
                            "[{\"type\":\"\xFF\"}]"}) {
    EXPECT_EQ(assertFlow(cache, steps), invalid) << steps;
  }
  EXPECT_EQ(assertFlow(cache, repeated("[", 100'000)), invalid);
  EXPECT_EQ(assertFlow(cache, repeated("[", 600) + repeated("]", 600)), invalid);
}

TEST_F(AssertFlow, NoSteps) {
  EXPECT_EQ(assertFlow(cache, "[]"), "FAIL: No steps provided. Pass a JSON array of steps.");
}

TEST_F(AssertFlow, EveryKindPasses) {
  EXPECT_EQ(assertFlow(cache, R"([
                {"type":"screen","screen_name":"confirmation"},
                {"type":"event","event_name":"BOOKING_CREATED"},
                {"type":"request","url_pattern":"/api/BOOKINGS","method":"post","status":201},
                {"type":"request","url_pattern":"/api/bookings"}])"),
            "Step 1 [screen] PASS: Current screen \"Booking Confirmation\" matches \"confirmation\"\n"
            "Step 2 [event] PASS: Event \"BOOKING_CREATED\" fired 2 time(s)\n"
            "Step 3 [request] PASS: POST 201 https://x/api/bookings\n"
            "Step 4 [request] PASS: POST 409 https://x/API/bookings\n"
            "Assert Flow: 4 passed, 0 failed — Overall: PASS");
}

TEST_F(AssertFlow, EveryKindFails) {
  EXPECT_EQ(assertFlow(cache, R"([
                {"type":"screen","screen_name":"Cart"},
                {"type":"event","event_name":"refund"},
                {"type":"request","url_pattern":"/refunds"},
                {"type":"request","url_pattern":"/api/bookings","method":"DELETE"},
                {"type":"request","url_pattern":"/","status":500},
                {"type":"Request"},
                {}])"),
            "Step 1 [screen] FAIL: Current screen \"Booking Confirmation\" does not match \"Cart\"\n"
            "Step 2 [event] FAIL: Event \"refund\" not found in 3 log entries\n"
            "Step 3 [request] FAIL: No requests matching /refunds\n"
            "Step 4 [request] FAIL: No requests matching /api/bookings\n"
            "Step 5 [request] FAIL: Found 4 request(s) for / but none with status 500. "
            "Actual: 200, 201, 409, none\n"
            "Step 6 [unknown] FAIL: Unknown step type \"Request\". Use: request, event, screen\n"
            "Step 7 [unknown] FAIL: Unknown step type \"\". Use: request, event, screen\n"
            "Assert Flow: 0 passed, 7 failed — Overall: FAIL");
}

TEST_F(AssertFlow, TheWordPassInANameIsNoVerdict) {
  EXPECT_EQ(assertFlow(cache, R"([{"type":"event","event_name":"COMPASS PASS:"}])"),
            "Step 1 [event] FAIL: Event \"COMPASS PASS:\" not found in 3 log entries\n"
            "Assert Flow: 0 passed, 1 failed — Overall: FAIL");
}

TEST_F(AssertFlow, NewestMatchIsShownEvenWithoutStatus) {
  EXPECT_EQ(
      assertFlow(cache, R"([{"type":"request","method":"GET"}])"),
      "Step 1 [request] PASS: GET none https://x/lost\nAssert Flow: 1 passed, 0 failed — Overall: PASS");
}

TEST_F(AssertFlow, StatusIsAWholeNumberOrAbsent) {
  EXPECT_TRUE(assertFlow(cache, R"([{"type":"request","status":201.0}])").ends_with("Overall: PASS"));
  EXPECT_TRUE(assertFlow(cache, R"([{"type":"request","status":2.01e2}])").ends_with("Overall: PASS"));
  EXPECT_EQ(assertFlow(cache, R"([{"type":"request","url_pattern":"search","status":"500"}])"),
            "Step 1 [request] PASS: GET 200 https://x/api/search\n"
            "Assert Flow: 1 passed, 0 failed — Overall: PASS");
  EXPECT_TRUE(assertFlow(cache, R"([{"type":"request","status":1e300}])").ends_with("Overall: PASS"));
}

TEST_F(AssertFlow, NeedsNoConnection) {
  cache.isConnected = false;
  EXPECT_TRUE(assertFlow(cache, R"([{"type":"event","event_name":"created"}])").ends_with("Overall: PASS"));
}

}  // namespace
}  // namespace wyvlet::test
