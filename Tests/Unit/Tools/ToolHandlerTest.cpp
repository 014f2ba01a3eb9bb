#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <chrono>
#include <fstream>
#include <future>
#include <map>
#include <vector>

#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "PeerApp.h"
#include "Samples.h"
#include "TemporaryHome.h"
#include "Tools/ToolHandler.h"
#include "Tools/ToolTable.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

/// The handler with nothing at the other end, on a machine of its own as far as files go.
class ToolHandlerAlone : public ::testing::Test {
 protected:
  std::string call(std::string_view tool, const boost::json::object& arguments = {}) {
    return ToolHandler::call(tool, arguments, client, std::nullopt, &sim);
  }

  TemporaryHome home;
  WyvletClient client;
  SimulatorBridge sim;
};

TEST_F(ToolHandlerAlone, UnknownNames) {
  EXPECT_EQ(call("wyvlet_fly"), "Unknown tool: wyvlet_fly");
  EXPECT_EQ(call("Wyvlet_Status"), "Unknown tool: Wyvlet_Status");
  EXPECT_EQ(call(""), "Unknown tool: ");
}

TEST_F(ToolHandlerAlone, WithoutAppEveryToolSaysSo) {
  const std::map<std::string_view, std::string> others = {
      {"wyvlet_status",
       "Wyvlet: NOT CONNECTED\nThe iOS app may not be running, or Wyvlet.shared.start() hasn't been "
       "called.\nEnsure the app is running in the simulator with Wyvlet enabled."},
      {"wyvlet_assert_element", "FAIL: Wyvlet not connected"},
      {"wyvlet_verify_screen", "FAIL: Wyvlet not connected"},
      {"wyvlet_visual_check", "FAIL: Wyvlet not connected"},
      {"wyvlet_add_mock_rule", "Wyvlet not connected — mock rules require Wyvlet SDK in the app"},
      {"wyvlet_add_intercept_rule", "Wyvlet not connected — intercept rules require Wyvlet SDK"},
      {"wyvlet_assert_flow", "FAIL: No steps provided. Pass a JSON array of steps."},
      {"wyvlet_rebuild_app",
       "Error: scheme is required. Set it with session_set_defaults or pass it as an argument."}};
  for (const ToolRow& row : toolTable()) {
    if (row.name == "wyvlet_get_crash_log") continue;  // what it says is up to what lies in /tmp
    const auto other = others.find(row.name);
    EXPECT_EQ(call(row.name), other == others.end() ? "Wyvlet not connected" : other->second) << row.name;
  }
}

TEST_F(ToolHandlerAlone, RebuildNeedsDeviceAutomation) {
  EXPECT_EQ(ToolHandler::call("wyvlet_rebuild_app", {}, client, std::nullopt, nullptr),
            "Error: Simulator bridge not available");
}

/// The handler with an app at the other end of a real link.
class ToolHandlerWithApp : public ::testing::Test {
 protected:
  ToolHandlerWithApp()
      : app(sync(),
            {{"command.screenText",
              {"response.screenText", encodeRecord(ScreenTextResponse{"Cart", {"Total Payable", "€ 120"}})}},
             {"command.findElement",
              {"response.findElement", encodeRecord(FindResponse{"Cart", "Pay", {{}}})}},
             {"command.getWebViewConsole",
              {"response.webViewConsole", encodeRecord(WebViewConsoleResponse{})}}}) {
    EXPECT_TRUE(client.connectDirectTCP("127.0.0.1", app.port(), 30.0));
  }

  static LenientSyncPayload sync() {
    LenientSyncPayload payload;
    payload.httpRequests = {sampleRequest(1, "GET", "https://x/1"), sampleRequest(2, "PUT", "https://x/2")};
    payload.logEntries = std::vector<TransferableLogEntry>(30, sampleEntry("INFO", "a", "b"));
    payload.environmentState =
        EnvironmentStatePayload{{{sampleEnvironment(3, "Staging", {"https://s"})}}, std::nullopt};
    TransferableQAResult item;
    item.id = sampleId(4);
    item.title = "Login";
    payload.qaState = LenientQAState{{{item}}, "7"};
    payload.currentScreen = "Home";
    return payload;
  }

  std::string call(std::string_view tool, const boost::json::object& arguments = {}) {
    return ToolHandler::call(tool, arguments, client, std::nullopt, nullptr);
  }

  TemporaryHome home;
  PeerApp app;
  WyvletClient client;
};

TEST_F(ToolHandlerWithApp, OverlayComesBeforeTheToolsOwnQuestion) {
  EXPECT_EQ(call("wyvlet_get_value", {{"text", "payable"}}), "Found: Total Payable\nNext: € 120");
  EXPECT_EQ(app.waitForCommands(2),
            (std::vector<std::string>{R"(command.showOverlay {"category":"verify","detail":"value"})",
                                      "command.screenText "}));
}

