// The command lines run by the real zsh with stand-ins for the tools: whatever a value holds, it
// arrives as one argument and runs nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Peers/StandIns.h"
#include "Support/Text.h"
#include "Unit/Devices/DevicesTestSupport.h"

namespace wyvlet {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class HostileValues : public ::testing::TestWithParam<const char*> {
 protected:
  HostileValues() {
    tools.install("xcrun");
    tools.installAt(home.path() + "/Library/Android/sdk/platform-tools/adb");
    ::setenv("PATH", (tools.binFolder() + ":" + path).c_str(), 1);
    std::filesystem::create_directory(folder);
    std::filesystem::current_path(folder);
    bridge.emplace(ProcessRunner::system());
  }
  ~HostileValues() override {
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << "a value ran a command";
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
    ::setenv("PATH", path.c_str(), 1);
  }

  const std::string value = GetParam();
  test::TemporaryHome home;
  test::StandIns tools;
  const std::string path = environmentVariable("PATH").value_or("");
  const std::string folder = tools.folder() + "/work";
  std::optional<SimulatorBridge> bridge;
};

INSTANTIATE_TEST_SUITE_P(Values, HostileValues,
                         ::testing::Values("com.example.app", "a;touch x", "a&touch x", "a|touch x",
                                           "$(touch x)", "`touch x`", "a'b", "'", "''", "';touch x;'", "a\"b",
                                           "a\\b", "\\", "a\nb\ntouch x", "a\tb", "*", "~", "=ls",
                                           "==", "${HOME}", "$HOME", "> x", "<x", "#a", "!x", "[a-z]*",
                                           "{a,b}", "(a)", "a b  c", " ", "-rf", "--", "é—😀", "%s", "a=b",
                                           "^x", "\x01\x7F"));

TEST_P(HostileValues, BundleIdentifierAndSimulatorAreOneArgumentEach) {
  bridge->setDefaults({{"simulatorId", value}});
  EXPECT_EQ(bridge->launchApp(value, std::nullopt, false), "");
  EXPECT_EQ(bridge->stopApp(value, value), "");
  EXPECT_EQ(bridge->boot(value), "");
  bridge->screenshot();
  const auto calls = tools.calls("xcrun");
  ASSERT_THAT(calls, SizeIs(4));
  EXPECT_THAT(calls[0].arguments, ElementsAre("simctl", "launch", value, value));
  EXPECT_THAT(calls[1].arguments, ElementsAre("simctl", "terminate", value, value));
  EXPECT_THAT(calls[2].arguments, ElementsAre("simctl", "boot", value));
  EXPECT_THAT(calls[3].arguments, ElementsAre("simctl", "io", value, "screenshot", ::testing::_));
  for (const auto& call : calls) EXPECT_EQ(call.input, "");
}

TEST_P(HostileValues, SerialAndTextAreOneArgumentEach) {
  bridge->setDefaults({{"androidSerial", value}});
  EXPECT_EQ(bridge->adbTap(1, 2, std::nullopt), "Tapped (1, 2)");
  EXPECT_EQ(bridge->adbType(value), "Typed: " + value);
  bridge->adbScreenshot();
  const auto calls = tools.calls("adb");
  ASSERT_THAT(calls, SizeIs(3));
  EXPECT_THAT(calls[0].arguments, ElementsAre("-s", value, "shell", "input", "tap", "1", "2"));
  const auto typed = replacedAll(replacedAll(value, " ", "%s"), "'", "\\'");
  EXPECT_THAT(calls[1].arguments, ElementsAre("-s", value, "shell", "input", "text", typed));
  EXPECT_THAT(calls[2].arguments, ElementsAre("-s", value, "exec-out", "screencap", "-p"));
}

TEST_P(HostileValues, ButtonNamesAreOneHarmlessArgument) {
  bridge->setDefaults({{"androidSerial", "x"}});
  EXPECT_EQ(bridge->adbButton(value), "Pressed: " + value);
  const auto calls = tools.calls("adb");
  ASSERT_THAT(calls, SizeIs(1));
  // adb hands its arguments to the device's shell as one line, so nothing may be left for it to read.
  EXPECT_THAT(calls[0].arguments,
              ElementsAre("-s", "x", "shell", "input", "keyevent", MatchesRegex("KEYCODE_[A-Z0-9_]+")));
}

TEST(HostileHome, AQuoteInTheHomeDirectoryStaysInside) {
  const test::TemporaryHome outer;
  const auto home = outer.path() + "/it's; touch x";
  ::setenv("HOME", home.c_str(), 1);
  test::StandIns tools;
  tools.installAt(home + "/Library/Android/sdk/platform-tools/adb");
  SimulatorBridge bridge;
  bridge.setDefaults({{"androidSerial", "emulator-5554"}});
  bridge.adbTap(1, 2, std::nullopt);
  EXPECT_THAT(tools.calls("adb"), SizeIs(1));
}

}  // namespace
}  // namespace wyvlet
