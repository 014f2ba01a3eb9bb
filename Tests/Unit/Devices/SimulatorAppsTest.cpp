#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Unit/Devices/DevicesTestSupport.h"

namespace wyvlet {
namespace {

namespace fs = std::filesystem;
using test::BridgeFixture;
using test::RecordingRunner;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kProbe = "/tmp/WyvletProbe.dylib";

class SimulatorApps : public ::testing::Test, public BridgeFixture {
 protected:
  SimulatorApps() : BridgeFixture([](const std::string&) { return RecordingRunner::succeeded("said\n"); }) {
    fs::remove(kProbe);
    fs::create_directories(home.path() + "/bin");
  }
  ~SimulatorApps() override { fs::remove(kProbe); }
};

TEST_F(SimulatorApps, TargetIsTheArgumentThenTheDefaultThenBooted) {
  EXPECT_EQ(bridge.launchApp("com.example.app", std::nullopt, false), "said");
  bridge.launchApp("com.example.app", "", false);
  setDefault("simulatorId", "U1");
  bridge.launchApp("com.example.app", std::nullopt, false);
  bridge.launchApp("com.example.app", "U2", false);
  EXPECT_THAT(runner.commandLines(), ElementsAre("xcrun simctl launch booted com.example.app 2>&1",
                                                 "xcrun simctl launch booted com.example.app 2>&1",
                                                 "xcrun simctl launch U1 com.example.app 2>&1",
                                                 "xcrun simctl launch U2 com.example.app 2>&1"));
  EXPECT_EQ(runner.requests()[0].timeoutSeconds, 30);
  EXPECT_FALSE(fs::exists(kProbe));
}

TEST_F(SimulatorApps, StopAndBoot) {
  EXPECT_EQ(bridge.stopApp("com.example.app", std::nullopt), "said");
  EXPECT_EQ(bridge.stopApp("com.example.app", "U2"), "said");
  EXPECT_EQ(bridge.boot(std::nullopt), "said");
  EXPECT_EQ(bridge.boot("U2"), "said");
  EXPECT_THAT(runner.commandLines(),
              ElementsAre("xcrun simctl terminate booted com.example.app 2>&1",
                          "xcrun simctl terminate U2 com.example.app 2>&1", "xcrun simctl boot booted 2>&1",
                          "xcrun simctl boot U2 2>&1"));
}

TEST_F(SimulatorApps, WithoutABundleIdentifierNothingRuns) {
  EXPECT_EQ(bridge.launchApp("", "U2", true), "Error: no bundleId set. Call session_set_defaults first.");
  EXPECT_EQ(bridge.stopApp("", "U2"), "Error: no bundleId");
  EXPECT_THAT(runner.requests(), IsEmpty());
}

TEST_F(SimulatorApps, AMissingShellIsToldInEachOnesWords) {
  RecordingRunner none([](const std::string&) {
    ProcessOutcome outcome;
    outcome.startFailure = "No such file or directory";
    return outcome;
  });
  const SimulatorBridge other(none);
  EXPECT_EQ(other.launchApp("a", std::nullopt, false), "Failed to launch app");
  EXPECT_EQ(other.stopApp("a", std::nullopt), "Failed");
  EXPECT_EQ(other.boot(std::nullopt), "Failed to boot simulator");
}

TEST_F(SimulatorApps, InjectionSignsACopyAndLaunchesWithIt) {
  test::makeFile(home.path() + "/bin/Bundled/WyvletProbe.dylib", "probe");
  bridge.launchApp("com.example.app", "U2", true);
  const auto requests = runner.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_THAT(requests[0].arguments, ElementsAre("/usr/bin/codesign", "--force", "--sign", "-", kProbe));
  EXPECT_EQ(requests[0].timeoutSeconds, 0) << "no limit";
  EXPECT_EQ(requests[1].arguments.back(),
            "SIMCTL_CHILD_DYLD_INSERT_LIBRARIES=/tmp/WyvletProbe.dylib xcrun simctl launch U2 "
            "com.example.app 2>&1");
  EXPECT_EQ(test::contentOf(kProbe), "probe");
}

TEST_F(SimulatorApps, ProbeCandidatesAreTriedInOrder) {
  const std::string candidates[] = {
      home.path() + "/Documents/kestrow/WyvletMCP/Bundled/WyvletProbe.dylib",
      home.path() + "/.wyvletqa/bin/WyvletProbe.dylib",
      home.path() + "/bin/../Bundled/WyvletProbe.dylib",
      home.path() + "/bin/Bundled/WyvletProbe.dylib",
      home.path() + "/bin/../Resources/Bundled/WyvletProbe.dylib",
  };
  // From the last to the first: each goes before all that are there already.
  for (const auto& candidate : candidates) {
    test::makeFile(candidate, candidate);
    EXPECT_EQ(bridge.resolveProbePath(), kProbe);
    EXPECT_EQ(test::contentOf(kProbe), candidate);
  }
}

TEST_F(SimulatorApps, WithoutAProbeTheAppStartsWithoutIt) {
  EXPECT_EQ(bridge.launchApp("com.example.app", "U2", true), "said");
  EXPECT_THAT(runner.commandLines(), ElementsAre("xcrun simctl launch U2 com.example.app 2>&1"));
  EXPECT_EQ(bridge.resolveProbePath(), std::nullopt);
}

TEST_F(SimulatorApps, ALeftoverCopyIsUsedAndNotSignedAgain) {
  test::makeFile(kProbe, "left over");
  bridge.launchApp("com.example.app", "U2", true);
  EXPECT_THAT(runner.commandLines(),
              ElementsAre("SIMCTL_CHILD_DYLD_INSERT_LIBRARIES=/tmp/WyvletProbe.dylib xcrun simctl launch U2 "
                          "com.example.app 2>&1"));
  EXPECT_EQ(test::contentOf(kProbe), "left over");
}

TEST_F(SimulatorApps, AProbeThatCannotBeCopiedIsNone) {
  fs::create_directories(home.path() + "/bin/Bundled/WyvletProbe.dylib");
  EXPECT_EQ(bridge.resolveProbePath(), std::nullopt);
  EXPECT_THAT(runner.requests(), IsEmpty());
}

TEST_F(SimulatorApps, WithoutInjectionNothingInTmpIsTouched) {
  test::makeFile(home.path() + "/bin/Bundled/WyvletProbe.dylib", "probe");
  test::makeFile(kProbe, "left over");
  bridge.launchApp("com.example.app", "U2", false);
  EXPECT_EQ(test::contentOf(kProbe), "left over");
}

TEST_F(SimulatorApps, ASigningToolThatCannotBeStartedIsIgnored) {
  test::makeFile(home.path() + "/bin/Bundled/WyvletProbe.dylib", "probe");
  RecordingRunner none([](const std::string&) {
    ProcessOutcome outcome;
    outcome.startFailure = "No such file or directory";
    return outcome;
  });
  EXPECT_EQ(SimulatorBridge(none).resolveProbePath(), kProbe);
}

}  // namespace
}  // namespace wyvlet
