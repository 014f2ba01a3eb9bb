#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>

#include "Devices/SimulatorBridge.h"
#include "Tools/RebuildApp.h"
#include "Unit/Android/RecordingRunner.h"

namespace wyvlet {
namespace {

using test::RecordingRunner;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kProbe = "/tmp/WyvletProbe.dylib";
constexpr const char* kApp = "/tmp/wyvlet_build/Build/Products/Debug-iphonesimulator/My App.app";
constexpr const char* kFind = "find /tmp/wyvlet_build -name '*.app' -path '*/Build/Products/*' | head -1";

/// A bridge whose tools answer as told.
class RebuildApp : public ::testing::Test {
 protected:
  RebuildApp() { std::filesystem::remove(kProbe); }

  std::string rebuild(const boost::json::object& args = {}) { return rebuildApp(args, sim); }

  ProcessOutcome build = RecordingRunner::succeeded("** BUILD SUCCEEDED **\n");
  ProcessOutcome find = RecordingRunner::succeeded(std::string(kApp) + "\n");
  RecordingRunner runner{[this](const std::string& line) {
    if (line.starts_with("xcodebuild")) return build;
    if (line.starts_with("find")) return find;
    return RecordingRunner::succeeded("said");
  }};
  SimulatorBridge sim{runner};
};

TEST_F(RebuildApp, WithoutASchemeNothingRuns) {
  const std::string refusal =
      "Error: scheme is required. Set it with session_set_defaults or pass it as an argument.";
  EXPECT_EQ(rebuild(), refusal);
  EXPECT_EQ(rebuild({{"scheme", ""}}), refusal);
  EXPECT_EQ(rebuild({{"scheme", 5}}), refusal);
  EXPECT_THAT(runner.requests(), IsEmpty());
}

TEST_F(RebuildApp, StopsBuildsInstallsAndRelaunches) {
  sim.setDefaults({{"simulatorId", "U1"}, {"bundleId", "com.example.app"}});
  EXPECT_EQ(rebuild({{"scheme", "App"}, {"project_path", "/src/My App.xcodeproj"}}),
            std::string("Rebuilding...\nStopped com.example.app\nBuild succeeded\nInstalled: ") + kApp +
                "\nRelaunched com.example.app");
  EXPECT_THAT(
      runner.commandLines(),
      ElementsAre("xcrun simctl terminate U1 com.example.app 2>&1",
                  "xcodebuild -project '/src/My App.xcodeproj' -scheme App -destination 'platform=iOS "
                  "Simulator,id=U1' -derivedDataPath /tmp/wyvlet_build build 2>&1 | tail -5",
                  kFind, "xcrun simctl install U1 '" + std::string(kApp) + "' 2>&1",
                  "xcrun simctl launch U1 com.example.app 2>&1"));
  std::vector<double> limits;
  for (const auto& request : runner.requests()) limits.push_back(request.timeoutSeconds);
  EXPECT_THAT(limits, ElementsAre(30, 120, 30, 30, 30));
}

TEST_F(RebuildApp, TheProbeOfTheLastLaunchIsLoadedAgain) {
  std::ofstream(kProbe) << "probe";
  sim.setDefaults({{"bundleId", "com.example.app"}});
  rebuild({{"scheme", "App"}});
  std::filesystem::remove(kProbe);
  EXPECT_EQ(runner.commandLines().back(),
            "SIMCTL_CHILD_DYLD_INSERT_LIBRARIES=/tmp/WyvletProbe.dylib xcrun simctl launch booted "
            "com.example.app 2>&1");
}

TEST_F(RebuildApp, WithoutABundleIdentifierItOnlyBuildsAndInstalls) {
  sim.setDefaults({{"scheme", "App"}});
  EXPECT_EQ(rebuild(), std::string("Rebuilding...\nBuild succeeded\nInstalled: ") + kApp);
  EXPECT_THAT(runner.commandLines(),
              ElementsAre("xcodebuild -scheme App -destination 'platform=iOS Simulator,id=booted' "
                          "-derivedDataPath /tmp/wyvlet_build build 2>&1 | tail -5",
                          kFind, "xcrun simctl install booted '" + std::string(kApp) + "' 2>&1"));
}

TEST_F(RebuildApp, DefaultsStandInForArguments) {
  sim.setDefaults(
      {{"scheme", "Default"}, {"projectPath", "/p.xcworkspace"}, {"workspacePath", "/w.xcworkspace"}});
  rebuild();
  EXPECT_TRUE(
      runner.commandLines()[0].starts_with("xcodebuild -workspace '/p.xcworkspace' -scheme Default -"));
  rebuild({{"scheme", "Own"}, {"project_path", "/own.xcodeproj"}});
  EXPECT_TRUE(runner.commandLines()[3].starts_with("xcodebuild -project '/own.xcodeproj' -scheme Own -"));
}

TEST_F(RebuildApp, AWorkspaceAloneIsBuilt) {
  sim.setDefaults({{"scheme", "App"}, {"workspacePath", "/w.xcworkspace"}});
  rebuild();
  EXPECT_TRUE(runner.commandLines()[0].starts_with("xcodebuild -workspace '/w.xcworkspace' -scheme App -"));
}

TEST_F(RebuildApp, HostileValuesAreQuoted) {
  sim.setDefaults({{"simulatorId", "U'1;x"}, {"bundleId", "a;touch x"}});
  find = RecordingRunner::succeeded("/tmp/wyvlet_build/it's.app");
  rebuild({{"scheme", "$(id)"}, {"project_path", "/it's;.xcodeproj"}});
  EXPECT_THAT(runner.commandLines(),
              ElementsAre(R"(xcrun simctl terminate 'U'\''1;x' 'a;touch x' 2>&1)",
                          R"(xcodebuild -project '/it'\''s;.xcodeproj' -scheme '$(id)' -destination )"
                          R"('platform=iOS Simulator,id=U'\''1;x' -derivedDataPath /tmp/wyvlet_build build )"
                          R"(2>&1 | tail -5)",
                          kFind, R"(xcrun simctl install 'U'\''1;x' '/tmp/wyvlet_build/it'\''s.app' 2>&1)",
                          R"(xcrun simctl launch 'U'\''1;x' 'a;touch x' 2>&1)"));
}

TEST_F(RebuildApp, AFailedBuildIsTheWholeAnswer) {
  sim.setDefaults({{"scheme", "App"}, {"bundleId", "com.example.app"}});
  build = RecordingRunner::failed(65, "error: no such module\n** BUILD FAILED **\n");
  EXPECT_EQ(rebuild(), "Build failed:\nerror: no such module\n** BUILD FAILED **");
  EXPECT_EQ(runner.requests().size(), 2u);
}

TEST_F(RebuildApp, SucceededGoesBeforeFailed) {
  build = RecordingRunner::succeeded("BUILD FAILED once\n** BUILD SUCCEEDED **");
  EXPECT_EQ(rebuild({{"scheme", "App"}}), std::string("Rebuilding...\nBuild succeeded\nInstalled: ") + kApp);
}

TEST_F(RebuildApp, ABuildOutOfTimeIsTheTimeoutText) {
  build.output = "half of the";
  build.timedOut = true;
  EXPECT_EQ(rebuild({{"scheme", "App"}}), "Build failed (timeout after 120 seconds)");
  EXPECT_EQ(runner.requests().size(), 1u);
}

TEST_F(RebuildApp, ASilentBuildIsNoTimeout) {
  build = RecordingRunner::succeeded("");
  EXPECT_EQ(rebuild({{"scheme", "App"}}), std::string("Rebuilding...\nBuild output: \nInstalled: ") + kApp);
}

TEST_F(RebuildApp, OtherOutputIsShownAndTheToolGoesOn) {
  build = RecordingRunner::failed(127, "zsh:1: command not found: xcodebuild\n");
  find = RecordingRunner::succeeded("find: '/tmp/wyvlet_build': No such file or directory\n");
  EXPECT_EQ(rebuild({{"scheme", "App"}}),
            "Rebuilding...\nBuild output: zsh:1: command not found: xcodebuild\n"
            "Error: Could not find built .app");
}

TEST_F(RebuildApp, WithoutAProductItStops) {
  find = RecordingRunner::succeeded("");
  EXPECT_EQ(rebuild({{"scheme", "App"}}), "Rebuilding...\nBuild succeeded\nError: Could not find built .app");
}

TEST_F(RebuildApp, ComplaintsOfFindAreNoProduct) {
  find =
      RecordingRunner::succeeded("find: '/tmp/wyvlet_build/x.app': Permission denied\n" + std::string(kApp));
  EXPECT_EQ(rebuild({{"scheme", "App"}}), std::string("Rebuilding...\nBuild succeeded\nInstalled: ") + kApp);
}

TEST_F(RebuildApp, ABuildWithoutReadableOutputIsTheTimeoutText) {
  build = RecordingRunner::succeeded("caf\xE9");
  EXPECT_EQ(rebuild({{"scheme", "App"}}), "Build failed (timeout after 120 seconds)");
  build = {};
  build.startFailure = "No such file or directory";
  EXPECT_EQ(rebuild({{"scheme", "App"}}), "Build failed (timeout after 120 seconds)");
  EXPECT_EQ(runner.requests().size(), 2u);
}

}  // namespace
}  // namespace wyvlet
