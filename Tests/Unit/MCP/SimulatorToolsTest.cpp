#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>

#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "MCP/MCPServer.h"
#include "MCP/SimulatorTools.h"
#include "Support/Environment.h"
#include "Unit/Android/RecordingRunner.h"
#include "Unit/Android/TemporaryHome.h"

namespace wyvlet {
namespace {

using test::RecordingRunner;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

std::string typeName(ArgumentType type) {
  return type == ArgumentType::String ? "string" : type == ArgumentType::Number ? "number" : "boolean";
}

TEST(SimulatorToolDefinitions, AreTheCatalogue) {
  std::string text;
  for (const auto& tool : simulatorToolDefinitions()) {
    text.append(tool.name).append(": ").append(tool.description).append("\n");
    for (const auto& argument : tool.arguments) {
      text.append("  ").append(argument.name).append(" ").append(typeName(argument.type));
      text.append(": ").append(argument.description).append("\n");
    }
  }
  EXPECT_EQ(text, R"(session_set_defaults: Set simulator and app defaults for this session
  simulatorId string: Simulator UDID (iOS)
  bundleId string: App bundle identifier
  scheme string: Xcode scheme name
  connectMode string: 'bonjour' (default) or 'usb' (direct TCP on port 54321 for real device via USB tunnel)
  androidSerial string: Android emulator serial (e.g. emulator-5554). When set, routes screenshot/tap/swipe through ADB.
session_show_defaults: Show current session defaults
tap: Tap on screen by coordinates or accessibility label
  x number: X coordinate
  y number: Y coordinate
  label string: Tap element by accessibility label (alternative to x,y)
  postDelay number: Delay after tap in seconds
swipe: Swipe gesture from one point to another
  x1 number: Start X
  y1 number: Start Y
  x2 number: End X
  y2 number: End Y
  duration number: Swipe duration in seconds
type_text: Type text into the focused field
  text string: Text to type
touch: Precise touch down/up events for toggles and long press
  x number: X coordinate
  y number: Y coordinate
  down boolean: Perform touch down
  up boolean: Perform touch up
  delay number: Delay between down and up (for long press)
screenshot: Take a simulator screenshot
launch_app_sim: Launch an app on the simulator. Set inject_probe=true for apps WITHOUT Wyvlet SDK to enable network logs and UI inspection.
  bundleId string: Bundle identifier (uses default if not set)
  simulatorId string: Simulator UDID (uses default if not set)
  inject_probe boolean: Inject WyvletProbe for deep inspection (network, UI, logs) without SDK integration
stop_app_sim: Stop a running app
  bundleId string: Bundle identifier
list_sims: List available simulators
boot_sim: Boot a simulator
  simulatorId string: Simulator UDID to boot
open_sim: Open the Simulator.app window
snapshot_ui: Get accessibility tree of the simulator screen
button: Press a hardware button (home, lock, siri)
  buttonType string: Button: home, lock, siri, side-button, apple-pay
  duration number: Hold duration in seconds
)");
}

TEST(FirstElementCenter, IsThatOfTheFirstResult) {
  EXPECT_EQ(firstElementCenter("Screen: Home\nFound 2 match(es) for \"pay\":\n"
                               "  Button \"Pay\" at (20,30) 200x28 center=(120,44) [BUTTON]\n"
                               "  Label \"Pay later\" at (0,0) 10x10 center=(5,5)"),
            (ScreenPoint{120, 44}));
  EXPECT_EQ(firstElementCenter("Screen: Home\nFound 1 match(es) for \"x\":\n"
                               "  Label \"x\" at (-20,-30) 10x10 center=(-15,-25)"),
            (ScreenPoint{-15, -25}));
}

TEST(FirstElementCenter, AnswersWithoutElementsHaveNone) {
  for (const char* answer :
       {"", "Wyvlet not connected", "Find element timed out", "No results", "Find decode failed",
        "Screen: Home\nNo elements found matching \"x\"",
        "Screen: Home\nNo elements found matching \"y\" at (1,2) 3x4 center=(5,6)\"",
        "Screen: a\" at (1,2) 3x4 center=(5,6)\nNo elements found matching \"x\"",
        "Screen: Home\nFound 1 match(es) for \"x\":\n  Label \"x\" at (1,2) 3x4 center=(5,6",
        "Screen: Home\nFound 1 match(es) for \"x\":\n  Label \"x\" at (1,2) 3x4 center=(5,)",
        "Screen: Home\nFound 1 match(es) for \"x\":\n  Label \"x\" at (1,2) 3x4 "
        "center=(99999999999999999999,1)"}) {
    EXPECT_EQ(firstElementCenter(answer), std::nullopt) << answer;
  }
}

TEST(FirstElementCenter, LabelsCannotMisleadIt) {
  EXPECT_EQ(firstElementCenter("Screen: Home\nFound 1 match(es) for \"x center=(1,1)\":\n"
                               "  Label \"x center=(1,1)\" at (0,0) 9x9 center=(4,4)"),
            (ScreenPoint{4, 4}));
  EXPECT_EQ(
      firstElementCenter("Screen: Home\nFound 1 match(es) for \"x\":\n"
                         "  Label \"x\" at (1,1) 2x2 center=(2,2) [BUTTON]\" at (0,0) 9x9 center=(4,4)"),
      (ScreenPoint{4, 4}));
  EXPECT_EQ(firstElementCenter("Screen: Home\nFound 1 match(es) for \"x\":\n"
                               "  Label \"x center=(1,1)\nsecond line\" at (0,0) 9x9 center=(4,4)"),
            (ScreenPoint{4, 4}));
}

/// The tools over recorded commands, with AXe in place when asked for and no app.
class SimulatorTools : public ::testing::Test {
 protected:
  explicit SimulatorTools(bool withAxe = true) {
    setProgramPath((home_.path() + "/bin/server").c_str());
    std::filesystem::create_directories(home_.path() + "/bin/Bundled");
    if (withAxe) installAxe();
  }