TEST_F(ToolHandlerWithApp, ToolsWithoutNoticeSendNone) {
  call("wyvlet_status");
  call("wyvlet_unknown");
  call("wyvlet_get_rules");
  EXPECT_EQ(app.waitForCommands(1),
            std::vector<std::string>{R"(command.showOverlay {"category":"data","detail":"rules"})"});
}

TEST_F(ToolHandlerWithApp, CurrentScreenIsAskedForAnew) {
  EXPECT_EQ(call("wyvlet_current_screen"), "Current screen: Cart");
}

TEST_F(ToolHandlerWithApp, VerifyScreenNamesTheScreenItWasAnswered) {
  EXPECT_EQ(call("wyvlet_verify_screen", {{"contains", "TOTAL"}, {"not_contains", "Error"}}),
            "Screen: Cart\nPASS: Screen contains 'TOTAL'\nPASS: Screen does not contain 'Error' (correct)\n"
            "Overall: PASS");
  EXPECT_EQ(call("wyvlet_verify_screen"), "No assertion specified. Provide 'contains' or 'not_contains'.");
}

TEST_F(ToolHandlerWithApp, AssertElementAsksForPartialMatches) {
  EXPECT_EQ(call("wyvlet_assert_element", {{"text", "Pay"}}), "PASS: Element 'Pay' exists on screen");
  EXPECT_EQ(app.waitForCommands(2)[1], R"(command.findElement {"text":"Pay","exact":false})");
}

TEST_F(ToolHandlerWithApp, FindElementPassesItsArgumentsOn) {
  EXPECT_TRUE(call("wyvlet_find_element", {{"text", "Pay"}, {"exact", true}})
                  .starts_with("Screen: Cart\nFound 1 match(es) for \"Pay\":\n"));
  EXPECT_EQ(app.waitForCommands(1)[0], R"(command.findElement {"text":"Pay","exact":true})");
}

TEST_F(ToolHandlerWithApp, ConsoleLimitDefaultsToFifty) {
  EXPECT_EQ(
      call("wyvlet_webview_console", {{"limit", "9"}}),
      "No WebView console entries captured.\nNote: Console capture requires WKWebView instances in the app.");
  EXPECT_EQ(app.waitForCommands(1)[0], R"(command.getWebViewConsole {"limit":50})");
}

TEST_F(ToolHandlerWithApp, ListingsDefaultToTwenty) {
  EXPECT_TRUE(call("wyvlet_get_app_logs").starts_with("App Logs (20):\n"));
  EXPECT_TRUE(call("wyvlet_get_app_logs", {{"limit", 25.0}}).starts_with("App Logs (25):\n"));
  EXPECT_TRUE(call("wyvlet_get_app_logs", {{"limit", "25"}}).starts_with("App Logs (20):\n"));
  EXPECT_TRUE(call("wyvlet_get_app_logs", {{"limit", 25.5}}).starts_with("App Logs (20):\n"));
  EXPECT_EQ(call("wyvlet_get_app_logs", {{"limit", 0}}), "No log entries.");
}

TEST_F(ToolHandlerWithApp, CommandsReachTheApp) {
  EXPECT_EQ(call("wyvlet_switch_environment", {{"environment_name", "staging"}}),
            "Switched to: Staging (https://s)");
  EXPECT_EQ(call("wyvlet_replay_request", {{"request_id", "00000002"}}), "Replaying: PUT https://x/2");
  EXPECT_EQ(call("wyvlet_mark_qa", {{"item_id", "00000004"}, {"status", "FAILED"}, {"notes", "no"}}),
            "Marked 'Login' as FAILED");
  EXPECT_EQ(call("wyvlet_add_mock_rule", {{"url_pattern", "/x"}, {"status_code", 500.0}}),
            "Mock rule added: Mock /x (ANY /x → 500)");
  EXPECT_EQ(call("wyvlet_remove_intercept_rule", {{"rule_id", "AB"}}), "Intercept rule removed: AB");
  EXPECT_EQ(
      app.waitForCommands(6),
      (std::vector<std::string>{
          R"(command.showOverlay {"category":"environment","detail":"switching"})",
          R"(command.switchEnvironment {"environmentId":")" + sampleId(3).text() + "\"}",
          R"(command.replayRequest {"url":"https://x/2","method":"PUT","headers":{}})",
          R"(command.markQAFailed {"itemId":")" + sampleId(4).text() + R"(","notes":"no"})",
          R"(command.addMockRule {"urlPattern":"/x","statusCode":500,"responseBody":"","name":"Mock /x"})",
          R"(command.removeInterceptRule {"ruleId":"AB"})"}));
}

