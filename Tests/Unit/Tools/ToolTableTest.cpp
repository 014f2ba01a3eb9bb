#include <gtest/gtest.h>

#include <algorithm>
#include <boost/json.hpp>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Client/WyvletClient.h"
#include "TemporaryHome.h"
#include "Tools/ToolCall.h"
#include "Tools/ToolTable.h"

namespace wyvlet::test {
namespace {

using enum ArgumentType;

/// What agents were promised: names, descriptions and arguments, in their order.
const std::vector<ToolDefinition>& promised() {
  static const std::vector<ToolDefinition> tools = {
      {"wyvlet_status", "Check if Wyvlet is connected and get summary of available data", {}},
      {"wyvlet_get_network_logs",
       "Get recent HTTP network requests captured by Wyvlet (URL, method, status, duration, screen). "
       "Includes native URLSession and WebView (fetch/XHR) traffic.",
       {{"limit", Number, "Max requests to return (default 20)"},
        {"screen", String, "Filter by screen name (e.g. 'Confirm Booking Details')"},
        {"source", String,
         "Filter by source: 'webview' for WebView-only traffic, 'native' for URLSession-only. Omit for "
         "all."}}},
      {"wyvlet_get_request_detail",
       "Get full details of a specific HTTP request — headers, request body, response body, timing",
       {{"request_id", String, "UUID of the request (from wyvlet_get_network_logs)"}}},
      {"wyvlet_get_app_logs",
       "Get structured app log entries captured by Wyvlet (with level, category, file, line, screen)",
       {{"limit", Number, "Max entries (default 50)"},
        {"level", String, "Filter by level: DEBUG, INFO, WARN, ERROR"},
        {"screen", String, "Filter by screen name (e.g. 'Confirm Booking Details')"}}},
      {"wyvlet_get_environment", "Get current API environment and all registered environments", {}},
      {"wyvlet_switch_environment",
       "Switch the app's API environment (e.g., to staging, production, local)",
       {{"environment_name", String, "Name of the environment to switch to"}}},
      {"wyvlet_replay_request",
       "Replay a previously captured HTTP request",
       {{"request_id", String, "UUID of the request to replay"}}},
      {"wyvlet_get_qa_checklist", "Get QA checklist items with pass/fail status", {}},
      {"wyvlet_mark_qa",
       "Mark a QA checklist item as passed or failed",
       {{"item_id", String, "UUID of the QA item"},
        {"status", String, "PASSED or FAILED"},
        {"notes", String, "Optional notes"}}},
      {"wyvlet_get_user_defaults",
       "Browse the app's persisted key-value storage. iOS: NSUserDefaults. Android: SharedPreferences (read "
       "via adb run-as). Routing is automatic based on the active sim/emulator — call this for both "
       "platforms.",
       {{"filter", String,
         "Optional key filter (contains match). On Android, can also be the SharedPreferences file name."}}},
      {"wyvlet_get_websocket_logs",
       "Get WebSocket connections and recent frames",
       {{"limit", Number, "Max frames per connection (default 20)"}}},
      {"wyvlet_get_rules", "Get active network rules (URL rewrites, mocks, intercepts)", {}},
      {"wyvlet_find_element",
       "PREFERRED for tapping: Find UI elements by text — returns label, type, exact frame, and center "
       "coordinates. Use this before tap/gesture to get accurate coordinates. Faster and more reliable than "
       "snapshot_ui.",
       {{"text", String, "Text to search for (partial match)"},
        {"exact", Boolean, "Exact match only (default: false)"}}},
      {"wyvlet_screen_text",
       "PREFERRED for text verification: Get ALL visible text on the current screen — fast, no image needed. "
       "Use this to verify text content, check labels, confirm navigation.",
       {}},
      {"wyvlet_screen_html",
       R"(PREFERRED for understanding screen layout: Returns the screen as compact HTML with tap coordinates. Each element has c="x,y" for tapping.)",
       {}},
      {"wyvlet_check_event",
       "FASTEST way to verify analytics: Ask 'did event X fire?' — returns PASS/FAIL instantly. Use instead "
       "of reading all app logs.",
       {{"event_name", String, "Event name to search for (partial match, e.g. 'Landed on cart')"},
        {"property", String, "Optional: check if this property exists in the event"},
        {"value", String, "Optional: check if property equals this value"},
        {"since_seconds", Number, "Only check events from the last N seconds"}}},
      {"wyvlet_get_value",
       "FASTEST way to read a screen value: Ask 'what is Total Payable?' — returns the value instantly. Use "
       "instead of screen_html when you just need one value.",
       {{"text", String, "Text label to find (e.g. 'Total Payable', 'Fare', 'Balance')"}}},
      {"wyvlet_assert_request",
       "PREFERRED for API validation: Assert that a specific API call was made with expected results. "
       "Returns PASS/FAIL. Use after user actions to verify the correct API was called — e.g. 'confirm POST "
       "/bookings returned 201'. This is a key advantage over UI-only testing.",
       {{"url_pattern", String, "URL substring to match (e.g. '/api/v1/bookings')"},
        {"method", String, "HTTP method to match (GET, POST, etc.)"},
        {"min_status", Number, "Minimum expected status code (default 200)"},
        {"max_status", Number, "Maximum expected status code (default 299)"},
        {"body_contains", String, "Assert response body contains this string"},
        {"since_seconds", Number, "Only check requests from the last N seconds"}}},
      {"wyvlet_current_screen",
       "PREFERRED for screen checks: Get the current screen name — instant, no UI traversal. Use this to "
       "check which screen you're on before taking any action.",
       {}},
      {"wyvlet_screenshot",
       "Take a screenshot via Wyvlet — captures the app window from inside the process. Use when you need to "
       "visually verify something that text/HTML tools can't capture (animations, colors, images). Returns "
       "base64 PNG + current screen name.",
       {}},
      {"wyvlet_get_recorded_flows",
       "Get recorded user flows from Wyvlet — replayable navigation paths recorded on the device",
       {}},
      {"wyvlet_timeline",
       "Unified timeline: correlates network requests, logs, and screen transitions in chronological order. "
       "Best for understanding 'what happened when?' after a user action.",
       {{"since_seconds", Number, "Show events from last N seconds (default 30)"},
        {"limit", Number, "Max events to return (default 50)"}}},
      {"wyvlet_get_cookies", "Get HTTP cookies stored by the app (HTTPCookieStorage)", {}},
      {"wyvlet_assert_element",
       "Assert a UI element exists with expected state. Returns PASS/FAIL. Example: "
       "assert_element(text:'Save', state:'enabled')",
       {{"text", String, "Element text to find"},
        {"state", String, "Expected state: 'exists', 'enabled', 'disabled', 'selected'"}}},
      {"wyvlet_verify_screen",
       "Verify the current screen contains expected text. Returns PASS/FAIL with details.",
       {{"contains", String, "Text that should be visible on screen"},
        {"not_contains", String, "Text that should NOT be visible"}}},
      {"wyvlet_assert_flow",
       "Assert a sequence of expected API calls and events in order. Each step is checked against cached "
       "data. Returns structured PASS/FAIL per step. Use after a user action to verify the entire expected "
       "backend flow.",
       {{"steps", String,
         R"(JSON array of steps. Each: {"type":"request","url_pattern":"/api/x","method":"POST","status":201} or {"type":"event","event_name":"booking_created"} or {"type":"screen","screen_name":"Confirmation"})"}}},
      {"wyvlet_add_mock_rule",
       "Add a mock rule: intercept matching API requests and return a fake response. Use this to test error "
       "handling, simulate API failures, or unblock blocked APIs. The mock stays active until removed.",
       {{"url_pattern", String, "URL substring to match (e.g. '/api/init', '/v1/bookings')"},
        {"status_code", Number, "HTTP status code to return (e.g. 200, 404, 500)"},
        {"response_body", String, "Response body JSON string to return"},
        {"method", String, "HTTP method to match (GET, POST, etc.). Omit to match all methods."},
        {"name", String, "Human-readable name for this mock rule"}}},
      {"wyvlet_remove_mock_rule",
       "Remove a mock rule by its ID (get IDs from wyvlet_get_rules)",
       {{"rule_id", String, "UUID of the rule to remove"}}},
      {"wyvlet_add_intercept_rule",
       "Add an intercept rule: hold matching requests until manually approved. Use to test timeout handling "
       "or inspect request payloads before they're sent.",
       {{"url_pattern", String, "URL substring to match"},
        {"method", String, "HTTP method to match. Omit to match all."},
        {"name", String, "Human-readable name"}}},
      {"wyvlet_remove_intercept_rule",
       "Remove an intercept rule by its ID",
       {{"rule_id", String, "UUID of the rule to remove"}}},
      {"wyvlet_perf_snapshot",
       "Get a performance snapshot: current FPS, memory usage (MB), average FPS, and peak memory. Use to "
       "detect jank, memory leaks, or performance regressions after user actions.",
       {}},
      {"wyvlet_accessibility_audit",
       "Run an accessibility audit on the current screen. Checks for missing labels on buttons, undersized "
       "touch targets (<44x44), and images without descriptions. Returns issues with severity and element "
       "coordinates.",
       {}},
      {"wyvlet_visual_check",
       "Compare current screen with a saved baseline screenshot. First run saves baseline, subsequent runs "
       "compare. Returns diff percentage and PASS/FAIL.",
       {{"screen_name", String, "Screen name for baseline (uses current if omitted)"},
        {"threshold", Number, "Max diff percentage to pass (default 5)"},
        {"save_baseline", Boolean, "Force save current as new baseline"}}},
      {"wyvlet_webview_console",
       "Get JavaScript console logs from WebViews in the app. Returns console.log, console.error, "
       "console.warn messages.",
       {{"level", String, "Filter by level: 'log', 'error', 'warn', 'debug'. Omit for all."},
        {"limit", Number, "Max entries to return (default 50)"}}},
      {"wyvlet_get_crash_log",
       "Read the last crash log from the app. Returns stack trace, exception type, last screen, and last API "
       "call. Use after the app crashes during testing.",
       {}},
      {"wyvlet_rebuild_app",
       "Rebuild and redeploy the app to simulator. Use after making code fixes in dev mode. Stops app, "
       "builds with xcodebuild, installs, relaunches with probe.",
       {{"scheme", String, "Xcode scheme name"},
        {"project_path", String, "Path to .xcodeproj or .xcworkspace"}}},
  };
  return tools;
}

/// Notes what a row asks for, and finds nothing.
class AskedFor : public ToolCall {
 public:
  using ToolCall::ToolCall;
  mutable std::vector<std::pair<std::string, ArgumentType>> asked;

