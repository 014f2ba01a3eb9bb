#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Android/AndroidShell.h"
#include "Support/Environment.h"
#include "Unit/Android/RecordingRunner.h"
#include "Unit/Android/TemporaryHome.h"

namespace wyvlet {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(AndroidShell, PutsTheSDKAndTheUsersToolsFirst) {
  EXPECT_EQ(androidToolPath("/Users/kim", "/usr/bin:/bin"),
            "/Users/kim/Library/Android/sdk/platform-tools:/Users/kim/.local/bin:/opt/homebrew/bin:"
            "/usr/local/bin:/usr/bin:/bin");
  EXPECT_EQ(androidToolPath("", ""),
            "/Library/Android/sdk/platform-tools:/.local/bin:/opt/homebrew/bin:/usr/local/bin:");
}

TEST(AndroidShell, CallsADBByItsPathAndTheDeviceByItsSerial) {
  EXPECT_EQ(adbInvocation("/Users/kim", std::nullopt),
            "'/Users/kim/Library/Android/sdk/platform-tools/adb' ");
  EXPECT_EQ(adbInvocation("/Users/kim", ""), "'/Users/kim/Library/Android/sdk/platform-tools/adb' ");
  EXPECT_EQ(adbInvocation("/Users/kim", "emulator-5554"),
            "'/Users/kim/Library/Android/sdk/platform-tools/adb' -s emulator-5554");
  EXPECT_EQ(adbInvocation("", "192.168.1.7:5555"),
            "'/Library/Android/sdk/platform-tools/adb' -s 192.168.1.7:5555");
}

TEST(AndroidShell, KeepsHostileValuesInert) {
  EXPECT_EQ(adbInvocation("/Users/o'hara", "x; rm -rf ~"),
            "'/Users/o'\\''hara/Library/Android/sdk/platform-tools/adb' -s 'x; rm -rf ~'");
}

TEST(AndroidShell, RunsACommandLineWithoutALimit) {
  const test::TemporaryHome home;
  test::RecordingRunner runner;
  runAndroidCommand(runner, "adb devices | wc -l");
  ASSERT_EQ(runner.requests().size(), 1U);
  const auto request = runner.requests()[0];
  EXPECT_THAT(request.arguments, ElementsAre("/bin/zsh", "-c", "adb devices | wc -l"));
  EXPECT_THAT(request.environment,
              ElementsAre(Pair("PATH", androidToolPath(home.path(), *environmentVariable("PATH")))));
  EXPECT_FALSE(request.mergeErrorOutput);
  EXPECT_EQ(request.timeoutSeconds, 0);
}

}  // namespace
}  // namespace wyvlet