TEST(ToolHandlerWithSilentApp, EachQuestionIsGivenItsTime) {
  struct Expected {
    std::string text;
    double seconds;
  };
  const std::map<std::string, Expected> questions = {
      {"wyvlet_current_screen", {"Current screen: Home", 2}},
      {"wyvlet_find_element", {"Find element timed out", 3}},
      {"wyvlet_perf_snapshot", {"Perf snapshot timed out", 3}},
      {"wyvlet_accessibility_audit", {"Accessibility audit timed out", 3}},
      {"wyvlet_webview_console", {"WebView console request timed out", 3}},
      {"wyvlet_screenshot", {"Screenshot timed out", 5}}};
  const TemporaryHome home;
  LenientSyncPayload sync;
  sync.currentScreen = "Home";
  PeerApp app(sync);
  WyvletClient client;
  ASSERT_TRUE(client.connectDirectTCP("127.0.0.1", app.port(), 30.0));

  std::vector<std::future<void>> asked;  // at the same time, so that the longest wait is the only one
  for (const auto& [tool, expected] : questions) {
    asked.push_back(std::async(std::launch::async, [&, &tool = tool, &expected = expected] {
      const auto begin = std::chrono::steady_clock::now();
      EXPECT_EQ(ToolHandler::call(tool, {}, client, std::nullopt, nullptr), expected.text);
      const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
      EXPECT_GE(waited.count(), expected.seconds) << tool;
      EXPECT_LT(waited.count(), expected.seconds + 20) << tool;  // a busy machine may be late
    }));
  }
  for (auto& each : asked) each.get();
}

/// The handler beside a bridge to an Android device.
class ToolHandlerOnAndroid : public ToolHandlerAlone {
 protected:
  void writeCapture(const std::string& json) {
    std::filesystem::create_directories(home.path + "/.wyvletqa");
    std::ofstream(home.path + "/.wyvletqa/android-capture.json") << json;
  }

  void writeLiveCapture() {
    writeCapture(boost::json::serialize(boost::json::object{
        {"connected", true},
        {"timestamp", Date::now().secondsSince1970 * 1000},
        {"package", "com.example"},
        {"httpRequests",
         {{{"id", "r1"}, {"url", "https://x/a"}, {"method", "GET"}, {"statusCode", 200}, {"duration", 5}},
          {{"id", "r2"}, {"url", "https://x/b"}, {"method", "POST"}, {"statusCode", 201}, {"duration", 6}}}},
        {"logEntries", boost::json::array()}}));
  }
};

TEST_F(ToolHandlerOnAndroid, ALiveCaptureAnswersItsTools) {
  writeLiveCapture();
  EXPECT_EQ(call("wyvlet_status"),
            "Android bridge: CONNECTED\nPackage: com.example\nNetwork requests: 2\nLog entries: 0");
  EXPECT_EQ(call("wyvlet_get_network_logs", {{"limit", 1}}),
            "Android Network Logs (1 of 2 total):\n  POST https://x/b → 201 (6ms)");
  EXPECT_EQ(call("wyvlet_get_network_logs", {{"screen", "x/a"}}),
            "Android Network Logs (1 of 2 total):\n  GET https://x/a → 200 (5ms)");
  EXPECT_EQ(call("wyvlet_get_request_detail", {{"request_id", "r3"}}), "Request not found: r3");
  EXPECT_EQ(call("wyvlet_get_app_logs"), "No log entries captured.");
  EXPECT_TRUE(
      call("wyvlet_assert_request", {{"url_pattern", "/b"}, {"method", "post"}}).starts_with("PASS: "));
  EXPECT_EQ(call("wyvlet_remove_mock_rule", {{"rule_id", "m1"}}), "Mock rule removed: m1");
}

TEST_F(ToolHandlerOnAndroid, OtherToolsStillAskTheApp) {
  writeLiveCapture();
  EXPECT_EQ(call("wyvlet_get_environment"), "Wyvlet not connected");
  EXPECT_EQ(call("wyvlet_remove_intercept_rule", {{"rule_id", "m1"}}), "Wyvlet not connected");
}

TEST_F(ToolHandlerOnAndroid, AStaleCaptureAnswersNothing) {
  writeCapture(R"({"connected":true,"timestamp":1000})");
  EXPECT_TRUE(call("wyvlet_status").starts_with("Wyvlet: NOT CONNECTED"));
}

TEST_F(ToolHandlerOnAndroid, ASerialAloneDecides) {
  sim.setDefaults({{"androidSerial", "emulator-5554"}});
  EXPECT_TRUE(call("wyvlet_status").starts_with("Android bridge: NOT CONNECTED"));
  EXPECT_EQ(call("wyvlet_get_network_logs"),
            "No Android capture data available. Ensure wyvlet-bridge.py is running.");
  EXPECT_EQ(call("wyvlet_get_environment"), "Wyvlet not connected");
}

TEST_F(ToolHandlerOnAndroid, WithoutABridgeTheCaptureStillDecides) {
  writeLiveCapture();
  EXPECT_TRUE(ToolHandler::call("wyvlet_status", {}, client, std::nullopt, nullptr)
                  .starts_with("Android bridge: CONNECTED"));
}

}  // namespace
}  // namespace wyvlet::test