 private:
  const boost::json::value* find(std::string_view name, ArgumentType type) const override {
    asked.emplace_back(name, type);
    return nullptr;
  }
};

using Asked = std::vector<std::pair<std::string, ArgumentType>>;

/// What a row's code asks for when it is called without an app.
Asked askedBy(std::string (*code)(const ToolCall&), WyvletClient& client) {
  const boost::json::object none;
  const std::optional<std::string> noBundle;
  const AskedFor call(none, client, noBundle, nullptr);
  code(call);
  return call.asked;
}

void expectDeclared(const ToolRow& row, const Asked& asked) {
  for (const auto& [name, type] : asked) {
    const auto declared = std::find_if(row.arguments.begin(), row.arguments.end(),
                                       [&, &wanted = name](const auto& each) { return each.name == wanted; });
    ASSERT_NE(declared, row.arguments.end()) << row.name << " asks for an undeclared \"" << name << '"';
    EXPECT_EQ(declared->type, type) << row.name << " reads \"" << name << "\" as another type";
  }
}

TEST(ToolTable, DefinitionsAreAsPromised) {
  const auto definitions = ToolHandler::definitions();
  ASSERT_EQ(definitions.size(), 36u);
  for (std::size_t i = 0; i < definitions.size(); ++i) {
    EXPECT_EQ(definitions[i].name, promised()[i].name);
    EXPECT_EQ(definitions[i].description, promised()[i].description);
    ASSERT_EQ(definitions[i].arguments.size(), promised()[i].arguments.size()) << definitions[i].name;
    for (std::size_t j = 0; j < definitions[i].arguments.size(); ++j) {
      EXPECT_EQ(definitions[i].arguments[j].name, promised()[i].arguments[j].name);
      EXPECT_EQ(definitions[i].arguments[j].type, promised()[i].arguments[j].type);
      EXPECT_EQ(definitions[i].arguments[j].description, promised()[i].arguments[j].description);
    }
  }
}

TEST(ToolTable, RowsAskForWhatTheyDeclareAndNothingElse) {
  WyvletClient client;
  for (const ToolRow& row : toolTable()) {
    if (row.name == "wyvlet_rebuild_app") continue;  // takes the argument map as it stands
    const Asked asked = askedBy(row.call, client);
    expectDeclared(row, asked);
    for (const ToolArgument& argument : row.arguments) {
      EXPECT_TRUE(std::any_of(asked.begin(), asked.end(),
                              [&](const auto& each) { return each.first == argument.name; }))
          << row.name << " never looks at \"" << argument.name << '"';
    }
  }
}

TEST(ToolTable, AndroidVariantsAskForNothingElseEither) {
  const TemporaryHome home;
  home.standInFor("adb", "exit 1");  // the variants that read the screen must not find a real device
  WyvletClient client;
  for (const ToolRow& row : toolTable()) {
    if (row.android != nullptr) expectDeclared(row, askedBy(row.android, client));
  }
}

TEST(ToolTable, OverlayNotices) {
  const std::map<std::string_view, std::pair<std::string_view, std::string_view>> expected = {
      {"wyvlet_assert_element", {"verify", "element"}},
      {"wyvlet_assert_flow", {"verify", "flow"}},
      {"wyvlet_assert_request", {"verify", "request"}},
      {"wyvlet_check_event", {"verify", "event"}},
      {"wyvlet_current_screen", {"scan", "screen"}},
      {"wyvlet_get_app_logs", {"data", "logs"}},
      {"wyvlet_get_cookies", {"data", "cookies"}},
      {"wyvlet_get_environment", {"environment", "env"}},
      {"wyvlet_get_network_logs", {"data", "network"}},
      {"wyvlet_get_qa_checklist", {"data", "QA checklist"}},
      {"wyvlet_get_recorded_flows", {"data", "flows"}},
      {"wyvlet_get_request_detail", {"data", "network"}},
      {"wyvlet_get_rules", {"data", "rules"}},
      {"wyvlet_get_user_defaults", {"data", "defaults"}},
      {"wyvlet_get_value", {"verify", "value"}},
      {"wyvlet_get_websocket_logs", {"data", "websocket"}},
      {"wyvlet_switch_environment", {"environment", "switching"}},
      {"wyvlet_timeline", {"data", "timeline"}},
      {"wyvlet_verify_screen", {"verify", "screen"}},
  };
  std::size_t notices = 0;
  for (const ToolRow& row : toolTable()) {
    const auto notice = expected.find(row.name);
    ASSERT_EQ(row.overlay.has_value(), notice != expected.end()) << row.name;
    if (!row.overlay) continue;
    ++notices;
    EXPECT_EQ(row.overlay->category, notice->second.first) << row.name;
    EXPECT_EQ(row.overlay->detail, notice->second.second) << row.name;
  }
  EXPECT_EQ(notices, expected.size());
}

TEST(ToolTable, AndroidVariants) {
  std::vector<std::string_view> variants;
  for (const ToolRow& row : toolTable()) {
    if (row.android != nullptr) variants.push_back(row.name);
  }
  EXPECT_EQ(variants, (std::vector<std::string_view>{
                          "wyvlet_status", "wyvlet_get_network_logs", "wyvlet_get_request_detail",
                          "wyvlet_get_app_logs", "wyvlet_get_user_defaults", "wyvlet_find_element",
                          "wyvlet_screen_text", "wyvlet_screen_html", "wyvlet_assert_request",
                          "wyvlet_add_mock_rule", "wyvlet_remove_mock_rule"}));
}

TEST(ToolTable, TwoToolsWorkWithoutAnApp) {
  std::vector<std::string_view> names;
  for (const ToolRow& row : toolTable()) {
    EXPECT_EQ(ToolHandler::worksWithoutApp(row.name), row.worksWithoutApp);
    if (row.worksWithoutApp) names.push_back(row.name);
  }
  EXPECT_EQ(names, (std::vector<std::string_view>{"wyvlet_get_crash_log", "wyvlet_rebuild_app"}));
  EXPECT_FALSE(ToolHandler::worksWithoutApp("wyvlet_unknown"));
}

TEST(ToolTable, NamesAreFoundExactly) {
  for (const ToolRow& row : toolTable()) EXPECT_EQ(findTool(row.name), &row);
  for (const char* name : {"", "wyvlet_", "WYVLET_STATUS", "wyvlet_status ", "tap"}) {
    EXPECT_EQ(findTool(name), nullptr) << name;
  }
}

}  // namespace
}  // namespace wyvlet::test
