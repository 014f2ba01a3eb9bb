#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Unit/Devices/DevicesTestSupport.h"

namespace wyvlet {
namespace {

using test::BridgeFixture;
using test::RecordingRunner;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::MatchesRegex;

/// A bridge with a simulator and an AXe that does as it is told.
class SimulatorInput : public ::testing::Test, public BridgeFixture {
 protected:
  SimulatorInput() {
    test::makeExecutable(home.path() + "/bin/Bundled/axe");
    EXPECT_TRUE(bridge.isAxeAvailable());
    setDefault("simulatorId", "U1");
  }

  /// What AXe was called with last, without its own path.
  std::vector<std::string> axeArguments() const {
    auto arguments = runner.requests().back().arguments;
    EXPECT_THAT(arguments[0], EndsWith("/bin/Bundled/axe"));
    arguments.erase(arguments.begin());
    return arguments;
  }
};

TEST_F(SimulatorInput, TapByCoordinates) {
  EXPECT_EQ(bridge.tap(10, -20, std::nullopt, std::nullopt, std::nullopt), "OK");
  EXPECT_THAT(axeArguments(), ElementsAre("tap", "--udid", "U1", "-x", "10", "-y", "-20"));
}

TEST_F(SimulatorInput, CoordinatesWinOverLabelAndId) {
  bridge.tap(1, 2, "Pay", "pay-button", 0.25);
  EXPECT_THAT(axeArguments(),
              ElementsAre("tap", "--udid", "U1", "-x", "1", "-y", "2", "--post-delay", "0.2"));
}

TEST_F(SimulatorInput, LabelWinsOverId) {
  bridge.tap(1, std::nullopt, "Pay now", "pay-button", 1.5);
  EXPECT_THAT(axeArguments(),
              ElementsAre("tap", "--udid", "U1", "--label", "Pay now", "--post-delay", "1.5"));
  bridge.tap(std::nullopt, std::nullopt, std::nullopt, "pay-button", std::nullopt);
  EXPECT_THAT(axeArguments(), ElementsAre("tap", "--udid", "U1", "--id", "pay-button"));
}

TEST_F(SimulatorInput, TapWithoutTargetRunsNothing) {
  EXPECT_EQ(bridge.tap(1, std::nullopt, std::nullopt, std::nullopt, std::nullopt),
            "Error: provide x+y coordinates or label or id");
  EXPECT_TRUE(runner.requests().empty());
}

TEST_F(SimulatorInput, EveryTapIsLogged) {
  ::testing::internal::CaptureStderr();
  bridge.tap(1, 2, std::nullopt, std::nullopt, std::nullopt);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "[sim-bridge] tap called. isAndroidMode=false, androidSerial=nil\n");
  setDefault("androidSerial", "emulator-5554");
  ::testing::internal::CaptureStderr();
  bridge.tap(1, std::nullopt, std::nullopt, std::nullopt, std::nullopt);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "[sim-bridge] tap called. isAndroidMode=true, androidSerial=emulator-5554\n");
}

TEST_F(SimulatorInput, Swipe) {
  EXPECT_EQ(bridge.swipe(1, 2, 3, 4, std::nullopt), "OK");
  EXPECT_THAT(axeArguments(), ElementsAre("swipe", "--udid", "U1", "--start-x", "1", "--start-y", "2",
                                          "--end-x", "3", "--end-y", "4"));
  bridge.swipe(1, 2, 3, 4, 0.75);
  EXPECT_THAT(axeArguments(), ElementsAre("swipe", "--udid", "U1", "--start-x", "1", "--start-y", "2",
                                          "--end-x", "3", "--end-y", "4", "--duration", "0.8"));
}

TEST_F(SimulatorInput, Button) {
  EXPECT_EQ(bridge.button("side-button", std::nullopt), "OK");
  EXPECT_THAT(axeArguments(), ElementsAre("button", "side-button", "--udid", "U1"));
  bridge.button("lock", 2);
  EXPECT_THAT(axeArguments(), ElementsAre("button", "lock", "--udid", "U1", "--duration", "2.0"));
}

TEST_F(SimulatorInput, AnswersAreAxesOwn) {
  RecordingRunner failing([](const std::string&) { return RecordingRunner::failed(1, "no such device\n"); });
  SimulatorBridge other(failing);
  other.setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(other.tap(1, 2, std::nullopt, std::nullopt, std::nullopt), "Error: no such device");
}