  void installAxe() {
    const auto axe = home_.path() + "/bin/Bundled/axe";
    std::ofstream(axe) << "#!/bin/sh\n";
    std::filesystem::permissions(axe, std::filesystem::perms::owner_all);
  }

  std::string call(std::string_view tool, boost::json::object args = {}) {
    return server.callTool(tool, args).text;
  }

  /// What AXe was called with last.
  std::vector<std::string> axeArguments() const {
    auto arguments = runner.requests().back().arguments;
    EXPECT_THAT(arguments[0], EndsWith("/bin/Bundled/axe"));
    arguments.erase(arguments.begin());
    return arguments;
  }

  std::string adb(const std::string& operation) const {
    return "'" + home_.path() + "/Library/Android/sdk/platform-tools/adb' -s emulator-5554" + operation;
  }

 private:
  test::TemporaryHome home_;

 protected:
  RecordingRunner runner{[this](const std::string&) { return outcome; }};
  ProcessOutcome outcome = RecordingRunner::succeeded("");
  SimulatorBridge sim{runner};
  WyvletClient client{WyvletClient::Options{.markerPath = home_.path() + "/marker"}};
  MCPServer server{client, sim};
};

class SimulatorToolsWithoutAxe : public SimulatorTools {
 protected:
  SimulatorToolsWithoutAxe() : SimulatorTools(false) {}
};

constexpr const char* kNoAxe = "Simulator tools not available — AXe binary not found";

TEST_F(SimulatorTools, SessionDefaults) {
  EXPECT_EQ(call("session_show_defaults"), "Session defaults:\n  (none set)");
  EXPECT_EQ(call("session_set_defaults", {{"bundleId", "com.example.app"}, {"connectMode", "bonjour"}}),
            R"(Defaults updated: ["bundleId": "com.example.app"])");
  EXPECT_EQ(call("session_show_defaults"), "Session defaults:\n  bundleId: com.example.app");
}

TEST_F(SimulatorTools, UnknownNames) {
  EXPECT_EQ(call("fly"), "Unknown tool: fly");
  EXPECT_EQ(call(""), "Unknown tool: ");
  EXPECT_EQ(call("Tap", {{"x", 1}, {"y", 2}}), "Unknown tool: Tap");
}

TEST_F(SimulatorTools, CoordinatesMayBeAnyNumbers) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  EXPECT_EQ(call("tap", {{"x", 10}, {"y", 20.0}, {"postDelay", 1}}), "OK");
  EXPECT_THAT(axeArguments(),
              ElementsAre("tap", "--udid", "U1", "-x", "10", "-y", "20", "--post-delay", "1.0"));
  call("tap", {{"x", 10.9}, {"y", -20.9}, {"label", "Pay"}});
  EXPECT_THAT(axeArguments(), ElementsAre("tap", "--udid", "U1", "-x", "10", "-y", "-20"));
  call("tap", {{"x", 1e300}, {"y", 18446744073709551615u}});
  EXPECT_THAT(axeArguments(),
              ElementsAre("tap", "--udid", "U1", "-x", "9223372036854775807", "-y", "9223372036854775807"));
}

TEST_F(SimulatorTools, TapWithoutATargetTapsNothing) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  for (const boost::json::object& args : std::vector<boost::json::object>{{},
                                                                          {{"x", 1}},
                                                                          {{"x", "1"}, {"y", "2"}},
                                                                          {{"label", ""}},
                                                                          {{"label", "Pay"}},
                                                                          {{"x", true}, {"y", 2}}}) {
    EXPECT_EQ(call("tap", args), "No tap target — provide x,y coordinates or label")
        << boost::json::serialize(args);
  }
  EXPECT_THAT(runner.requests(), IsEmpty());
}

