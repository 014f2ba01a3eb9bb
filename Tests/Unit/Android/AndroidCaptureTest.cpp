#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Android/AndroidCapture.h"
#include "Peers/CaptureWriter.h"
#include "Peers/DeviceStandIn.h"
#include "Unit/Android/TemporaryHome.h"
#include "WyvletShared/UUID.h"

namespace wyvlet {
namespace {

namespace json = boost::json;

using std::chrono::milliseconds;
using ::testing::ElementsAre;

constexpr std::string_view kFailedDump = "Failed to dump UI hierarchy";

class AndroidCaptureTest : public ::testing::Test {
 protected:
  AndroidCaptureTest() { AndroidCapture::forgetScreen(); }

  test::TemporaryHome home_;
  test::CaptureWriter bridge_{home_.path()};
  test::DeviceStandIn device_{home_.path()};
};

TEST_F(AndroidCaptureTest, KeepsItsFilesBelowTheHomeDirectory) {
  EXPECT_EQ(AndroidCapture::capturePath(), home_.path() + "/.wyvletqa/android-capture.json");
  EXPECT_EQ(AndroidCapture::commandsPath(), home_.path() + "/.wyvletqa/android-commands.json");
  unsetenv("HOME");
  EXPECT_EQ(AndroidCapture::capturePath(), "/.wyvletqa/android-capture.json");
  EXPECT_EQ(AndroidCapture::commandsPath(), "/.wyvletqa/android-commands.json");
}

TEST_F(AndroidCaptureTest, IsActiveAsLongAsTheBridgeWrites) {
  EXPECT_FALSE(AndroidCapture::isActive());
  bridge_.write();
  EXPECT_TRUE(AndroidCapture::isActive());
  bridge_.setAge(std::chrono::seconds(30));
  bridge_.write();
  EXPECT_FALSE(AndroidCapture::isActive());
  EXPECT_TRUE(AndroidCapture::status().starts_with("Android bridge: CONNECTED\n"));
  bridge_.setAge(milliseconds(0));
  bridge_.set("connected", false);
  bridge_.write();
  EXPECT_FALSE(AndroidCapture::isActive());
  EXPECT_TRUE(AndroidCapture::status().starts_with("Android bridge: NOT CONNECTED\n"));
}

TEST_F(AndroidCaptureTest, AnswersFromTheCapture) {
  bridge_.set("httpRequests",
              {json::object{{"id", "a1"}, {"method", "GET"}, {"url", "https://shop.example/a"}}});
  bridge_.set("logEntries", {json::object{{"level", "D"}, {"tag", "Boot"}, {"message", "starting"}}});
  bridge_.write();
  EXPECT_EQ(AndroidCapture::status(),
            "Android bridge: CONNECTED\nPackage: com.example.shop\nNetwork requests: 1\nLog entries: 1");
  EXPECT_EQ(AndroidCapture::networkLogs(20, std::nullopt),
            "Android Network Logs (1 of 1 total):\n  GET https://shop.example/a → 0 (0ms)");
  EXPECT_EQ(AndroidCapture::requestDetail("a1"),
            "URL: https://shop.example/a\nMethod: GET\nStatus: 0\nDuration: 0ms");
  EXPECT_EQ(AndroidCapture::appLogs(20, std::nullopt),
            "Android App Logs (1 of 1 total):\n  [D] Boot: starting");
  EXPECT_EQ(AndroidCapture::assertRequest("shop", "GET"),
            "PASS: Found 1 request(s) matching 'shop'. Last: GET → 0");
}

TEST_F(AndroidCaptureTest, WithoutACaptureSaysSo) {
  EXPECT_EQ(AndroidCapture::networkLogs(20, std::nullopt),
            "No Android capture data available. Ensure wyvlet-bridge.py is running.");
  EXPECT_EQ(AndroidCapture::requestDetail("a1"), "No capture data.");
  EXPECT_EQ(AndroidCapture::appLogs(20, std::nullopt), "No Android capture data available.");
  EXPECT_EQ(AndroidCapture::assertRequest("shop", std::nullopt), "FAIL: No capture data.");
}

TEST_F(AndroidCaptureTest, ReadsPrefsFromTheBridgesAnswerAfterASecond) {
  bridge_.keepFresh({json::object{{"prefsFile", "settings"}, {"key", "a"}, {"value", "1"}, {"type", "int"}}});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(AndroidCapture::readPrefs(""), "SharedPreferences (1 entries):\n  [settings] a = 1 (int)");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(bridge_.command(), json::parse(R"({"action":"read_prefs"})"));
}

TEST_F(AndroidCaptureTest, AddsAMockRuleThatCanBeRemoved) {
  const auto answer = AndroidCapture::addMockRule({{"url_pattern", "/cart"}, {"method", "GET"}});
  const std::string begin = "Mock rule added: Mock /cart (GET /cart → 200)\nRule ID: ";
  ASSERT_TRUE(answer.starts_with(begin)) << answer;
  const auto ruleId = answer.substr(begin.size());
  EXPECT_TRUE(UUID::parse(ruleId)) << ruleId;
  EXPECT_EQ(bridge_.command().at("ruleId").as_string(), ruleId);
  EXPECT_EQ(bridge_.command().at("action").as_string(), "add_mock_rule");
  EXPECT_NE(AndroidCapture::addMockRule({{"url_pattern", "/cart"}, {"method", "GET"}}), answer);

  EXPECT_EQ(AndroidCapture::removeMockRule(ruleId), "Mock rule removed: " + ruleId);
  EXPECT_EQ(bridge_.command(), json::value({{"action", "remove_mock_rule"}, {"ruleId", ruleId}}));
}

TEST_F(AndroidCaptureTest, SendsNothingForARuleThatIsNotNamed) {
  EXPECT_EQ(AndroidCapture::addMockRule({}), "Error: url_pattern is required");
  EXPECT_EQ(AndroidCapture::removeMockRule(""), "Error: rule_id is required");
  EXPECT_TRUE(bridge_.command().is_null());
}

TEST_F(AndroidCaptureTest, SaysWhenACommandCannotBeWritten) {
  std::filesystem::create_directories(bridge_.commandsPath() + "/in the way");
  const auto failure = "Error: could not write " + bridge_.commandsPath();
  EXPECT_EQ(AndroidCapture::addMockRule({{"url_pattern", "/cart"}}), failure);
  EXPECT_EQ(AndroidCapture::removeMockRule("a1"), failure);
  EXPECT_EQ(AndroidCapture::readPrefs(std::nullopt), failure);
}

TEST_F(AndroidCaptureTest, HostileRuleIdsAreOnlyText) {
  const std::string ruleId = "\",\"action\":\"x\n\xC3\xA9";
  EXPECT_EQ(AndroidCapture::removeMockRule(ruleId), "Mock rule removed: " + ruleId);
  EXPECT_EQ(bridge_.command(), json::value({{"action", "remove_mock_rule"}, {"ruleId", ruleId}}));
}

TEST_F(AndroidCaptureTest, AnswersScreenQuestionsFromOneDump) {
  device_.show("launcher.xml");
  EXPECT_TRUE(
      AndroidCapture::screenHTML("emulator-5554").starts_with("<screen platform=\"android\">\n  <View "));
  EXPECT_TRUE(
      AndroidCapture::screenText("emulator-5554").starts_with("Screen: Android\nVisible text (9 items):\n"));
  EXPECT_EQ(AndroidCapture::findElement("phone", false, "emulator-5554"),
            "Screen: Android\n"
            "Found 1 match(es) for \"phone\":\n"
            "  TextView \"Phone\" at (0,706) 96x94 center=(48,753) [BUTTON]");
  EXPECT_THAT(
      device_.calls(),
      ElementsAre(ElementsAre("-s", "emulator-5554", "shell", "uiautomator", "dump", "/sdcard/wyvlet_ui.xml"),
                  ElementsAre("-s", "emulator-5554", "shell", "cat", "/sdcard/wyvlet_ui.xml")));
}

TEST_F(AndroidCaptureTest, AsksTheDeviceAgainAfterAnInput) {
  device_.show("launcher.xml");
  AndroidCapture::screenText(std::nullopt);
  device_.show("catalogue.xml");
  AndroidCapture::forgetScreen();
  EXPECT_TRUE(
      AndroidCapture::screenText(std::nullopt).starts_with("Screen: Android\nVisible text (4 items):\n"));
}

TEST_F(AndroidCaptureTest, WithoutADeviceSaysSoEveryTime) {
  device_.disconnect();
  EXPECT_EQ(AndroidCapture::screenHTML("emulator-5554"), kFailedDump);
  EXPECT_EQ(AndroidCapture::screenText("emulator-5554"), kFailedDump);
  EXPECT_EQ(AndroidCapture::findElement("OK", false, "emulator-5554"), kFailedDump);
  EXPECT_EQ(device_.calls().size(), 6U);
}

TEST_F(AndroidCaptureTest, WithoutADBSaysSo) {
  std::filesystem::remove_all(home_.path() + "/Library");
  EXPECT_EQ(AndroidCapture::screenHTML("emulator-5554"), kFailedDump);
}

TEST_F(AndroidCaptureTest, AHostileSerialStaysOneArgument) {
  device_.show("launcher.xml");
  const std::string serial = "'; touch /tmp/x; echo $(id) \"`id`";
  AndroidCapture::screenHTML(serial);
  EXPECT_THAT(device_.calls().at(0),
              ElementsAre("-s", serial, "shell", "uiautomator", "dump", "/sdcard/wyvlet_ui.xml"));
}

TEST_F(AndroidCaptureTest, ShellGivesTheOutputUntrimmedAndWithoutErrors) {
  EXPECT_EQ(AndroidCapture::shell("echo ' out '; echo err >&2"), " out \n");
  EXPECT_EQ(AndroidCapture::shell("exit 3"), "");
  EXPECT_EQ(AndroidCapture::shell("printf '\\377'"), std::nullopt);
}

TEST_F(AndroidCaptureTest, ShellFindsTheSDKsToolsFirst) {
  EXPECT_EQ(AndroidCapture::shell("command -v adb"),
            home_.path() + "/Library/Android/sdk/platform-tools/adb\n");
  const auto bin = home_.path() + "/.local/bin";
  std::filesystem::create_directories(bin);
  std::ofstream(bin + "/adb") << "#!/bin/sh\necho user\n";
  std::ofstream(bin + "/wyvlet-tool") << "#!/bin/sh\necho tool\n";
  for (const auto* name : {"/adb", "/wyvlet-tool"}) {
    std::filesystem::permissions(bin + name, std::filesystem::perms::owner_all);
  }
  EXPECT_EQ(AndroidCapture::shell("command -v adb"),
            home_.path() + "/Library/Android/sdk/platform-tools/adb\n");
  EXPECT_EQ(AndroidCapture::shell("wyvlet-tool"), "tool\n");
}

}  // namespace
}  // namespace wyvlet
