// The tools against a running app: not what they answer alone, but what they bring about.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "EndToEnd/Harness.h"

namespace wyvlet::test {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

/// An agent, the server and the travel app.
class Tools : public ::testing::Test {
 protected:
  Tools() { agent.connect(); }

  /// Lets the app do something and waits until nothing is under way in it.
  void appDoes(std::string_view command) {
    EXPECT_THAT(app.control(command), StartsWith("ok")) << command;
    EXPECT_EQ(app.control("settle"), "ok") << command;
  }

  /// Calls a tool until its answer is as expected: the app's events travel on their own.
  template <class Matcher>
  void answersInTheEnd(std::string_view tool, const boost::json::object& arguments, const Matcher& expected) {
    std::string answer;
    eventually([&] {
      answer = agent.call(tool, arguments);
      return ::testing::Value(answer, expected);
    });
    EXPECT_THAT(answer, expected) << tool;
  }

  /// The short id of the first line of an answer that ends with `ending`.
  static std::string idOf(const std::string& answer, std::string_view ending) {
    const auto end = answer.find(ending);
    const auto bracket = answer.rfind('[', end);
    if (end == std::string::npos || bracket == std::string::npos) return "";
    return answer.substr(bracket + 1, 8);
  }

  SampleApp app{{"--no-announce", "--latency", "0"}};
  Server agent;
};

TEST_F(Tools, AMockRuleAnswersTheNextCallUntilItIsRemoved) {
  EXPECT_EQ(agent.call("wyvlet_get_rules"),
            "URL Rewrite Rules (1):\n  [C7E21B40] Old image host — prefix https://cdn.harbor.travel/ → "
            "images.harbor.travel [enabled]");
  EXPECT_EQ(agent.call("wyvlet_add_mock_rule", {{"url_pattern", "/v1/bookings"},
                                                {"method", "POST"},
                                                {"status_code", 503},
                                                {"response_body", "{\"error\":\"closed\"}"},
                                                {"name", "No bookings"}}),
            "Mock rule added: No bookings (POST /v1/bookings → 503)");
  const std::string ruleEnd = " No bookings — contains /v1/bookings POST → 503 [enabled]";
  answersInTheEnd("wyvlet_get_rules", {}, HasSubstr("\nMock Rules (1):\n"));
  const std::string ruleId = idOf(agent.call("wyvlet_get_rules"), "]" + ruleEnd);
  EXPECT_EQ(ruleId.size(), 8u);

  appDoes("emit-request POST https://api.harbor.travel/v1/bookings {}");
  answersInTheEnd("wyvlet_get_network_logs", {{"limit", 1}},
                  AllOf(HasSubstr("POST 503 "), HasSubstr("https://api.harbor.travel/v1/bookings (MOCKED)")));
  EXPECT_EQ(agent.call("wyvlet_assert_request", {{"url_pattern", "BOOKINGS"},
                                                 {"min_status", 500},
                                                 {"max_status", 599},
                                                 {"body_contains", "closed"}}),
            "PASS: POST 503 https://api.harbor.travel/v1/bookings — response contains \"closed\"");
  EXPECT_EQ(agent.call("wyvlet_assert_request", {{"url_pattern", "BOOKINGS"}}),
            "FAIL: Found 1 matching request(s) but none with status 200-299. Actual statuses: 503");

  EXPECT_EQ(agent.call("wyvlet_remove_mock_rule", {{"rule_id", ruleId}}), "Mock rule removed: " + ruleId);
  answersInTheEnd("wyvlet_get_rules", {}, Not(HasSubstr("Mock Rules")));
  appDoes(R"(emit-request POST https://api.harbor.travel/v1/bookings {"fareId":"HB101","passenger":"Ada"})");
  answersInTheEnd("wyvlet_assert_request", {{"url_pattern", "/v1/bookings"}, {"min_status", 201}},
                  "PASS: POST 201 https://api.harbor.travel/v1/bookings");
}

TEST_F(Tools, AnInterceptRuleHoldsTheNextCall) {
  EXPECT_EQ(agent.call("wyvlet_add_intercept_rule", {{"url_pattern", "/v1/profile"}}),
            "Intercept rule added: Intercept /v1/profile — /v1/profile");
  answersInTheEnd("wyvlet_get_rules", {}, HasSubstr("\nIntercept Rules (1):\n"));
  const std::string ruleId =
      idOf(agent.call("wyvlet_get_rules"), "] Intercept /v1/profile — contains /v1/profile ANY [enabled]");

  appDoes("emit-request https://api.harbor.travel/v1/profile");
  EXPECT_THAT(app.control("held"), HasSubstr("GET https://api.harbor.travel/v1/profile"));
  appDoes("approve all");
  answersInTheEnd("wyvlet_get_network_logs", {{"limit", 1}},
                  HasSubstr("https://api.harbor.travel/v1/profile (INTERCEPTED)"));

  EXPECT_EQ(agent.call("wyvlet_remove_intercept_rule", {{"rule_id", ruleId}}),
            "Intercept rule removed: " + ruleId);
  answersInTheEnd("wyvlet_get_rules", {}, Not(HasSubstr("Intercept Rules")));
}

TEST_F(Tools, ASwitchedEnvironmentMovesTheNextCall) {
  EXPECT_THAT(agent.call("wyvlet_get_environment"), StartsWith("Active: Production\n"));
  EXPECT_EQ(agent.call("wyvlet_switch_environment", {{"environment_name", "STAGING"}}),
            "Switched to: Staging (https://api.staging.harbor.travel, https://images.staging.harbor.travel)");
  answersInTheEnd(
      "wyvlet_get_environment", {},
      "Active: Staging\n  URL[0]: https://api.staging.harbor.travel\n"
      "  URL[1]: https://images.staging.harbor.travel\n\nAvailable environments:\n"
      "  Production: https://api.harbor.travel, https://images.harbor.travel\n"
      "  Staging ← ACTIVE: https://api.staging.harbor.travel, https://images.staging.harbor.travel\n"
      "  Local: http://localhost:8080, http://localhost:8081");
  appDoes("emit-request https://api.harbor.travel/v1/promotions");
  answersInTheEnd("wyvlet_get_network_logs", {{"limit", 1}},
                  HasSubstr(" https://api.staging.harbor.travel/v1/promotions (REWRITTEN) from: Home"));
}

TEST_F(Tools, AReplayedRequestIsANewExchange) {
  const std::string url = "https://api.harbor.travel/v1/replayed";
  appDoes("emit-request PUT " + url + R"( {"push":true})");
  answersInTheEnd("wyvlet_get_network_logs", {{"limit", 1}}, HasSubstr("PUT 404 "));
  const std::string id = idOf(agent.call("wyvlet_get_network_logs", {{"limit", 1}}), "] PUT");
  EXPECT_EQ(agent.call("wyvlet_replay_request", {{"request_id", id}}), "Replaying: PUT " + url);
  answersInTheEnd("wyvlet_get_network_logs", {{"limit", 1}},
                  AllOf(HasSubstr("PUT 404 "), HasSubstr(url), Not(HasSubstr("[" + id + "]"))));
  const std::string replayed = idOf(agent.call("wyvlet_get_network_logs", {{"limit", 1}}), "] PUT");
  EXPECT_THAT(agent.call("wyvlet_get_request_detail", {{"request_id", replayed}}),
              HasSubstr("\n--- Request Body ---\n{\"push\":true}\n"));
}

TEST_F(Tools, AMarkedQAItemComesBackMarked) {
  const char* item = "2C80E5A7";
  EXPECT_EQ(
      agent.call("wyvlet_mark_qa", {{"item_id", item}, {"status", "failed"}, {"notes", "No reference"}}),
      "Marked 'Booking is confirmed' as FAILED");
  answersInTheEnd("wyvlet_get_qa_checklist", {},
                  HasSubstr("\n❌ [2C80E5A7] Booking is confirmed — FAILED\n   Notes: Book any crossing and "
                            "check the reference on the confirmation\n   Endpoints: /v1/fares, /v1/bookings\n"
                            "   Fail reason: No reference\n"));
  EXPECT_EQ(agent.call("wyvlet_mark_qa", {{"item_id", item}, {"status", "PASSED"}}),
            "Marked 'Booking is confirmed' as PASSED");
  answersInTheEnd("wyvlet_get_qa_checklist", {}, HasSubstr("\n✅ [2C80E5A7] Booking is confirmed — PASSED\n"));
  EXPECT_EQ(agent.call("wyvlet_mark_qa", {{"item_id", item}, {"status", "MAYBE"}}),
            "Error: status must be PASSED or FAILED");
}

TEST_F(Tools, ABookingIsVerifiedFromEverySide) {
  appDoes("deep-link harbor://booking/HB101");
  EXPECT_THAT(agent.call("wyvlet_get_value", {{"text", "total payable"}}),
              MatchesRegex("Found: Total Payable\nNext: .*[0-9]+\\.[0-9][0-9].*"));
  EXPECT_EQ(agent.call("wyvlet_verify_screen", {{"contains", "taxes"}, {"not_contains", "failed"}}),
            "Screen: Confirm Booking Details\nPASS: Screen contains 'taxes'\n"
            "PASS: Screen does not contain 'failed' (correct)\nOverall: PASS");
  EXPECT_EQ(agent.call("wyvlet_assert_element", {{"text", "Confirm"}, {"state", "enabled"}}),
            "PASS: Element 'Confirm' found (visible = likely enabled)");

  appDoes("tap-label Confirm Booking");
  EXPECT_EQ(agent.call("wyvlet_current_screen"), "Current screen: Confirmation");
  answersInTheEnd("wyvlet_check_event", {{"event_name", "BOOKING_created"}, {"since_seconds", 60}},
                  StartsWith("PASS: Event \"BOOKING_created\" fired 1 time(s)\nLatest: booking_created {"));
  EXPECT_EQ(agent.call("wyvlet_check_event",
                       {{"event_name", "booking_created"}, {"property", "fare_id"}, {"value", "HB1\\d1"}}),
            "PASS: Event \"booking_created\" fired with fare_id = HB1\\d1 (1 match(es))");
  EXPECT_EQ(agent.call("wyvlet_assert_flow", {{"steps", R"([
                {"type":"event","event_name":"booking_created"},
                {"type":"request","url_pattern":"/v1/bookings","method":"post","status":201},
                {"type":"screen","screen_name":"confirm"},
                {"type":"request","url_pattern":"/v1/fares/HB101","status":404}])"}}),
            "Step 1 [event] PASS: Event \"booking_created\" fired 1 time(s)\n"
            "Step 2 [request] PASS: POST 201 https://api.harbor.travel/v1/bookings\n"
            "Step 3 [screen] PASS: Current screen \"Confirmation\" matches \"confirm\"\n"
            "Step 4 [request] FAIL: Found 1 request(s) for /v1/fares/HB101 but none with status 404. "
            "Actual: 200\nAssert Flow: 3 passed, 1 failed — Overall: FAIL");
  const std::string timeline = agent.call("wyvlet_timeline", {{"since_seconds", 60}, {"limit", 500}});
  EXPECT_THAT(timeline, MatchesRegex("Timeline \\(last 60s, [0-9]+ events\\):\n.*"));
  EXPECT_THAT(timeline, ContainsRegex("\n[0-9:.]{12} NET       POST https://api.harbor.travel/v1/bookings → "
                                      "201 \\([0-9]+ms\\)\n"));
  EXPECT_THAT(timeline, ContainsRegex("\n[0-9:.]{12} LOG\\[INFO\\] booking_created "));
  EXPECT_LT(timeline.find("/v1/fares/HB101"), timeline.find("/v1/bookings"));
}

TEST_F(Tools, TheScreenIsComparedWithItsBaseline) {
  const boost::json::object home = {{"screen_name", "Start/page"}};
  EXPECT_EQ(agent.call("wyvlet_visual_check", home),
            "No baseline found for screen \"Start/page\" — saved current screenshot as baseline.\n"
            "Run again to compare against this baseline.");
  const std::string path = homeDirectoryOfTest() + "/.wyvletqa/baselines/unknown/Start_page.png";
  EXPECT_TRUE(std::filesystem::is_regular_file(path));
  EXPECT_THAT(agent.call("wyvlet_visual_check", {{"screen_name", "Start/page"}, {"threshold", 0}}),
              MatchesRegex("PASS: Visual check for \"Start/page\" — 0\\.00% changed \\(0/[0-9]+ pixels, "
                           "threshold: 0\\.0%\\)"));
  appDoes("tap-label Profile");
  EXPECT_THAT(agent.call("wyvlet_visual_check", {{"screen_name", "Start/page"}, {"threshold", 0.1}}),
              MatchesRegex("FAIL: Visual regression on \"Start/page\" — [0-9.]+% changed \\([0-9]+/[0-9]+ "
                           "pixels, threshold: 0\\.1%\\)\nUse save_baseline=true to update the baseline if "
                           "this change is intentional\\."));
  EXPECT_EQ(agent.call("wyvlet_visual_check", {{"screen_name", "Start/page"}, {"save_baseline", true}}),
            "Baseline saved for screen \"Start/page\" (app: unknown)\nPath: " + path);
  EXPECT_THAT(agent.call("wyvlet_visual_check", home), StartsWith("PASS: "));
  EXPECT_THAT(agent.call("wyvlet_visual_check"), StartsWith("No baseline found for screen \"Profile\""));
}

TEST_F(Tools, ACrashIsReportedWithoutWaitingForTheApp) {
  agent.call("session_set_defaults", {{"bundleId", "com.harbor.travel"}});
  EXPECT_EQ(agent.call("wyvlet_get_crash_log"),
            "No crash log found. The app may not have crashed, or the crash handler was not installed.");
  EXPECT_EQ(app.control("crash Index out of range"), "ok /tmp/wyvlet_crash_com_harbor_travel.json");
  ASSERT_TRUE(app.process().waitForExit());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(agent.call("wyvlet_get_crash_log"),
              MatchesRegex("CRASH REPORT\nType: Signal — SIGABRT\nReason: Index out of range\nScreen: Home\n"
                           "Last API: [^\n]+\nTime: [^\n]+\n\nStack Trace:\n  0: .*\n  1: .*"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));  // a wait lasts 8
}

TEST_F(Tools, StorageAndFlowsAreTheAppsOwn) {
  EXPECT_EQ(agent.call("wyvlet_get_cookies"),
            "cookie_consent: analytics=yes; marketing=no\n"
            "saved_web_session: <HTTPCookie name: harbor_session, domain: .harbor.travel>");
  EXPECT_EQ(agent.call("wyvlet_get_user_defaults", {{"filter", "COUNT"}}),
            "UserDefaults (1 entries):\n  [Int] launch_count = 7");
  EXPECT_EQ(agent.call("wyvlet_get_recorded_flows"),
            "Recorded Flows (1):\n[E0B54C77] Book a crossing (5 steps)\n"
            "  Description: From search to confirmation\n  1. tap \"To\" at (169,320) [screen: Home]\n"
            "  2. type text=\"Porto\" [\"field\": \"To\"] [screen: Home]\n"
            "  3. tap \"Search\" at (195,479) [screen: Home]\n"
            "  4. tap \"HB101 06:15-09:20\" at (195,168) [screen: Search Results]\n"
            "  5. tap \"Confirm Booking\" at (195,515) [screen: Confirm Booking Details]");
  EXPECT_THAT(agent.call("wyvlet_get_websocket_logs", {{"limit", 1}}),
              StartsWith("WebSocket Connections (1):\n["));
}

TEST_F(Tools, TheAppShowsWhatTheAgentDoes) {
  agent.call("wyvlet_get_rules");
  agent.call("wyvlet_status");
  agent.call("wyvlet_assert_flow");
  EXPECT_TRUE(eventually([&] {
    return app.control("overlays")
               .find(
                   R"("notices":[{"category":"data","detail":"rules"},{"category":"verify","detail":"flow"}])") !=
           std::string::npos;
  })) << app.control("overlays");
}

TEST_F(Tools, StrangeArgumentsDoNoHarm) {
  EXPECT_EQ(agent.call("wyvlet_get_app_logs", {{"limit", -1}}), "No log entries.");
  EXPECT_EQ(agent.call("wyvlet_get_app_logs", {{"limit", 1e300}}), agent.call("wyvlet_get_app_logs"));
  EXPECT_EQ(agent.call("wyvlet_get_app_logs", {{"limit", {1}}}), agent.call("wyvlet_get_app_logs"));
  EXPECT_EQ(agent.call("wyvlet_timeline", {{"since_seconds", -9223372036854775807}}),
            "No events in the last -9223372036854775807s.");
  EXPECT_THAT(
      agent.call("wyvlet_check_event", {{"event_name", ""}, {"property", "(((("}, {"value", "a{9999}"}}),
      StartsWith("FOUND but PROPERTY MISMATCH: "));
  EXPECT_EQ(agent.call("wyvlet_assert_flow", {{"steps", std::string(100'000, '[')}}),
            "FAIL: Invalid JSON in 'steps' parameter. Expected a JSON array of step objects.");
  EXPECT_THAT(
      agent.call("wyvlet_visual_check", {{"screen_name", "../../../../escaped"}, {"save_baseline", true}}),
      HasSubstr("/.wyvletqa/baselines/unknown/.._.._.._.._escaped.png"));
  EXPECT_THAT(agent.call("wyvlet_status"), StartsWith("Wyvlet: CONNECTED ✅\n"));
}

}  // namespace
}  // namespace wyvlet::test