TEST_F(SimulatorTools, Swipe) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  call("swipe", {{"x1", 1}, {"y1", 2.5}, {"x2", 3}, {"y2", 4}, {"duration", 0.5}});
  EXPECT_THAT(axeArguments(), ElementsAre("swipe", "--udid", "U1", "--start-x", "1", "--start-y", "2",
                                          "--end-x", "3", "--end-y", "4", "--duration", "0.5"));
  EXPECT_EQ(call("swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}}),
            "Error: swipe requires x1,y1,x2,y2 coordinates");
}

TEST_F(SimulatorTools, Touch) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  call("touch", {{"x", 1}, {"y", 2}, {"down", true}, {"up", true}, {"delay", 1.25}});
  EXPECT_THAT(axeArguments(),
              ElementsAre("touch", "-x", "1", "-y", "2", "--udid", "U1", "--down", "--delay", "1.2", "--up"));
  call("touch", {{"x", 1}, {"y", 2}, {"down", false}, {"up", true}});
  EXPECT_THAT(axeArguments(), ElementsAre("touch", "-x", "1", "-y", "2", "--udid", "U1", "--up"));
  call("touch", {{"x", 1}, {"y", 2}, {"down", 1}, {"up", "true"}});
  EXPECT_THAT(axeArguments(), ElementsAre("touch", "-x", "1", "-y", "2", "--udid", "U1"));
  EXPECT_EQ(call("touch", {{"x", 1}}), "Error: touch requires x,y coordinates");
}

TEST_F(SimulatorTools, TypeTextWithoutTheAppGoesThroughAxe) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  EXPECT_EQ(call("type_text", {{"text", "it's $HOME"}}), "OK");
  EXPECT_THAT(axeArguments(), ElementsAre("type", "it's $HOME", "--udid", "U1"));
}

TEST_F(SimulatorTools, TypeTextThatCannotBeDelivered) {
  EXPECT_EQ(call("type_text", {{"text", "a"}}), "Type not available — Wyvlet SDK not connected");
}

TEST_F(SimulatorTools, ButtonDefaultsToHome) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  call("button");
  EXPECT_THAT(axeArguments(), ElementsAre("button", "home", "--udid", "U1"));
  call("button", {{"buttonType", "siri"}, {"duration", 2}});
  EXPECT_THAT(axeArguments(), ElementsAre("button", "siri", "--udid", "U1", "--duration", "2.0"));
}

TEST_F(SimulatorTools, SnapshotUI) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  outcome = RecordingRunner::succeeded("[{}]\n");
  EXPECT_EQ(call("snapshot_ui"), "[{}]");
  EXPECT_THAT(axeArguments(), ElementsAre("describe-ui", "--udid", "U1"));
}

