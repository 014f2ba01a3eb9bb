// The Android tools of the real server, beside a connected app that must not be asked in their place.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>
#include <vector>

#include "EndToEnd/Harness.h"
#include "Peers/CaptureWriter.h"
#include "Peers/DeviceStandIn.h"
#include "WyvletShared/UUID.h"

namespace wyvlet::test {
namespace {

namespace json = boost::json;

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::StartsWith;

constexpr const char* kSerial = "emulator-5554";
constexpr std::string_view kNoBridge =
    "Android bridge: NOT CONNECTED\nRun: python3 wyvlet-bridge.py <package> --serial <serial>";

/// A server whose app is connected, so that a tool that is not for Android is answered at once and by
/// nobody else.
class Android : public ::testing::Test {
 protected:
  Android() {
    device_.show("launcher.xml");
    server_.connect();
  }

  std::string call(std::string_view tool, json::object arguments = {}) {
    return server_.call(tool, std::move(arguments));
  }

  void useDevice() { call("session_set_defaults", {{"androidSerial", kSerial}}); }

  void fillCapture() {
    bridge_.set("httpRequests", {json::object{{"id", "r1"},
                                              {"method", "GET"},
                                              {"url", "https://shop.example/cart"},
                                              {"statusCode", 200},
                                              {"duration", 12}},
                                 json::object{{"id", "r2"},
                                              {"method", "POST"},
                                              {"url", "https://shop.example/orders"},
                                              {"statusCode", 503.0},
                                              {"duration", 7},
                                              {"requestHeaders", {{"Accept", "*/*"}}},
                                              {"responseBody", "down"}}});
    bridge_.set("logEntries", {json::object{{"level", "D"}, {"tag", "Boot"}, {"message", "starting"}},
                               json::object{{"level", "E"}, {"tag", "Orders"}, {"message", "503"}}});
  }

  /// The answers of the screen tools to the recorded launcher.
  void expectLauncher() {
    EXPECT_THAT(call("wyvlet_screen_html"),
                AllOf(StartsWith("<screen platform=\"android\">\n  <View clickable center=\"240,400\">Home"),
                      EndsWith("\n  <TextView clickable center=\"432,753\">Browser</TextView>\n</screen>")));
    EXPECT_EQ(call("wyvlet_screen_text"),
              "Screen: Android\nVisible text (9 items):\n  Home screen 3\n  Analog clock\n  11:33\n  Search\n"
              "  Phone\n  People\n  Apps\n  Messaging\n  Browser");
    EXPECT_EQ(call("wyvlet_find_element", {{"text", "people"}}),
              "Screen: Android\nFound 1 match(es) for \"people\":\n"
              "  TextView \"People\" at (96,706) 96x94 center=(144,753) [BUTTON]");
    EXPECT_EQ(call("wyvlet_find_element", {{"text", "people"}, {"exact", true}}),
              "Screen: Android\nNo elements found matching \"people\"");
  }

