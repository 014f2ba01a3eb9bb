#include "Tools/ToolHandler.h"

#include <algorithm>
#include <array>
#include <boost/json.hpp>
#include <string>

#include "Android/AndroidCapture.h"
#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "Tools/CacheQueries.h"
#include "Tools/CrashLog.h"
#include "Tools/EnvironmentTools.h"
#include "Tools/FlowAssertion.h"
#include "Tools/FlowTools.h"
#include "Tools/QATools.h"
#include "Tools/RebuildApp.h"
#include "Tools/RuleTools.h"
#include "Tools/StatusTools.h"
#include "Tools/StorageTools.h"
#include "Tools/Timeline.h"
#include "Tools/ToolCall.h"
#include "Tools/ToolTable.h"
#include "Tools/TrafficTools.h"
#include "Tools/VerificationTools.h"
#include "Tools/VisualCheck.h"
#include "WyvletShared/Values.h"

namespace wyvlet {
namespace {

using enum ArgumentType;

// How long the app may take to answer, in seconds.
constexpr double kAnswerSeconds = 3.0;
constexpr double kRefreshSeconds = 2.0;
constexpr double kScreenshotSeconds = 5.0;

// Every tool, in the order in which agents see them.
const auto& table() {
  static const auto rows = std::to_array<ToolRow>({
      {.name = "wyvlet_status",
       .description = "Check if Wyvlet is connected and get summary of available data",
       .android = [](const ToolCall&) { return AndroidCapture::status(); },
       .call = [](const ToolCall& c) { return status(c.snapshot()); }},
      {.name = "wyvlet_get_network_logs",
       .description = "Get recent HTTP network requests captured by Wyvlet (URL, method, status, duration, "
                      "screen). Includes native URLSession and WebView (fetch/XHR) traffic.",
       .arguments = {{"limit", Number, "Max requests to return (default 20)"},
                     {"screen", String, "Filter by screen name (e.g. 'Confirm Booking Details')"},
                     {"source", String,
                      "Filter by source: 'webview' for WebView-only traffic, 'native' for URLSession-only. "
                      "Omit for all."}},
       .overlay = OverlayNotice{"data", "network"},
       .android =
           [](const ToolCall& c) {
             // A capture knows no screens; the agent's word narrows the URLs instead.
             return AndroidCapture::networkLogs(c.integer("limit", 20), c.text("screen"));
           },
       .call =
           [](const ToolCall& c) {
             return networkLogs(c.snapshot(), c.integer("limit", 20), c.text("screen"), c.text("source"));
           }},
      {.name = "wyvlet_get_request_detail",
       .description =
           "Get full details of a specific HTTP request — headers, request body, response body, timing",
       .arguments = {{"request_id", String, "UUID of the request (from wyvlet_get_network_logs)"}},
       .overlay = OverlayNotice{"data", "network"},
       .android = [](const ToolCall& c) { return AndroidCapture::requestDetail(c.text("request_id", "")); },
       .call = [](const ToolCall& c) { return requestDetail(c.snapshot(), c.text("request_id", "")); }},
      {.name = "wyvlet_get_app_logs",
       .description =
           "Get structured app log entries captured by Wyvlet (with level, category, file, line, screen)",
       .arguments = {{"limit", Number, "Max entries (default 50)"},
                     {"level", String, "Filter by level: DEBUG, INFO, WARN, ERROR"},
                     {"screen", String, "Filter by screen name (e.g. 'Confirm Booking Details')"}},
       .overlay = OverlayNotice{"data", "logs"},
       .android =
           [](const ToolCall& c) { return AndroidCapture::appLogs(c.integer("limit", 20), c.text("level")); },
       .call =
           [](const ToolCall& c) {
             // The description promises more than the default gives; agents rely on the lower figure.
             return appLogs(c.snapshot(), c.integer("limit", 20), c.text("level"), c.text("screen"));
           }},
      {.name = "wyvlet_get_environment",
       .description = "Get current API environment and all registered environments",
       .overlay = OverlayNotice{"environment", "env"},
       .call = [](const ToolCall& c) { return environment(c.snapshot()); }},
      {.name = "wyvlet_switch_environment",
       .description = "Switch the app's API environment (e.g., to staging, production, local)",
       .arguments = {{"environment_name", String, "Name of the environment to switch to"}},
       .overlay = OverlayNotice{"environment", "switching"},
       .call =
           [](const ToolCall& c) {
             return switchEnvironment(
                 c.snapshot(), c.text("environment_name", ""), [&](const SwitchEnvironmentCommand& command) {
                   c.client.sendCommand(CompanionMessageType::commandSwitchEnvironment, command);
                 });
           }},
      {.name = "wyvlet_replay_request",
       .description = "Replay a previously captured HTTP request",
       .arguments = {{"request_id", String, "UUID of the request to replay"}},
       .call =
           [](const ToolCall& c) {
             return replayRequest(c.snapshot(), c.text("request_id", ""),
                                  [&](const ReplayRequestCommand& command) {
                                    c.client.sendCommand(CompanionMessageType::commandReplayRequest, command);
                                  });
           }},
      {.name = "wyvlet_get_qa_checklist",
       .description = "Get QA checklist items with pass/fail status",
       .overlay = OverlayNotice{"data", "QA checklist"},
       .call = [](const ToolCall& c) { return qaChecklist(c.snapshot()); }},
      {.name = "wyvlet_mark_qa",
       .description = "Mark a QA checklist item as passed or failed",
       .arguments = {{"item_id", String, "UUID of the QA item"},
                     {"status", String, "PASSED or FAILED"},
                     {"notes", String, "Optional notes"}},
       .call =
           [](const ToolCall& c) {
             return markQA(c.snapshot(), c.text("item_id", ""), c.text("status", ""), c.text("notes"),
                           [&](CompanionMessageType type, const MarkQACommand& command) {
                             c.client.sendCommand(type, command);
                           });
           }},
      {.name = "wyvlet_get_user_defaults",
       .description = "Browse the app's persisted key-value storage. iOS: NSUserDefaults. Android: "
                      "SharedPreferences (read via adb run-as). Routing is automatic based on the active "
                      "sim/emulator — call this for both platforms.",
       .arguments = {{"filter", String,
                      "Optional key filter (contains match). On Android, can also be the SharedPreferences "
                      "file name."}},
       .overlay = OverlayNotice{"data", "defaults"},
       .android = [](const ToolCall& c) { return AndroidCapture::readPrefs(c.text("filter")); },
       .call = [](const ToolCall& c) { return userDefaults(c.snapshot(), c.text("filter")); }},
      {.name = "wyvlet_get_websocket_logs",
       .description = "Get WebSocket connections and recent frames",
       .arguments = {{"limit", Number, "Max frames per connection (default 20)"}},
       .overlay = OverlayNotice{"data", "websocket"},
       .call = [](const ToolCall& c) { return websocketLogs(c.snapshot(), c.integer("limit", 20)); }},
      {.name = "wyvlet_get_rules",
       .description = "Get active network rules (URL rewrites, mocks, intercepts)",
       .overlay = OverlayNotice{"data", "rules"},
       .call = [](const ToolCall& c) { return rules(c.snapshot()); }},
      {.name = "wyvlet_find_element",
       .description = "PREFERRED for tapping: Find UI elements by text — returns label, type, exact frame, "
                      "and center coordinates. Use this before tap/gesture to get accurate coordinates. "
                      "Faster and more reliable than snapshot_ui.",
       .arguments = {{"text", String, "Text to search for (partial match)"},
                     {"exact", Boolean, "Exact match only (default: false)"}},
       .android =
           [](const ToolCall& c) {
             return AndroidCapture::findElement(c.text("text", ""), c.boolean("exact", false),
                                                c.androidSerial);
           },
       .call =
           [](const ToolCall& c) {
             return c.client.requestFindElement(c.text("text", ""), c.boolean("exact", false),
                                                kAnswerSeconds);
           }},
      {.name = "wyvlet_screen_text",
       .description = "PREFERRED for text verification: Get ALL visible text on the current screen — fast, "
                      "no image needed. Use this to verify text content, check labels, confirm navigation.",
       .android = [](const ToolCall& c) { return AndroidCapture::screenText(c.androidSerial); },
       .call = [](const ToolCall& c) { return c.client.requestScreenText(kAnswerSeconds); }},
      {.name = "wyvlet_screen_html",
       .description =
           R"(PREFERRED for understanding screen layout: Returns the screen as compact HTML with tap coordinates. Each element has c="x,y" for tapping.)",
       .android = [](const ToolCall& c) { return AndroidCapture::screenHTML(c.androidSerial); },
       .call = [](const ToolCall& c) { return c.client.requestScreenHTML(kAnswerSeconds); }},
      {.name = "wyvlet_check_event",
       .description = "FASTEST way to verify analytics: Ask 'did event X fire?' — returns PASS/FAIL "
                      "instantly. Use instead of reading all app logs.",
       .arguments = {{"event_name", String,
                      "Event name to search for (partial match, e.g. 'Landed on cart')"},
                     {"property", String, "Optional: check if this property exists in the event"},
                     {"value", String, "Optional: check if property equals this value"},
                     {"since_seconds", Number, "Only check events from the last N seconds"}},
       .overlay = OverlayNotice{"verify", "event"},
       .call =
           [](const ToolCall& c) {
             return checkEvent(c.snapshot(),
                               {.name = c.text("event_name", ""),
                                .property = c.text("property"),
                                .value = c.text("value"),
                                .sinceSeconds = c.integer("since_seconds")},
                               Date::now());
           }},
      {.name = "wyvlet_get_value",
       .description = "FASTEST way to read a screen value: Ask 'what is Total Payable?' — returns the value "
                      "instantly. Use instead of screen_html when you just need one value.",
       .arguments = {{"text", String, "Text label to find (e.g. 'Total Payable', 'Fare', 'Balance')"}},
       .overlay = OverlayNotice{"verify", "value"},
       .call =
           [](const ToolCall& c) {
             const std::string text = c.text("text", "");
             if (!c.client.isConnected()) return std::string(kNotConnected);
             return valueOnScreen(c.client.requestScreenText(kAnswerSeconds), text);
           }},
      {.name = "wyvlet_assert_request",
       .description =
           "PREFERRED for API validation: Assert that a specific API call was made with expected results. "
           "Returns PASS/FAIL. Use after user actions to verify the correct API was called — e.g. 'confirm "
           "POST /bookings returned 201'. This is a key advantage over UI-only testing.",
       .arguments = {{"url_pattern", String, "URL substring to match (e.g. '/api/v1/bookings')"},
                     {"method", String, "HTTP method to match (GET, POST, etc.)"},
                     {"min_status", Number, "Minimum expected status code (default 200)"},
                     {"max_status", Number, "Maximum expected status code (default 299)"},
                     {"body_contains", String, "Assert response body contains this string"},
                     {"since_seconds", Number, "Only check requests from the last N seconds"}},
       .overlay = OverlayNotice{"verify", "request"},
       .android =
           [](const ToolCall& c) {
             return AndroidCapture::assertRequest(c.text("url_pattern", ""), c.text("method"));
           },
       .call =
           [](const ToolCall& c) {
             return assertRequest(c.snapshot(),
                                  {.urlPattern = c.text("url_pattern"),
                                   .method = c.text("method"),
                                   .minStatus = c.integer("min_status", 200),
                                   .maxStatus = c.integer("max_status", 299),
                                   .bodyContains = c.text("body_contains"),
                                   .sinceSeconds = c.integer("since_seconds")},
                                  Date::now());
           }},
      {.name = "wyvlet_current_screen",
       .description = "PREFERRED for screen checks: Get the current screen name — instant, no UI traversal. "
                      "Use this to check which screen you're on before taking any action.",
       .overlay = OverlayNotice{"scan", "screen"},
       .call =
           [](const ToolCall& c) {
             if (!c.client.isConnected()) return std::string(kNotConnected);
             // The text is of no interest; the exchange has the app name its screen.
             c.client.requestScreenText(kRefreshSeconds);
             return "Current screen: " + c.client.currentScreen();
           }},
      {.name = "wyvlet_screenshot",
       .description = "Take a screenshot via Wyvlet — captures the app window from inside the process. Use "
                      "when you need to visually verify something that text/HTML tools can't capture "
                      "(animations, colors, images). Returns base64 PNG + current screen name.",
       .call = [](const ToolCall& c) { return c.client.requestScreenshot(kScreenshotSeconds).text; }},
      {.name = "wyvlet_get_recorded_flows",
       .description =
           "Get recorded user flows from Wyvlet — replayable navigation paths recorded on the device",
       .overlay = OverlayNotice{"data", "flows"},
       .call = [](const ToolCall& c) { return recordedFlows(c.snapshot()); }},
      {.name = "wyvlet_timeline",
       .description =
           "Unified timeline: correlates network requests, logs, and screen transitions in chronological "
           "order. Best for understanding 'what happened when?' after a user action.",
       .arguments = {{"since_seconds", Number, "Show events from last N seconds (default 30)"},
                     {"limit", Number, "Max events to return (default 50)"}},
       .overlay = OverlayNotice{"data", "timeline"},
       .call =
           [](const ToolCall& c) {
             return timeline(c.snapshot(), c.integer("since_seconds", 30), c.integer("limit", 50),
                             Date::now());
           }},
      {.name = "wyvlet_get_cookies",
       .description = "Get HTTP cookies stored by the app (HTTPCookieStorage)",
       .overlay = OverlayNotice{"data", "cookies"},
       .call = [](const ToolCall& c) { return cookies(c.snapshot()); }},
      {.name = "wyvlet_assert_element",
       .description = "Assert a UI element exists with expected state. Returns PASS/FAIL. Example: "
                      "assert_element(text:'Save', state:'enabled')",
       .arguments = {{"text", String, "Element text to find"},
                     {"state", String, "Expected state: 'exists', 'enabled', 'disabled', 'selected'"}},
       .overlay = OverlayNotice{"verify", "element"},
       .call =
           [](const ToolCall& c) {
             const std::string text = c.text("text", ""), state = c.text("state", "exists");
             if (!c.client.isConnected()) return std::string(kFailNotConnected);
             return elementVerdict(c.client.requestFindElement(text, false, kAnswerSeconds), text, state);
           }},
      {.name = "wyvlet_verify_screen",
       .description = "Verify the current screen contains expected text. Returns PASS/FAIL with details.",
       .arguments = {{"contains", String, "Text that should be visible on screen"},
                     {"not_contains", String, "Text that should NOT be visible"}},
       .overlay = OverlayNotice{"verify", "screen"},
       .call =
           [](const ToolCall& c) {
             const auto contains = c.text("contains"), notContains = c.text("not_contains");
             if (!c.client.isConnected()) return std::string(kFailNotConnected);
             const std::string screenText = c.client.requestScreenText(kAnswerSeconds);
             return screenVerdict(screenText, c.client.currentScreen(), contains, notContains);
           }},
      {.name = "wyvlet_assert_flow",
       .description = "Assert a sequence of expected API calls and events in order. Each step is checked "
                      "against cached data. Returns structured PASS/FAIL per step. Use after a user action "
                      "to verify the entire expected backend flow.",
       .arguments =
           {{"steps", String,
             R"(JSON array of steps. Each: {"type":"request","url_pattern":"/api/x","method":"POST","status":201} or {"type":"event","event_name":"booking_created"} or {"type":"screen","screen_name":"Confirmation"})"}},
       .overlay = OverlayNotice{"verify", "flow"},
       .call = [](const ToolCall& c) { return assertFlow(c.snapshot(), c.text("steps", "[]")); }},
      {.name = "wyvlet_add_mock_rule",
       .description = "Add a mock rule: intercept matching API requests and return a fake response. Use this "
                      "to test error handling, simulate API failures, or unblock blocked APIs. The mock "
                      "stays active until removed.",
       .arguments = {{"url_pattern", String, "URL substring to match (e.g. '/api/init', '/v1/bookings')"},
                     {"status_code", Number, "HTTP status code to return (e.g. 200, 404, 500)"},
                     {"response_body", String, "Response body JSON string to return"},
                     {"method", String, "HTTP method to match (GET, POST, etc.). Omit to match all methods."},
                     {"name", String, "Human-readable name for this mock rule"}},
       .android = [](const ToolCall& c) { return AndroidCapture::addMockRule(c.arguments()); },
       .call =
           [](const ToolCall& c) {
             return addMockRule(c.client.isConnected(),
                                {.urlPattern = c.text("url_pattern"),
                                 .statusCode = c.integer("status_code", 200),
                                 .responseBody = c.text("response_body", ""),
                                 .method = c.text("method"),
                                 .name = c.text("name")},
                                c.sender());
           }},
      {.name = "wyvlet_remove_mock_rule",
       .description = "Remove a mock rule by its ID (get IDs from wyvlet_get_rules)",
       .arguments = {{"rule_id", String, "UUID of the rule to remove"}},
       .android = [](const ToolCall& c) { return AndroidCapture::removeMockRule(c.text("rule_id", "")); },
       .call =
           [](const ToolCall& c) {
             return removeRule(c.client.isConnected(), RuleKind::Mock, c.text("rule_id", ""), c.sender());
           }},
      {.name = "wyvlet_add_intercept_rule",
       .description = "Add an intercept rule: hold matching requests until manually approved. Use to test "
                      "timeout handling or inspect request payloads before they're sent.",
       .arguments = {{"url_pattern", String, "URL substring to match"},
                     {"method", String, "HTTP method to match. Omit to match all."},
                     {"name", String, "Human-readable name"}},
       .call =
           [](const ToolCall& c) {
             return addInterceptRule(
                 c.client.isConnected(),
                 {.urlPattern = c.text("url_pattern"), .method = c.text("method"), .name = c.text("name")},
                 c.sender());
           }},
      {.name = "wyvlet_remove_intercept_rule",
       .description = "Remove an intercept rule by its ID",
       .arguments = {{"rule_id", String, "UUID of the rule to remove"}},
       .call =
           [](const ToolCall& c) {
             return removeRule(c.client.isConnected(), RuleKind::Intercept, c.text("rule_id", ""),
                               c.sender());
           }},
      {.name = "wyvlet_perf_snapshot",
       .description =
           "Get a performance snapshot: current FPS, memory usage (MB), average FPS, and peak memory. Use to "
           "detect jank, memory leaks, or performance regressions after user actions.",
       .call = [](const ToolCall& c) { return c.client.requestPerfSnapshot(kAnswerSeconds); }},
      {.name = "wyvlet_accessibility_audit",
       .description = "Run an accessibility audit on the current screen. Checks for missing labels on "
                      "buttons, undersized touch targets (<44x44), and images without descriptions. Returns "
                      "issues with severity and element coordinates.",
       .call = [](const ToolCall& c) { return c.client.requestAccessibilityAudit(kAnswerSeconds); }},
      {.name = "wyvlet_visual_check",
       .description = "Compare current screen with a saved baseline screenshot. First run saves baseline, "
                      "subsequent runs compare. Returns diff percentage and PASS/FAIL.",
       .arguments = {{"screen_name", String, "Screen name for baseline (uses current if omitted)"},
                     {"threshold", Number, "Max diff percentage to pass (default 5)"},
                     {"save_baseline", Boolean, "Force save current as new baseline"}},
       .call =
           [](const ToolCall& c) {
             return visualCheck(c.client, c.bundleId, c.text("screen_name"), c.number("threshold", 5.0),
                                c.boolean("save_baseline", false));
           }},
      {.name = "wyvlet_webview_console",
       .description = "Get JavaScript console logs from WebViews in the app. Returns console.log, "
                      "console.error, console.warn messages.",
       .arguments = {{"level", String, "Filter by level: 'log', 'error', 'warn', 'debug'. Omit for all."},
                     {"limit", Number, "Max entries to return (default 50)"}},
       .call =
           [](const ToolCall& c) {
             return c.client.requestWebViewConsole(c.text("level"), c.integer("limit", 50), kAnswerSeconds);
           }},
      {.name = "wyvlet_get_crash_log",
       .description = "Read the last crash log from the app. Returns stack trace, exception type, last "
                      "screen, and last API call. Use after the app crashes during testing.",
       .worksWithoutApp = true,
       .call = [](const ToolCall& c) { return getCrashLog(c.bundleId); }},
      {.name = "wyvlet_rebuild_app",
       .description = "Rebuild and redeploy the app to simulator. Use after making code fixes in dev mode. "
                      "Stops app, builds with xcodebuild, installs, relaunches with probe.",
       .arguments = {{"scheme", String, "Xcode scheme name"},
                     {"project_path", String, "Path to .xcodeproj or .xcworkspace"}},
       .worksWithoutApp = true,
       .call =
           [](const ToolCall& c) {
             if (c.sim == nullptr) return std::string("Error: Simulator bridge not available");
             return rebuildApp(c.arguments(), *c.sim);
           }},
  });
  return rows;
}

}  // namespace

std::span<const ToolRow> toolTable() { return table(); }

const ToolRow* findTool(std::string_view name) {
  const auto rows = toolTable();
  const auto found =
      std::find_if(rows.begin(), rows.end(), [&](const ToolRow& row) { return row.name == name; });
  return found == rows.end() ? nullptr : &*found;
}

namespace ToolHandler {

std::vector<ToolDefinition> definitions() {
  std::vector<ToolDefinition> all;
  for (const ToolRow& row : toolTable()) all.push_back({row.name, row.description, row.arguments});
  return all;
}

bool worksWithoutApp(std::string_view tool) {
  const ToolRow* row = findTool(tool);
  return row != nullptr && row->worksWithoutApp;
}

std::string call(std::string_view tool, const boost::json::object& args, WyvletClient& client,
                 const std::optional<std::string>& bundleId, SimulatorBridge* sim) {
  const ToolRow* row = findTool(tool);
  if (row == nullptr) return "Unknown tool: " + std::string(tool);
  if (row->overlay) {
    client.showOverlay(row->overlay->category, std::string(row->overlay->detail), std::nullopt);
  }
  ToolCall toolCall(args, client, bundleId, sim);
  // Whether a bridge is live costs a look at the capture file, so only the tools with a variant ask.
  if (row->android != nullptr) {
    if (sim != nullptr) toolCall.androidSerial = sim->defaults().androidSerial;
    if (toolCall.androidSerial || AndroidCapture::isActive()) return row->android(toolCall);
  }
  return row->call(toolCall);
}

}  // namespace ToolHandler

}  // namespace wyvlet
