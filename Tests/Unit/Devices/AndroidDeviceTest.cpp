#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Devices/AndroidDevice.h"
#include "Unit/Devices/DevicesTestSupport.h"

namespace wyvlet {
namespace {

using test::RecordingRunner;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

class AndroidDeviceTest : public ::testing::Test, public test::BridgeFixture {
 protected:
  AndroidDeviceTest() { setDefault("androidSerial", "emulator-5554"); }
  std::string adb() const {
    return "'" + home.path() + "/Library/Android/sdk/platform-tools/adb' -s emulator-5554";
  }
};

TEST_F(AndroidDeviceTest, Tap) {
  EXPECT_EQ(bridge.adbTap(120, -5, "ignored"), "Tapped (120, -5)");
  EXPECT_THAT(runner.commandLines(), ElementsAre(adb() + " shell input tap 120 -5 2>&1"));
  EXPECT_EQ(runner.requests()[0].timeoutSeconds, 30);
  EXPECT_EQ(androidInputs, 1);
}

TEST_F(AndroidDeviceTest, TapNeedsBothCoordinates) {
  EXPECT_EQ(bridge.adbTap(1, std::nullopt, "Pay"), "Error: Android tap requires x,y coordinates");
  EXPECT_EQ(bridge.adbTap(std::nullopt, 1, std::nullopt), "Error: Android tap requires x,y coordinates");
  EXPECT_TRUE(runner.requests().empty());
  EXPECT_EQ(androidInputs, 0);
}

TEST_F(AndroidDeviceTest, SwipeTakes300MillisecondsUnlessTold) {
  EXPECT_EQ(bridge.adbSwipe(1, 2, 3, 4, std::nullopt), "Swiped (1, 2) to (3, 4)");
  EXPECT_EQ(bridge.adbSwipe(1, 2, 3, 4, 0.5), "Swiped (1, 2) to (3, 4)");
  EXPECT_EQ(bridge.adbSwipe(1, 2, 3, 4, 1.2345), "Swiped (1, 2) to (3, 4)");
  EXPECT_EQ(bridge.adbSwipe(1, 2, 3, 4, 0), "Swiped (1, 2) to (3, 4)");
  EXPECT_THAT(runner.commandLines(), ElementsAre(adb() + " shell input swipe 1 2 3 4 300 2>&1",
                                                 adb() + " shell input swipe 1 2 3 4 500 2>&1",
                                                 adb() + " shell input swipe 1 2 3 4 1234 2>&1",
                                                 adb() + " shell input swipe 1 2 3 4 0 2>&1"));
  EXPECT_EQ(androidInputs, 4);
}

TEST_F(AndroidDeviceTest, AbsurdDurationsAreClamped) {
  bridge.adbSwipe(1, 2, 3, 4, 1e300);
  EXPECT_THAT(runner.commandLines(),
              ElementsAre(adb() + " shell input swipe 1 2 3 4 9223372036854775807 2>&1"));
}

TEST_F(AndroidDeviceTest, TypeReplacesSpacesAndQuotes) {
  EXPECT_EQ(bridge.adbType("hello"), "Typed: hello");
  EXPECT_EQ(bridge.adbType("it's a b"), "Typed: it's a b");
  EXPECT_THAT(runner.commandLines(), ElementsAre(adb() + " shell input text 'hello' 2>&1",
                                                 adb() + R"( shell input text 'it\'\''s%sa%sb' 2>&1)"));
  EXPECT_EQ(androidInputs, 2);
}

TEST_F(AndroidDeviceTest, ButtonsHaveKeyCodes) {
  const std::pair<const char*, const char*> keys[] = {
      {"home", "3"},
      {"back", "4"},
      {"menu", "82"},
      {"enter", "66"},
      {"return", "66"},
      {"volume_up", "24"},
      {"volume_down", "25"},
      {"power", "26"},
      {"lock", "26"},
      {"camera", "KEYCODE_CAMERA"},
      {"Home", "KEYCODE_HOME"},
      {"dpad_up", "KEYCODE_DPAD_UP"},
      {"187", "187"},
      {"dpad-up", "KEYCODE_DPAD_UP"},
      {"app switch", "KEYCODE_APP_SWITCH"},
      {"-1", "KEYCODE__1"},
      {"siri;$(reboot)", "KEYCODE_SIRI___REBOOT_"},
  };
  std::vector<std::string> expected;
  for (const auto& [name, code] : keys) {
    EXPECT_EQ(bridge.adbButton(name), "Pressed: " + std::string(name));
    expected.push_back(adb() + " shell input keyevent " + code + " 2>&1");
  }
  EXPECT_EQ(runner.commandLines(), expected);
  EXPECT_EQ(androidInputs, static_cast<int>(std::size(keys)));
}

TEST_F(AndroidDeviceTest, InputIsConfirmedEvenWithoutADB) {
  RecordingRunner broken([](const std::string&) { return RecordingRunner::failed(127, "no such file"); });
  const AndroidDevice device(broken, "x", {});
  EXPECT_EQ(device.tap(1, 2), "Tapped (1, 2)");
  EXPECT_EQ(device.type("a"), "Typed: a");
  EXPECT_EQ(device.press("home"), "Pressed: home");
}

TEST_F(AndroidDeviceTest, ScreenshotCommand) {
  bridge.adbScreenshot();
  EXPECT_THAT(runner.commandLines(),
              ElementsAre(MatchesRegex("'.*/adb' -s emulator-5554 exec-out screencap -p > "
                                       "'/tmp/"
                                       "wyvlet_android_screenshot_[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB]"
                                       "[0-9A-F]{3}-[0-9A-F]{12}.png' "
                                       "2>/dev/null")));
  EXPECT_EQ(androidInputs, 0);
}

/// What follows when adb behaves like `adb` does for the command line that it gets.
struct ScreenshotCase {
  const char* fill;
  int exitStatus;
  bool timedOut;
  const char* text;
};

TEST_F(AndroidDeviceTest, ScreenshotsThatAdbDidNotFillAreFailures) {
  for (const auto& [fill, exitStatus, timedOut, text] :
       {ScreenshotCase{"picture", 0, false, "Screenshot captured (7 bytes)"},
        ScreenshotCase{"", 0, false, "Android screenshot failed"},
        ScreenshotCase{"pict", 1, false, "Android screenshot failed"},
        ScreenshotCase{"pict", 143, true, "Android screenshot failed"}}) {
    RecordingRunner filling(
        [&, content = fill, status = exitStatus, late = timedOut](const std::string& line) {
          const auto begin = line.find("/tmp/wyvlet_");
          test::makeFile(line.substr(begin, line.rfind('\'') - begin), content);
          auto outcome = RecordingRunner::failed(status);
          outcome.timedOut = late;
          return outcome;
        });
    const auto shot = AndroidDevice(filling, "x", {}).screenshot();
    EXPECT_EQ(shot.text, text);
    EXPECT_EQ(shot.imageBase64.has_value(), std::string(text) != "Android screenshot failed");
    EXPECT_EQ(test::filesInTmp("wyvlet_android_screenshot_"), 0u);
  }
}

TEST(AndroidDevice, WithoutASerialThereIsNoDevice) {
  test::BridgeFixture fixture;
  EXPECT_EQ(fixture.bridge.adbTap(1, 2, std::nullopt), "Error: no Android device");
  EXPECT_EQ(fixture.bridge.adbSwipe(1, 2, 3, 4, std::nullopt), "Error: no Android device");
  EXPECT_EQ(fixture.bridge.adbType("a"), "Error: no Android device");
  EXPECT_EQ(fixture.bridge.adbButton("home"), "Error: no Android device");
  EXPECT_EQ(fixture.bridge.adbScreenshot().text, "Error: no Android device");
  EXPECT_EQ(fixture.bridge.adbScreenshot().imageBase64, std::nullopt);
  EXPECT_TRUE(fixture.runner.requests().empty());
}

}  // namespace
}  // namespace wyvlet