TEST_F(SimulatorTools, WithoutASimulatorTheToolsSaySo) {
  for (const char* tool : {"tap", "swipe", "touch", "snapshot_ui", "button", "stop_app_sim", "screenshot"}) {
    EXPECT_EQ(call(tool, {{"x", 1}, {"y", 2}, {"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}}),
              "Error: no simulator configured")
        << tool;
  }
}

TEST_F(SimulatorTools, SimulatorCommands) {
  outcome = RecordingRunner::succeeded("{}\n");
  EXPECT_EQ(call("list_sims"), "{}");
  EXPECT_EQ(call("boot_sim"), "{}");
  EXPECT_EQ(call("boot_sim", {{"simulatorId", "U2"}}), "{}");
  EXPECT_EQ(call("open_sim"), "Simulator.app opened");
  EXPECT_THAT(runner.commandLines(),
              ElementsAre("xcrun simctl list devices available -j", "xcrun simctl boot booted 2>&1",
                          "xcrun simctl boot U2 2>&1", "open -a Simulator"));
  for (const auto& request : runner.requests()) EXPECT_EQ(request.timeoutSeconds, 30);
}

TEST_F(SimulatorTools, StopAppFindsItsSimulatorFirst) {
  outcome = RecordingRunner::succeeded(R"({"devices":{"iOS":[{"udid":"B"}]}})");
  EXPECT_EQ(call("stop_app_sim"), "Error: no bundleId");
  call("stop_app_sim", {{"bundleId", "com.example.app"}});
  call("session_set_defaults", {{"simulatorId", "U1"}, {"bundleId", "com.example.other"}});
  call("stop_app_sim");
  EXPECT_THAT(runner.commandLines(),
              ElementsAre("xcrun simctl list devices booted -j", "xcrun simctl list devices booted -j",
                          "xcrun simctl terminate B com.example.app 2>&1",
                          "xcrun simctl terminate U1 com.example.other 2>&1"));
}

TEST_F(SimulatorTools, LaunchWithoutABundleIdentifierAnswersAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(call("launch_app_sim", {{"bundleId", ""}}),
            "Error: no bundleId set. Call session_set_defaults first.");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_THAT(runner.requests(), IsEmpty());
}

TEST_F(SimulatorToolsWithoutAxe, OnlyWhatWouldHaveToRunAxeMissesIt) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  EXPECT_EQ(call("tap", {{"x", 1}, {"y", 2}}), kNoAxe);
  EXPECT_EQ(call("swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}}), kNoAxe);
  EXPECT_EQ(call("touch", {{"x", 1}, {"y", 2}}), kNoAxe);
  EXPECT_EQ(call("type_text", {{"text", "a"}}), kNoAxe);
  EXPECT_EQ(call("snapshot_ui"), kNoAxe);
  EXPECT_EQ(call("button"), kNoAxe);
  EXPECT_THAT(runner.requests(), IsEmpty());

  EXPECT_EQ(call("tap"), "No tap target — provide x,y coordinates or label");
  EXPECT_EQ(call("list_sims"), "");
  EXPECT_EQ(call("boot_sim"), "");
  EXPECT_EQ(call("open_sim"), "Simulator.app opened");
  EXPECT_EQ(call("screenshot"), "Screenshot failed");
  EXPECT_EQ(call("stop_app_sim", {{"bundleId", "com.example.app"}}), "");
  EXPECT_EQ(call("session_show_defaults"), "Session defaults:\n  simulatorId: U1");
}

TEST_F(SimulatorToolsWithoutAxe, AxeInstalledLaterIsUsed) {
  call("session_set_defaults", {{"simulatorId", "U1"}});
  EXPECT_EQ(call("button"), kNoAxe);
  installAxe();
  EXPECT_EQ(call("button"), "OK");
  EXPECT_THAT(axeArguments(), ElementsAre("button", "home", "--udid", "U1"));
}

TEST_F(SimulatorToolsWithoutAxe, ASerialSendsEverythingToTheDevice) {
  call("session_set_defaults", {{"androidSerial", "emulator-5554"}, {"simulatorId", "U1"}});
  EXPECT_EQ(call("tap", {{"x", 1.9}, {"y", 2}, {"label", "Pay"}, {"postDelay", 1}}), "Tapped (1, 2)");
  EXPECT_EQ(call("swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}}), "Swiped (1, 2) to (3, 4)");
  EXPECT_EQ(call("type_text", {{"text", "a b"}}), "Typed: a b");
  EXPECT_EQ(call("touch", {{"x", 1}, {"y", 2}, {"down", true}}), "Tapped (1, 2)");
  EXPECT_EQ(call("touch", {{"x", 1}, {"y", 2}, {"delay", 1.5}}), "Swiped (1, 2) to (1, 2)");
  EXPECT_EQ(call("button"), "Pressed: home");
  EXPECT_EQ(call("button", {{"buttonType", "camera"}}), "Pressed: camera");
  EXPECT_THAT(runner.commandLines(),
              ElementsAre(adb(" shell input tap 1 2 2>&1"), adb(" shell input swipe 1 2 3 4 300 2>&1"),
                          adb(" shell input text 'a%sb' 2>&1"), adb(" shell input tap 1 2 2>&1"),
                          adb(" shell input swipe 1 2 1 2 1500 2>&1"), adb(" shell input keyevent 3 2>&1"),
                          adb(" shell input keyevent KEYCODE_CAMERA 2>&1")));
  EXPECT_EQ(call("screenshot"), "Android screenshot failed");
}

TEST_F(SimulatorToolsWithoutAxe, AndroidHasNoLabels) {
  call("session_set_defaults", {{"androidSerial", "emulator-5554"}});
  const std::string refusal = "Error: Android tap requires x,y coordinates";
  EXPECT_EQ(call("tap", {{"label", "Pay"}}), refusal);
  EXPECT_EQ(call("tap"), refusal);
  EXPECT_EQ(call("touch", {{"delay", 1}}), refusal);
  EXPECT_THAT(runner.requests(), IsEmpty());
}

}  // namespace
}  // namespace wyvlet