TEST(SimulatorInputWithoutSimulator, EveryOperationSaysSo) {
  BridgeFixture fixture;
  EXPECT_EQ(fixture.bridge.tap(1, 2, std::nullopt, std::nullopt, std::nullopt),
            "Error: no simulator configured");
  EXPECT_EQ(fixture.bridge.swipe(1, 2, 3, 4, std::nullopt), "Error: no simulator configured");
  EXPECT_EQ(fixture.bridge.button("home", std::nullopt), "Error: no simulator configured");
  EXPECT_EQ(fixture.bridge.screenshot().text, "Error: no simulator configured");
  EXPECT_EQ(fixture.bridge.screenshot().imageBase64, std::nullopt);
}

TEST(SimulatorInputOnAndroid, GoesToTheDevice) {
  BridgeFixture fixture;
  fixture.setDefault("androidSerial", "emulator-5554");
  fixture.setDefault("simulatorId", "U1");
  EXPECT_EQ(fixture.bridge.tap(1, 2, "label", "id", 1.0), "Tapped (1, 2)");
  EXPECT_EQ(fixture.bridge.tap(std::nullopt, std::nullopt, "label", "id", 1.0),
            "Error: Android tap requires x,y coordinates");
  EXPECT_EQ(fixture.bridge.swipe(1, 2, 3, 4, 0.1), "Swiped (1, 2) to (3, 4)");
  EXPECT_EQ(fixture.bridge.button("back", 1.0), "Pressed: back");
  EXPECT_EQ(fixture.bridge.screenshot().text, "Android screenshot failed");
  EXPECT_EQ(fixture.androidInputs, 3);
  const auto adb = "'" + fixture.home.path() + "/Library/Android/sdk/platform-tools/adb' -s emulator-5554";
  EXPECT_THAT(
      fixture.runner.commandLines(),
      ElementsAre(adb + " shell input tap 1 2 2>&1", adb + " shell input swipe 1 2 3 4 100 2>&1",
                  adb + " shell input keyevent 4 2>&1", MatchesRegex(".* exec-out screencap -p > .*")));
}

TEST_F(SimulatorInput, ScreenshotCommand) {
  EXPECT_EQ(bridge.screenshot().text, "Screenshot failed");
  EXPECT_EQ(bridge.screenshot().imageBase64, std::nullopt);
  EXPECT_THAT(runner.commandLines()[0],
              MatchesRegex("xcrun simctl io U1 screenshot /tmp/wyvlet_screenshot_"
                           "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}.png 2>&1"));
  EXPECT_EQ(runner.requests()[0].timeoutSeconds, 30);
  EXPECT_NE(runner.commandLines()[0], runner.commandLines()[1]);
}

/// A simctl that fills the file of its command line.
ProcessOutcome fillScreenshot(const std::string& line, bool timedOut) {
  const auto begin = line.find("/tmp/wyvlet_");
  test::makeFile(line.substr(begin, line.find(' ', begin) - begin), "picture");
  auto outcome = RecordingRunner::succeeded("Wrote screenshot");
  outcome.timedOut = timedOut;
  return outcome;
}

TEST(SimulatorScreenshot, ThePictureComesBackAndTheFileGoes) {
  BridgeFixture fixture([](const std::string& line) { return fillScreenshot(line, false); });
  fixture.setDefault("simulatorId", "U1");
  const auto shot = fixture.bridge.screenshot();
  EXPECT_EQ(shot.text, "Screenshot captured (7 bytes)");
  EXPECT_EQ(shot.imageBase64, "cGljdHVyZQ==");
  EXPECT_EQ(test::filesInTmp("wyvlet_screenshot_"), 0u);
}

TEST(SimulatorScreenshot, HalfAPictureIsNone) {
  BridgeFixture fixture([](const std::string& line) { return fillScreenshot(line, true); });
  fixture.setDefault("simulatorId", "U1");
  EXPECT_EQ(fixture.bridge.screenshot().text, "Screenshot failed");
  EXPECT_EQ(test::filesInTmp("wyvlet_screenshot_"), 0u);
}

}  // namespace
}  // namespace wyvlet
