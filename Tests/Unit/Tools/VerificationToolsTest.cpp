#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "Samples.h"
#include "Tools/VerificationTools.h"

namespace wyvlet::test {
namespace {

constexpr auto kNone = std::nullopt;

TransferableLogEntry entryAt(double secondsAgo, std::string category, std::string message) {
  auto entry = sampleEntry("INFO", std::move(category), std::move(message));
  entry.timestamp = {kNow.secondsSince1970 - secondsAgo};
  return entry;
}

class CheckEvent : public ::testing::Test {
 protected:
  CheckEvent() {
    cache.logEntries = {entryAt(300, "analytics", "Landed on CART fare=100"), entryAt(60, "net", "GET /cart"),
                        entryAt(10, "Cart_Analytics", "viewed Fare = 250"), entryAt(1, "boot", "done")};
  }

  std::string check(const EventQuery& query) { return checkEvent(cache, query, kNow); }

  CacheSnapshot cache = connected();
};

TEST_F(CheckEvent, WithoutApp) {
  cache.isConnected = false;
  EXPECT_EQ(check({"cart", kNone, kNone, kNone}), "Wyvlet not connected");
}

TEST_F(CheckEvent, NotFoundSaysHowManyWereSearched) {
  EXPECT_EQ(check({"Checkout", kNone, kNone, kNone}),
            "NOT FOUND: Event \"Checkout\" not found in 4 log entries");
  EXPECT_EQ(check({"Checkout", "p", "v", 60}),
            "NOT FOUND: Event \"Checkout\" not found in 3 log entries (last 60s)");
}

TEST_F(CheckEvent, FoundInMessageOrCategoryInAnyCase) {
  EXPECT_EQ(check({"cArT", kNone, kNone, kNone}),
            "PASS: Event \"cArT\" fired 3 time(s)\nLatest: viewed Fare = 250");
  EXPECT_EQ(check({"ANALYTICS", kNone, kNone, kNone}),
            "PASS: Event \"ANALYTICS\" fired 2 time(s)\nLatest: viewed Fare = 250");
}

TEST_F(CheckEvent, WindowIncludesItsEdge) {
  EXPECT_EQ(check({"cart", kNone, kNone, 60}),
            "PASS: Event \"cart\" fired 2 time(s)\nLatest: viewed Fare = 250");
  EXPECT_EQ(check({"cart", kNone, kNone, 59}),
            "PASS: Event \"cart\" fired 1 time(s)\nLatest: viewed Fare = 250");
  EXPECT_EQ(check({"cart", kNone, kNone, 0}),
            "NOT FOUND: Event \"cart\" not found in 0 log entries (last 0s)");
}

TEST_F(CheckEvent, ExtremeWindows) {
  EXPECT_EQ(check({"cart", kNone, kNone, std::numeric_limits<std::int64_t>::max()}),
            "PASS: Event \"cart\" fired 3 time(s)\nLatest: viewed Fare = 250");
  EXPECT_EQ(check({"cart", kNone, kNone, std::numeric_limits<std::int64_t>::min()}),
            "NOT FOUND: Event \"cart\" not found in 0 log entries (last -9223372036854775808s)");
}

TEST_F(CheckEvent, ExtremeTimes) {
  cache.logEntries = {entryAt(1e300, "a", "past"), entryAt(-1e300, "a", "future")};
  EXPECT_EQ(check({"a", kNone, kNone, 5}), "PASS: Event \"a\" fired 1 time(s)\nLatest: future");
}

TEST_F(CheckEvent, PropertyAlone) {
  EXPECT_EQ(check({"cart", "FARE", kNone, kNone}),
            "PASS: Event \"cart\" fired with \"FARE\" present (2x)\nLatest: viewed Fare = 250");
  EXPECT_EQ(check({"cart", "seat", kNone, kNone}),
            "FOUND but MISSING PROPERTY: Event \"cart\" fired 3x but property \"seat\" not found\n"
            "Latest: viewed Fare = 250");
}

TEST_F(CheckEvent, ValueWithoutPropertyIsIgnored) {
  EXPECT_EQ(check({"boot", kNone, "x", kNone}), "PASS: Event \"boot\" fired 1 time(s)\nLatest: done");
}

TEST_F(CheckEvent, PropertyWithValue) {
  EXPECT_EQ(check({"cart", "Fare", "250", kNone}),
            "PASS: Event \"cart\" fired with Fare = 250 (1 match(es))");
  EXPECT_EQ(check({"cart", "fare", "999", kNone}),
            "FOUND but PROPERTY MISMATCH: Event \"cart\" fired 3x but \"fare\" != \"999\"\n"
            "Latest: viewed Fare = 250");
}

TEST_F(CheckEvent, PropertyAndValueAreAPatternAsGiven) {
  EXPECT_EQ(check({"cart", "f.re", "^?[0-9]{3}$", kNone}),
            "PASS: Event \"cart\" fired with f.re = ^?[0-9]{3}$ (2 match(es))");
}

TEST_F(CheckEvent, PatternIsLowerCasedToo) {
  // \D becomes \d by lower-casing, which the digits of the messages satisfy.
  EXPECT_EQ(check({"cart", "FARE", "\\D+", kNone}),
            "PASS: Event \"cart\" fired with FARE = \\D+ (2 match(es))");
}

TEST_F(CheckEvent, PatternDoesNotReachOverALineEnd) {
  cache.logEntries = {entryAt(1, "a", "fare\n250")};
  EXPECT_TRUE(check({"a", "fare", "250", kNone}).starts_with("FOUND but PROPERTY MISMATCH"));
}

TEST_F(CheckEvent, PatternThatDoesNotCompileMatchesNothing) {
  for (const char* value : {"(", "[", "*a**", "\\", "(?=x)", "a{1001}"}) {
    EXPECT_TRUE(check({"cart", "fare", value, kNone}).starts_with("FOUND but PROPERTY MISMATCH: ")) << value;
  }
}

TEST_F(CheckEvent, LongLiteralValuesStillMatch) {
  const std::string value = repeated("Wert ", 1500);
  cache.logEntries = {entryAt(1, "a", "payload=" + value)};
  EXPECT_EQ(check({"a", "payload", value, kNone}),
            "PASS: Event \"a\" fired with payload = " + value + " (1 match(es))");
}

TEST_F(CheckEvent, HostilePatternTakesLinearTime) {
  cache.logEntries = {entryAt(1, "a", repeated("a", 100'000))};
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(check({"a", "(a*)*(a|a)*(a+)+", "(a|aa)+(.*a){20}b", kNone})
                  .starts_with("FOUND but PROPERTY MISMATCH: "));
  // A backtracking matcher would not end within the age of the universe.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TransferableNetworkRequest requestAt(double secondsAgo, TransferableNetworkRequest request) {
  request.timestamp = {kNow.secondsSince1970 - secondsAgo};
  return request;
}

class AssertRequest : public ::testing::Test {
 protected:
  AssertRequest() {
    auto created = sampleRequest(2, "POST", "https://x/API/bookings", 201);
    created.responseBody = Bytes{"{\"id\":\"Seat-7\"}"};
    cache.httpRequests = {requestAt(100, sampleRequest(1, "GET", "https://x/api/search")),
                          requestAt(50, created),
                          requestAt(10, sampleRequest(3, "post", "https://x/api/bookings/2", 500)),
                          requestAt(5, sampleRequest(4, "GET", "https://x/api/lost", std::nullopt))};
  }

  std::string check(const RequestQuery& query) { return assertRequest(cache, query, kNow); }

  CacheSnapshot cache = connected();
};

TEST_F(AssertRequest, WithoutApp) {
  cache.isConnected = false;
  EXPECT_EQ(check({}), "Wyvlet not connected");
}

TEST_F(AssertRequest, NewestPassingRequestIsNamed) {
  EXPECT_EQ(check({}), "PASS: POST 201 https://x/API/bookings");
}

TEST_F(AssertRequest, PatternAndMethodInAnyCase) {
  EXPECT_EQ(check({.urlPattern = "/api/BOOKINGS", .method = "Post"}),
            "PASS: POST 201 https://x/API/bookings");
}

TEST_F(AssertRequest, NoneFoundNamesEveryFilter) {
  EXPECT_EQ(check({.urlPattern = "/none"}), "FAIL: No requests found matching URL \"/none\"");
  EXPECT_EQ(check({.method = "PATCH"}), "FAIL: No requests found with method PATCH");
  EXPECT_EQ(check({.urlPattern = "/none", .method = "GET", .sinceSeconds = 60}),
            "FAIL: No requests found matching URL \"/none\" with method GET in the last 60s");
  cache.httpRequests = {};
  EXPECT_EQ(check({}), "FAIL: No requests found");
}

TEST_F(AssertRequest, WindowIncludesItsEdge) {
  EXPECT_EQ(check({.method = "POST", .sinceSeconds = 50}), "PASS: POST 201 https://x/API/bookings");
  EXPECT_EQ(check({.method = "POST", .sinceSeconds = 49}),
            "FAIL: Found 1 matching request(s) but none with status 200-299. Actual statuses: 500");
  EXPECT_EQ(check({.sinceSeconds = 1}), "FAIL: No requests found in the last 1s");
}

TEST_F(AssertRequest, StatusRangeIsInclusive) {
  cache.httpRequests = {sampleRequest(1, "GET", "u", 299)};
  EXPECT_EQ(check({}), "PASS: GET 299 u");
  cache.httpRequests = {sampleRequest(1, "GET", "u", 200)};
  EXPECT_EQ(check({}), "PASS: GET 200 u");
  cache.httpRequests = {sampleRequest(1, "GET", "u", 300), sampleRequest(2, "GET", "u", 199)};
  EXPECT_EQ(check({}),
            "FAIL: Found 2 matching request(s) but none with status 200-299. Actual statuses: 300, 199");
}

TEST_F(AssertRequest, MissingStatusLiesInNoRange) {
  EXPECT_EQ(check({.urlPattern = "lost",
                   .minStatus = std::numeric_limits<std::int64_t>::min(),
                   .maxStatus = std::numeric_limits<std::int64_t>::max()}),
            "FAIL: Found 1 matching request(s) but none with status "
            "-9223372036854775808-9223372036854775807. Actual statuses: none");
  EXPECT_EQ(check({.minStatus = 600, .maxStatus = 700}),
            "FAIL: Found 4 matching request(s) but none with status 600-700. Actual statuses: "
            "200, 201, 500, none");
}

TEST_F(AssertRequest, BodyTestIsByteExact) {
  EXPECT_EQ(check({.bodyContains = "Seat-7"}),
            "PASS: POST 201 https://x/API/bookings — response contains \"Seat-7\"");
  EXPECT_EQ(check({.bodyContains = "seat-7"}),
            "FAIL: Found 2 request(s) with correct status but response body does not contain \"seat-7\"");
}

TEST_F(AssertRequest, BodyTestWorksOnBytesThatAreNoText) {
  auto binary = sampleRequest(1, "GET", "u");
  binary.responseBody = Bytes{std::string("\xFF\x00ok\xFE", 5)};
  cache.httpRequests = {binary, sampleRequest(2, "GET", "bodiless")};
  EXPECT_EQ(check({.bodyContains = "ok"}), "PASS: GET 200 u — response contains \"ok\"");
}

TEST_F(AssertRequest, NewestWithTheBodyIsNamed) {
  auto older = sampleRequest(1, "GET", "older");
  older.responseBody = Bytes{"yes"};
  auto newer = sampleRequest(2, "GET", "newer");
  newer.responseBody = Bytes{"yes"};
  cache.httpRequests = {older, newer, sampleRequest(3, "GET", "newest without it")};
  EXPECT_EQ(check({.bodyContains = "yes"}), "PASS: GET 200 newer — response contains \"yes\"");
}

TEST(ValueOnScreen, LineAndTheOneBelow) {
  const std::string screen = "Screen: Cart\nVisible text (3 items):\n  Total Payable\n \t€ 120 \t\n  Pay";
  EXPECT_EQ(valueOnScreen(screen, "total payable"), "Found: Total Payable\nNext: € 120");
  EXPECT_EQ(valueOnScreen(screen, "PAY"), "Found: Total Payable\nNext: € 120");
  EXPECT_EQ(valueOnScreen(screen, "cart"), "Found: Screen: Cart\nNext: Visible text (3 items):");
}

TEST(ValueOnScreen, LastLineHasNoNext) {
  EXPECT_EQ(valueOnScreen("a\n  Pay", "pay"), "Found: Pay");
  EXPECT_EQ(valueOnScreen("a\n  Pay\n", "pay"), "Found: Pay\nNext: ");
}

TEST(ValueOnScreen, NotFound) {
  EXPECT_EQ(valueOnScreen("Screen text timed out", "Fare"),
            "NOT FOUND: No element containing \"Fare\" on current screen");
}

TEST(ElementVerdict, Exists) {
  EXPECT_EQ(elementVerdict("Screen: A\nFound 1 match(es) for \"Save\":", "Save", "exists"),
            "PASS: Element 'Save' exists on screen");
  EXPECT_EQ(elementVerdict("Screen: A\nNo elements found matching \"Save\"", "Save", "EXISTS"),
            "FAIL: Element 'Save' not found on screen");
  EXPECT_EQ(elementVerdict("Find element timed out", "Save", "exists"),
            "FAIL: Element 'Save' not found on screen");
}

TEST(ElementVerdict, ANameCannotPassForAFind) {
  EXPECT_EQ(elementVerdict("Screen: Lost and Found\nNo elements found matching \"x\"", "x", "exists"),
            "FAIL: Element 'x' not found on screen");
}

TEST(ElementVerdict, EnabledAndDisabledAreJudgedByVisibility) {
  EXPECT_EQ(elementVerdict("Found 1", "Save", "Enabled"),
            "PASS: Element 'Save' found (visible = likely enabled)");
  EXPECT_EQ(elementVerdict("No elements found", "Save", "enabled"), "FAIL: Element 'Save' not found");
  EXPECT_EQ(elementVerdict("No elements found", "Save", "disabled"),
            "PASS: Element 'Save' not visible (possibly disabled/hidden)");
  EXPECT_EQ(elementVerdict("Found 1", "Save", "disabled"),
            "INFO: Element 'Save' is visible — check if it's actually disabled");
  EXPECT_EQ(elementVerdict("Find element timed out", "Save", "disabled"),
            "INFO: Element 'Save' is visible — check if it's actually disabled");
}

TEST(ElementVerdict, SelectedAndUnknownStates) {
  EXPECT_EQ(
      elementVerdict("Found 1", "Save", "selected"),
      "INFO: Selected state check not supported. Use wyvlet_screen_html to inspect element attributes.");
  EXPECT_EQ(elementVerdict("Found 1", "Save", "Glowing"),
            "Unknown state 'Glowing'. Use: exists, enabled, disabled, selected");
}

TEST(ScreenVerdict, NoAssertion) {
  EXPECT_EQ(screenVerdict("anything", "Cart", kNone, kNone),
            "No assertion specified. Provide 'contains' or 'not_contains'.");
}

TEST(ScreenVerdict, EachAssertionHasItsLine) {
  EXPECT_EQ(screenVerdict("Total: 5", "Cart", "total", kNone),
            "Screen: Cart\nPASS: Screen contains 'total'\nOverall: PASS");
  EXPECT_EQ(screenVerdict("Total: 5", "Cart", "fare", kNone),
            "Screen: Cart\nFAIL: Screen does NOT contain 'fare'\nOverall: FAIL");
  EXPECT_EQ(screenVerdict("Total: 5", "Cart", kNone, "TOTAL"),
            "Screen: Cart\nFAIL: Screen contains 'TOTAL' (should NOT)\nOverall: FAIL");
  EXPECT_EQ(screenVerdict("Total: 5", "Cart", kNone, "fare"),
            "Screen: Cart\nPASS: Screen does not contain 'fare' (correct)\nOverall: PASS");
}

TEST(ScreenVerdict, EitherFailureFailsOverall) {
  EXPECT_EQ(screenVerdict("a b", "S", "a", "b"),
            "Screen: S\nPASS: Screen contains 'a'\nFAIL: Screen contains 'b' (should NOT)\nOverall: FAIL");
  EXPECT_EQ(screenVerdict("a b", "S", "c", "d"),
            "Screen: S\nFAIL: Screen does NOT contain 'c'\nPASS: Screen does not contain 'd' (correct)\n"
            "Overall: FAIL");
  EXPECT_EQ(screenVerdict("a b", "S", "a", "d"),
            "Screen: S\nPASS: Screen contains 'a'\nPASS: Screen does not contain 'd' (correct)\n"
            "Overall: PASS");
}

}  // namespace
}  // namespace wyvlet::test
