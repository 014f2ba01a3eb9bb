#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "Devices/SimulatorBridge.h"
#include "Unit/Devices/DevicesTestSupport.h"

namespace wyvlet {
namespace {

using test::BridgeFixture;
using test::RecordingRunner;
using ::testing::ElementsAre;
using ::testing::Pair;

TEST(SessionDefaultsText, SummaryListsWhatIsSet) {
  SessionDefaults defaults;
  EXPECT_EQ(formatDefaultsSummary(defaults), "Defaults updated: [:]");
  defaults.bundleId = "com.example.app";
  EXPECT_EQ(formatDefaultsSummary(defaults), R"(Defaults updated: ["bundleId": "com.example.app"])");
  defaults.simulatorId = "U1";
  defaults.scheme = "App";
  defaults.projectPath = "/p";
  defaults.workspacePath = "/w";
  defaults.androidSerial = "emulator-5554";
  EXPECT_EQ(formatDefaultsSummary(defaults),
            R"(Defaults updated: ["simulatorId": "U1", "bundleId": "com.example.app", "scheme": "App", )"
            R"("androidSerial": "emulator-5554", "mode": "android"])");
}

TEST(SessionDefaultsText, ListingShowsThreeOfThem) {
  SessionDefaults defaults;
  EXPECT_EQ(formatDefaultsListing(defaults), "Session defaults:\n  (none set)");
  defaults.androidSerial = "emulator-5554";
  defaults.projectPath = "/p";
  EXPECT_EQ(formatDefaultsListing(defaults), "Session defaults:\n  (none set)");
  defaults.scheme = "App";
  EXPECT_EQ(formatDefaultsListing(defaults), "Session defaults:\n  scheme: App");
  defaults.simulatorId = "U1";
  defaults.bundleId = "com.example.app";
  EXPECT_EQ(formatDefaultsListing(defaults),
            "Session defaults:\n  simulatorId: U1\n  bundleId: com.example.app\n  scheme: App");
}

TEST(SimulatorBridge, OnlyTextsAreStoredAndNothingIsCleared) {
  BridgeFixture fixture;
  EXPECT_EQ(fixture.bridge.setDefaults({{"projectPath", "/p.xcodeproj"}, {"workspacePath", "/w"}}),
            "Defaults updated: [:]");
  EXPECT_EQ(fixture.bridge.setDefaults({{"simulatorId", "U1"}, {"bundleId", 7}, {"scheme", nullptr}}),
            R"(Defaults updated: ["simulatorId": "U1"])");
  EXPECT_EQ(fixture.bridge.setDefaults({{"simulatorId", ""}, {"androidSerial", ""}, {"other", "x"}}),
            R"(Defaults updated: ["simulatorId": "U1"])");
  EXPECT_EQ(fixture.bridge.showDefaults(), "Session defaults:\n  simulatorId: U1");
  EXPECT_EQ(fixture.bridge.defaults().projectPath, "/p.xcodeproj");
  EXPECT_EQ(fixture.bridge.defaults().workspacePath, "/w");
  EXPECT_FALSE(fixture.bridge.defaults().isAndroidMode());
}

TEST(SimulatorBridge, DefaultsMayBeSetAndReadByManyThreads) {
  BridgeFixture fixture;
  std::atomic<bool> torn = false;
  std::vector<std::thread> threads;
  for (const char* value :
       {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb"}) {
    threads.emplace_back([&, value] {
      for (int i = 0; i < 500; ++i) {
        fixture.bridge.setDefaults({{"bundleId", value}, {"scheme", value}});
        const auto defaults = fixture.bridge.defaults();
        if (defaults.bundleId != defaults.scheme) torn = true;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(torn);
}

TEST(AxeDiscovery, CandidatesAreTriedInOrder) {
  BridgeFixture fixture;
  const auto& home = fixture.home.path();
  EXPECT_EQ(fixture.bridge.axePath(), "axe");
  EXPECT_FALSE(fixture.bridge.isAxeAvailable());
  std::filesystem::create_directories(home + "/bin");
  // Found while the bridge lives, since it was nowhere before.
  const auto last = home + "/Documents/kestrow/WyvletMCP/Bundled/axe";
  test::makeExecutable(last);
  EXPECT_EQ(fixture.bridge.axePath(), last);
  EXPECT_TRUE(fixture.bridge.isAxeAvailable());
  // One that is found stays, even when a better place fills up.
  const auto middle = home + "/bin/../Bundled/axe";
  test::makeExecutable(middle);
  EXPECT_EQ(fixture.bridge.axePath(), last);
  EXPECT_EQ(SimulatorBridge(fixture.runner).axePath(), middle);
  const auto first = home + "/bin/Bundled/axe";
  test::makeExecutable(first);
  EXPECT_EQ(SimulatorBridge(fixture.runner).axePath(), first);
  std::filesystem::remove(last);
  EXPECT_EQ(fixture.bridge.axePath(), first);
}

TEST(AxeDiscovery, AFileThatIsNotExecutableIsNotAxe) {
  BridgeFixture fixture;
  const auto path = fixture.home.path() + "/bin/Bundled/axe";
  test::makeFile(path, "text");
  EXPECT_EQ(fixture.bridge.axePath(), "axe");
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_FALSE(fixture.bridge.isAxeAvailable()) << "a folder";
}

TEST(AxeDiscovery, StartUpSaysWhatWasFound) {
  BridgeFixture fixture;
  ::testing::internal::CaptureStderr();
  SimulatorBridge without(fixture.runner);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "[sim-bridge] WARNING: AXe not found — simulator tools will be unavailable\n");
  const auto path = fixture.home.path() + "/bin/Bundled/axe";
  test::makeExecutable(path);
  ::testing::internal::CaptureStderr();
  SimulatorBridge with(fixture.runner);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[sim-bridge] AXe found at: " + path + "\n");
}

TEST(RunAxe, RunsItDirectlyWithItsFrameworks) {
  BridgeFixture fixture;
  const auto path = fixture.home.path() + "/bin/Bundled/axe";
  test::makeExecutable(path);
  fixture.bridge.runAxe({"tap", "--label", "a;touch x"});
  ASSERT_EQ(fixture.runner.requests().size(), 1u);
  const auto request = fixture.runner.requests()[0];
  EXPECT_THAT(request.arguments, ElementsAre(path, "tap", "--label", "a;touch x"));
  EXPECT_THAT(request.environment,
              ElementsAre(Pair("DYLD_FRAMEWORK_PATH", fixture.home.path() + "/bin/Bundled/Frameworks")));
  EXPECT_FALSE(request.mergeErrorOutput);
  EXPECT_EQ(request.timeoutSeconds, 0) << "no limit";
}

TEST(RunAxe, InheritedFrameworkPathFollows) {
  BridgeFixture fixture;
  test::makeExecutable(fixture.home.path() + "/bin/Bundled/axe");
  const auto frameworks = fixture.home.path() + "/bin/Bundled/Frameworks";
  for (const auto& [inherited, expected] :
       {std::pair<std::string, std::string>{"/a:/b", frameworks + ":/a:/b"}, {"", frameworks}}) {
    ASSERT_EQ(::setenv("DYLD_FRAMEWORK_PATH", inherited.c_str(), 1), 0);
    fixture.bridge.runAxe({"x"});
    EXPECT_THAT(fixture.runner.requests().back().environment,
                ElementsAre(Pair("DYLD_FRAMEWORK_PATH", expected)));
  }
  ::unsetenv("DYLD_FRAMEWORK_PATH");
}

TEST(RunAxe, AnswersByOutputAndStatus) {
  struct Case {
    int status;
    const char* output;
    const char* errorOutput;
    const char* answer;
  };
  for (const auto& [status, output, errorOutput, answer] :
       {Case{0, "  done\n", "", "done"}, Case{0, "", "warning", "OK"}, Case{0, " \n", "", "OK"},
        Case{1, "out", " err \n", "Error: err"}, Case{1, " out\n", " \n", "Error: out"},
        Case{2, "", "", "Error: "}, Case{0, "caf\xE9", "", "caf\xEF\xBF\xBD"}}) {
    BridgeFixture fixture([&, s = status, o = output, e = errorOutput](const std::string&) {
      ProcessOutcome outcome;
      outcome.exitStatus = s;
      outcome.output = o;
      outcome.errorOutput = e;
      return outcome;
    });
    EXPECT_EQ(fixture.bridge.runAxe({"tap"}), answer);
  }
}

TEST(RunAxe, AMissingAxeIsAStartFailureAndNotSearchedForOnPath) {
  BridgeFixture fixture;
  SimulatorBridge bridge(ProcessRunner::system());
  test::makeExecutable(fixture.home.path() + "/path/axe", "#!/bin/sh\necho found on PATH\n");
  const auto path = environmentVariable("PATH").value_or("");
  ASSERT_EQ(::setenv("PATH", (fixture.home.path() + "/path:" + path).c_str(), 1), 0);
  EXPECT_EQ(bridge.runAxe({"tap"}), "Error: No such file or directory");
  ASSERT_EQ(::setenv("PATH", path.c_str(), 1), 0);
}

TEST(ResolveUDID, TheDefaultComesFirst) {
  BridgeFixture fixture;
  fixture.setDefault("simulatorId", "U1");
  EXPECT_EQ(fixture.bridge.resolveUDID(), "U1");
  EXPECT_TRUE(fixture.runner.requests().empty());
}

TEST(ResolveUDID, ElseTheBootedOne) {
  BridgeFixture fixture(
      [](const std::string&) { return RecordingRunner::succeeded(R"({"devices":{"iOS":[{"udid":"B"}]}})"); });
  EXPECT_EQ(fixture.bridge.resolveUDID(), "B");
  EXPECT_THAT(fixture.runner.commandLines(), ElementsAre("xcrun simctl list devices booted -j"));
  EXPECT_EQ(fixture.runner.requests()[0].timeoutSeconds, 30);
}

TEST(ResolveUDID, NothingBootedIsAbsent) {
  BridgeFixture none([](const std::string&) { return RecordingRunner::succeeded(R"({"devices":{}})"); });
  EXPECT_EQ(none.bridge.resolveUDID(), std::nullopt);
  BridgeFixture silent;
  EXPECT_EQ(silent.bridge.resolveUDID(), std::nullopt);
}

}  // namespace
}  // namespace wyvlet