  /// Cleared when everything that works in it has ended.
  struct Home {
    ~Home() { std::filesystem::remove_all(homeDirectoryOfTest()); }
  } home_;
  CaptureWriter bridge_{homeDirectoryOfTest()};
  DeviceStandIn device_{homeDirectoryOfTest()};
  ScriptedApp app_;
  Server server_;
};

TEST_F(Android, ALiveCaptureAnswersItsElevenTools) {
  fillCapture();
  bridge_.keepFresh(
      {json::object{{"prefsFile", "settings"}, {"key", "theme"}, {"value", "dark"}, {"type", "string"}},
       json::object{{"prefsFile", "flags"}, {"key", "beta"}, {"value", true}, {"type", "boolean"}}});
  EXPECT_EQ(call("wyvlet_status"),
            "Android bridge: CONNECTED\nPackage: com.example.shop\nNetwork requests: 2\nLog entries: 2");
  EXPECT_EQ(call("wyvlet_get_network_logs"),
            "Android Network Logs (2 of 2 total):\n"
            "  GET https://shop.example/cart → 200 (12ms)\n"
            "  POST https://shop.example/orders → 503 (7ms)");
  EXPECT_EQ(call("wyvlet_get_network_logs", {{"limit", 0}}), "No network requests captured.");
  EXPECT_EQ(call("wyvlet_get_request_detail", {{"request_id", "r2"}}),
            "URL: https://shop.example/orders\nMethod: POST\nStatus: 503\nDuration: 7ms\n"
            "\nRequest Headers:\n  Accept: */*\n\nResponse Body:\ndown");
  EXPECT_EQ(call("wyvlet_get_app_logs", {{"level", "E"}}),
            "Android App Logs (1 of 2 total):\n  [E] Orders: 503");
  EXPECT_EQ(call("wyvlet_assert_request", {{"url_pattern", "/orders"}, {"method", "post"}}),
            "PASS: Found 1 request(s) matching '/orders'. Last: POST → 503");
  EXPECT_EQ(call("wyvlet_get_user_defaults", {{"filter", "settings"}}),
            "SharedPreferences (1 entries):\n  [settings] theme = dark (string)");
  expectLauncher();
  const auto added =
      call("wyvlet_add_mock_rule",
           {{"url_pattern", "/orders"}, {"status_code", 201}, {"method", "POST"}, {"name", "Up"}});
  const std::string begin = "Mock rule added: Up (POST /orders → 201)\nRule ID: ";
  ASSERT_THAT(added, StartsWith(begin));
  const auto ruleId = added.substr(begin.size());
  EXPECT_TRUE(UUID::parse(ruleId));
  EXPECT_EQ(bridge_.command(), json::value({{"action", "add_mock_rule"},
                                            {"ruleId", ruleId},
                                            {"urlPattern", "/orders"},
                                            {"statusCode", 201},
                                            {"responseBody", ""},
                                            {"name", "Up"},
                                            {"httpMethod", "POST"}}));
  EXPECT_EQ(call("wyvlet_remove_mock_rule", {{"rule_id", ruleId}}), "Mock rule removed: " + ruleId);
  EXPECT_EQ(bridge_.command(), json::value({{"action", "remove_mock_rule"}, {"ruleId", ruleId}}));
}

TEST_F(Android, ALiveCaptureAsksTheOnlyDeviceForItsScreen) {
  bridge_.keepFresh();
  expectLauncher();
  EXPECT_THAT(device_.calls(), Contains(std::vector<std::string>{"shell", "cat", "/sdcard/wyvlet_ui.xml"}));
}

TEST_F(Android, ADeviceAnswersTheElevenToolsWithoutACapture) {
  useDevice();
  EXPECT_EQ(call("wyvlet_status"), kNoBridge);
  EXPECT_EQ(call("wyvlet_get_network_logs"),
            "No Android capture data available. Ensure wyvlet-bridge.py is running.");
  EXPECT_EQ(call("wyvlet_get_request_detail", {{"request_id", "r1"}}), "No capture data.");
  EXPECT_EQ(call("wyvlet_get_app_logs"), "No Android capture data available.");
  EXPECT_EQ(call("wyvlet_assert_request", {{"url_pattern", "/orders"}}), "FAIL: No capture data.");
  EXPECT_EQ(call("wyvlet_get_user_defaults"),
            "No SharedPreferences data. Ensure wyvlet-bridge.py is running.");
  EXPECT_EQ(bridge_.command(), json::value({{"action", "read_prefs"}}));
  expectLauncher();
  EXPECT_THAT(device_.calls(),
              Contains(std::vector<std::string>{"-s", kSerial, "shell", "cat", "/sdcard/wyvlet_ui.xml"}));
  EXPECT_THAT(call("wyvlet_add_mock_rule", {{"url_pattern", "/orders"}}),
              StartsWith("Mock rule added: Mock /orders (ANY /orders → 200)\nRule ID: "));
  EXPECT_EQ(call("wyvlet_add_mock_rule"), "Error: url_pattern is required");
  EXPECT_EQ(call("wyvlet_remove_mock_rule", {{"rule_id", "7"}}), "Mock rule removed: 7");
}

TEST_F(Android, EveryOtherToolStillAnswersFromTheApp) {
  bridge_.keepFresh();
  useDevice();
  EXPECT_EQ(call("wyvlet_get_environment"), "Active: none\n\nAvailable environments:");
  EXPECT_EQ(call("wyvlet_get_rules"), "No rules configured.");
  EXPECT_EQ(call("wyvlet_get_qa_checklist"), "No QA checklist items registered.");
  EXPECT_EQ(call("wyvlet_get_websocket_logs"), "No WebSocket connections.");
  EXPECT_EQ(call("wyvlet_remove_intercept_rule", {{"rule_id", "7"}}), "Intercept rule removed: 7");
  EXPECT_TRUE(app_.waitForCommand("command.removeInterceptRule"));
}

TEST_F(Android, AStaleCaptureLeavesTheToolsToTheApp) {
  fillCapture();
  bridge_.setAge(std::chrono::seconds(30));
  bridge_.write();
  EXPECT_THAT(call("wyvlet_status"), StartsWith("Wyvlet: CONNECTED ✅\n"));
  EXPECT_EQ(call("wyvlet_get_network_logs"), "No HTTP requests captured yet.");
  bridge_.setAge(std::chrono::seconds(0));
  bridge_.write();
  EXPECT_THAT(call("wyvlet_status"), StartsWith("Android bridge: CONNECTED\n"));
  bridge_.set("connected", false);
  bridge_.write();
  EXPECT_THAT(call("wyvlet_status"), StartsWith("Wyvlet: CONNECTED ✅\n"));
  bridge_.remove();
  EXPECT_THAT(call("wyvlet_status"), StartsWith("Wyvlet: CONNECTED ✅\n"));
}

TEST_F(Android, ATornCaptureIsMissingUntilItIsWhole) {
  fillCapture();
  bridge_.write();
  EXPECT_THAT(call("wyvlet_status"), StartsWith("Android bridge: CONNECTED\n"));
  bridge_.writeTorn();
  EXPECT_THAT(call("wyvlet_status"), StartsWith("Wyvlet: CONNECTED ✅\n"));
  bridge_.write();
  EXPECT_EQ(call("wyvlet_status"),
            "Android bridge: CONNECTED\nPackage: com.example.shop\nNetwork requests: 2\nLog entries: 2");
}

TEST_F(Android, HostileCapturesHarmNothing) {
  useDevice();
  const std::string deep = "{\"connected\":" + std::string(1'000'000, '[');
  for (const std::string& bytes :
       {std::string(), std::string("[]"), std::string("{\"connected\":1e999}"), std::string(100'000, '\0'),
        deep, std::string("{\"connected\":\"\\ud800\"}"), std::string("\xFF\xFE{}")}) {
    bridge_.writeBytes(bytes);
    EXPECT_EQ(call("wyvlet_status"), kNoBridge);
    EXPECT_EQ(call("wyvlet_get_request_detail"), "No capture data.");
  }
  bridge_.writeBytes(
      R"({"connected":true,"timestamp":1e300,"package":[],"httpRequests":[7],"logEntries":{}})");
  EXPECT_EQ(call("wyvlet_status"),
            "Android bridge: CONNECTED\nPackage: ?\nNetwork requests: 1\nLog entries: 0");
  EXPECT_EQ(call("wyvlet_get_network_logs"),
            "No Android capture data available. Ensure wyvlet-bridge.py is running.");
  EXPECT_EQ(call("wyvlet_get_request_detail", {{"request_id", "r1"}}), "Request not found: r1");
}

TEST_F(Android, TensOfMegabytesAreNotParsedByEveryCall) {
  json::array requests;
  for (int i = 0; i < 40'000; ++i) {
    requests.push_back(json::object{{"id", std::to_string(i)},
                                    {"url", "https://shop.example/items"},
                                    {"responseHeaders", {{"Content-Type", "application/json"}}},
                                    {"responseBody", std::string(800, 'x')}});
  }
  bridge_.set("httpRequests", std::move(requests));
  bridge_.write();
  ASSERT_GT(std::filesystem::file_size(bridge_.capturePath()), 30'000'000U);
  const auto timed = [this] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(
        call("wyvlet_status"),
        "Android bridge: CONNECTED\nPackage: com.example.shop\nNetwork requests: 40000\nLog entries: 0");
    return std::chrono::steady_clock::now() - start;
  };
  const auto first = timed();
  auto others = timed();
  for (int i = 1; i < 20; ++i) others += timed();
  // Twenty that each parsed it would take about twenty times as long as the first.
  EXPECT_LT(others, first * 10);
}

TEST_F(Android, AfterEveryInputTheScreenIsReadAgain) {
  useDevice();
  const auto dumps = [this] {
    const auto calls = device_.calls();
    return std::count(calls.begin(), calls.end(),
                      std::vector<std::string>{"-s", kSerial, "shell", "cat", "/sdcard/wyvlet_ui.xml"});
  };
  call("wyvlet_screen_text");
  EXPECT_EQ(dumps(), 1);
  const std::vector<std::pair<std::string, json::object>> inputs = {
      {"tap", {{"x", 10}, {"y", 20}}},
      {"swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}}},
      {"type_text", {{"text", "hello"}}},
      {"button", {{"buttonType", "back"}}}};
  auto expected = dumps();
  for (const auto& [tool, arguments] : inputs) {
    device_.show(expected % 2 == 0 ? "launcher.xml" : "catalogue.xml");
    call(tool, arguments);
    EXPECT_THAT(call("wyvlet_screen_text"),
                StartsWith(expected % 2 == 0 ? "Screen: Android\nVisible text (9 items):"
                                             : "Screen: Android\nVisible text (4 items):"))
        << tool;
    EXPECT_EQ(dumps(), ++expected) << tool;
  }
}

TEST_F(Android, WithoutADeviceTheScreenCannotBeRead) {
  useDevice();
  device_.disconnect();
  for (const auto* tool : {"wyvlet_screen_html", "wyvlet_screen_text", "wyvlet_find_element"}) {
    EXPECT_EQ(call(tool), "Failed to dump UI hierarchy") << tool;
  }
  device_.show("launcher.xml");
  expectLauncher();
}

TEST_F(Android, ACommandThatCannotBeWrittenIsReported) {
  useDevice();
  std::filesystem::create_directories(bridge_.commandsPath() + "/in the way");
  const auto failure = "Error: could not write " + bridge_.commandsPath();
  EXPECT_EQ(call("wyvlet_remove_mock_rule", {{"rule_id", "7"}}), failure);
  EXPECT_EQ(call("wyvlet_add_mock_rule", {{"url_pattern", "/orders"}}), failure);
  EXPECT_EQ(call("wyvlet_get_user_defaults"), failure);
}

}  // namespace
}  // namespace wyvlet::test
