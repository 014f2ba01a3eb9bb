// The session, simulator and rebuild tools of the real server, with stand-ins for every external tool.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "EndToEnd/Harness.h"
#include "Peers/StandIns.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Clock = std::chrono::steady_clock;

constexpr const char* kProbe = "/tmp/WyvletProbe.dylib";
constexpr const char* kNoAxe = "Simulator tools not available — AXe binary not found";

void makeFile(const std::string& path, std::string_view content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

/// A machine with stand-ins for all tools but AXe, which `installAxe` adds; the server starts at the
/// first use.
class Devices : public ::testing::Test {
 protected:
  Devices() {
    fs::remove_all(homeDirectoryOfTest());
    fs::remove(kProbe);
    for (const char* tool : {"xcrun", "xcodebuild", "open"}) tools.install(tool);
    tools.installAt(homeDirectoryOfTest() + "/Library/Android/sdk/platform-tools/adb");
  }
  ~Devices() override {
    server_.reset();
    fs::remove_all(homeDirectoryOfTest());
    fs::remove(kProbe);
  }

  void installAxe() { tools.installAt(axe); }

  Server& server() {
    if (!server_) {
      server_ = std::make_unique<Server>(
          Process::Options{.environment = environment, .pathPrefix = tools.binFolder()});
    }
    return *server_;
  }

  std::string call(std::string_view tool, boost::json::object args = {}) {
    return server().call(tool, std::move(args));
  }

  void setDefaults(boost::json::object args) { call("session_set_defaults", std::move(args)); }

  using Arguments = std::vector<std::string>;

  /// The arguments of every call of a tool so far.
  std::vector<Arguments> argumentsOf(std::string_view tool) const {
    std::vector<Arguments> result;
    for (const auto& made : tools.calls(tool)) result.push_back(made.arguments);
    return result;
  }

  const std::string axe = homeDirectoryOfTest() + "/Documents/kestrow/WyvletMCP/Bundled/axe";
  StandIns tools;
  std::map<std::string, std::string> environment;

 private:
  std::unique_ptr<Server> server_;
};

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST_F(Devices, EveryAxeCommandIsExact) {
  installAxe();
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("tap", {{"x", 10}, {"y", 20.7}, {"postDelay", 1}}), "OK");
  EXPECT_EQ(call("swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}, {"duration", 0.5}}), "OK");
  EXPECT_EQ(call("type_text", {{"text", "a;touch x $(id) 'q' \n—"}}), "OK");
  EXPECT_EQ(call("touch", {{"x", 5}, {"y", 6}, {"down", true}, {"up", true}, {"delay", 2}}), "OK");
  EXPECT_EQ(call("snapshot_ui"), "OK");
  EXPECT_EQ(call("button", {{"buttonType", "lock"}, {"duration", 3}}), "OK");
  EXPECT_THAT(argumentsOf("axe"),
              ElementsAre(Arguments{"tap", "--udid", "U1", "-x", "10", "-y", "20", "--post-delay", "1.0"},
                          Arguments{"swipe", "--udid", "U1", "--start-x", "1", "--start-y", "2", "--end-x",
                                    "3", "--end-y", "4", "--duration", "0.5"},
                          Arguments{"type", "a;touch x $(id) 'q' \n—", "--udid", "U1"},
                          Arguments{"touch", "-x", "5", "-y", "6", "--udid", "U1", "--down", "--delay", "2.0",
                                    "--up"},
                          Arguments{"describe-ui", "--udid", "U1"},
                          Arguments{"button", "lock", "--udid", "U1", "--duration", "3.0"}));
}

TEST_F(Devices, AxeGetsItsFrameworksTheInheritedEnvironmentAndNoInput) {
  environment = {{"DYLD_FRAMEWORK_PATH", "/inherited"}, {"WYVLET_TEST_MARK", "kept"}};
  installAxe();
  setDefaults({{"simulatorId", "U1"}});
  call("button");
  const auto calls = tools.calls("axe");
  ASSERT_THAT(calls, SizeIs(1));
  EXPECT_EQ(calls[0].environment.at("DYLD_FRAMEWORK_PATH"),
            fs::path(axe).parent_path().string() + "/Frameworks:/inherited");
  EXPECT_EQ(calls[0].environment.at("WYVLET_TEST_MARK"), "kept");
  EXPECT_EQ(calls[0].input, "");
}

TEST_F(Devices, AxesFailuresAreShown) {
  installAxe();
  tools.tell("axe", {{{"when", "button"}, {"error", "no such button\n"}, {"status", 1}},
                     {{"when", "tap"}, {"output", "only output\n"}, {"status", 2}},
                     {{"output", "  a tree \n"}}});
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("button", {{"buttonType", "x"}}), "Error: no such button");
  EXPECT_EQ(call("tap", {{"x", 1}, {"y", 2}}), "Error: only output");
  EXPECT_EQ(call("snapshot_ui"), "a tree");
}

TEST_F(Devices, WithoutASimulatorIdTheBootedOneIsUsed) {
  installAxe();
  tools.tell("xcrun", {{{"when", "list devices booted"},
                        {"output", R"({"devices":{"iOS":[{"udid":"BOOTED-1","state":"Booted"}]}})"},
                        {"error", "warning: {beta}\n"}}});
  call("button");
  EXPECT_THAT(argumentsOf("axe"), ElementsAre(Arguments{"button", "home", "--udid", "BOOTED-1"}));
  EXPECT_THAT(argumentsOf("xcrun"), ElementsAre(Arguments{"simctl", "list", "devices", "booted", "-j"}));
}

TEST_F(Devices, WithoutAnySimulatorTheToolsSaySo) {
  installAxe();
  tools.tell("xcrun", {{{"output", R"({"devices":{}})"}}});
  EXPECT_EQ(call("button"), "Error: no simulator configured");
  EXPECT_EQ(call("stop_app_sim", {{"bundleId", "a"}}), "Error: no simulator configured");
  EXPECT_EQ(call("screenshot"), "Error: no simulator configured");
  EXPECT_THAT(argumentsOf("axe"), IsEmpty());
}

TEST_F(Devices, ToolsAppearWhenAxeIsInstalledWhileTheServerRuns) {
  const auto toolCount = [&] {
    return server().request("tools/list").at("result").at("tools").as_array().size();
  };
  EXPECT_TRUE(
      server().waitForLog("[sim-bridge] WARNING: AXe not found — simulator tools will be unavailable"));
  EXPECT_EQ(toolCount(), 36u);
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("button"), kNoAxe);
  installAxe();
  EXPECT_EQ(toolCount(), 50u);
  EXPECT_EQ(call("button"), "OK");
  EXPECT_TRUE(server().waitForLog("[sim-bridge] AXe found at: " + axe));
}

TEST_F(Devices, SimulatorCommandLines) {
  tools.tell("xcrun", {{{"when", "available"}, {"output", "{\"devices\" : {}}\n"}},
                       {{"when", "boot U2"}, {"error", "already booted\n"}, {"status", 149}}});
  EXPECT_EQ(call("list_sims"), "{\"devices\" : {}}");
  EXPECT_EQ(call("boot_sim", {{"simulatorId", "U2"}}), "already booted");
  EXPECT_EQ(call("open_sim"), "Simulator.app opened");
  EXPECT_EQ(call("stop_app_sim", {{"bundleId", "x"}}), "Error: no simulator configured");
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("stop_app_sim", {{"bundleId", "a;touch x"}}), "");
  EXPECT_THAT(argumentsOf("xcrun"), ElementsAre(Arguments{"simctl", "list", "devices", "available", "-j"},
                                                Arguments{"simctl", "boot", "U2"},
                                                Arguments{"simctl", "list", "devices", "booted", "-j"},
                                                Arguments{"simctl", "terminate", "U1", "a;touch x"}));
  EXPECT_THAT(argumentsOf("open"), ElementsAre(Arguments{"-a", "Simulator"}));
}

TEST_F(Devices, SimulatorScreenshotIsAnImage) {
  tools.tell("xcrun", {{{"when", " screenshot "}, {"file", "picture"}}});
  setDefaults({{"simulatorId", "U1"}});
  const auto content = server().callTool("screenshot").at("content").as_array();
  ASSERT_EQ(content.size(), 2u);
  EXPECT_EQ(content[0], (boost::json::value{{"type", "text"}, {"text", "Screenshot captured (7 bytes)"}}));
  EXPECT_EQ(content[1],
            (boost::json::value{{"type", "image"}, {"data", "cGljdHVyZQ=="}, {"mimeType", "image/png"}}));
  const auto arguments = argumentsOf("xcrun").at(0);
  ASSERT_THAT(arguments, SizeIs(5));
  EXPECT_FALSE(fs::exists(arguments[4]));

  tools.tell("xcrun", {});
  EXPECT_EQ(
      server().callTool("screenshot"),
      (boost::json::value{{"content", {{{"type", "text"}, {"text", "Screenshot failed"}}}}}).as_object());
}

TEST_F(Devices, AndroidCommandLines) {
  installAxe();
  setDefaults({{"androidSerial", "emulator-5554"}, {"simulatorId", "U1"}});
  tools.tell("adb", {{{"when", "screencap"}, {"output", "picture"}}});
  EXPECT_EQ(call("tap", {{"x", 1}, {"y", 2}}), "Tapped (1, 2)");
  EXPECT_EQ(call("swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}}), "Swiped (1, 2) to (3, 4)");
  EXPECT_EQ(call("type_text", {{"text", "it's a $(id);b"}}), "Typed: it's a $(id);b");
  EXPECT_EQ(call("touch", {{"x", 1}, {"y", 2}, {"delay", 0.8}}), "Swiped (1, 2) to (1, 2)");
  EXPECT_EQ(call("button", {{"buttonType", "back"}}), "Pressed: back");
  const auto content = server().callTool("screenshot").at("content").as_array();
  ASSERT_EQ(content.size(), 2u);
  EXPECT_EQ(content[0].at("text"), "Screenshot captured (7 bytes)");
  EXPECT_EQ(content[1].at("data"), "cGljdHVyZQ==");
  EXPECT_THAT(
      argumentsOf("adb"),
      ElementsAre(Arguments{"-s", "emulator-5554", "shell", "input", "tap", "1", "2"},
                  Arguments{"-s", "emulator-5554", "shell", "input", "swipe", "1", "2", "3", "4", "300"},
                  Arguments{"-s", "emulator-5554", "shell", "input", "text", "it\\'s%sa%s$(id);b"},
                  Arguments{"-s", "emulator-5554", "shell", "input", "swipe", "1", "2", "1", "2", "800"},
                  Arguments{"-s", "emulator-5554", "shell", "input", "keyevent", "4"},
                  Arguments{"-s", "emulator-5554", "exec-out", "screencap", "-p"}));
  EXPECT_THAT(argumentsOf("axe"), IsEmpty());
  EXPECT_THAT(argumentsOf("xcrun"), IsEmpty());
}

TEST_F(Devices, AnAndroidScreenshotThatFailsIsOnlyText) {
  setDefaults({{"androidSerial", "emulator-5554"}});
  const auto failure =
      (boost::json::value{{"content", {{{"type", "text"}, {"text", "Android screenshot failed"}}}}})
          .as_object();
  EXPECT_EQ(server().callTool("screenshot"), failure) << "an empty file";
  tools.tell("adb", {{{"output", "half a pict"}, {"status", 1}}});
  EXPECT_EQ(server().callTool("screenshot"), failure) << "a failing adb";
  fs::remove(homeDirectoryOfTest() + "/Library/Android/sdk/platform-tools/adb");
  EXPECT_EQ(server().callTool("screenshot"), failure) << "no adb";
  EXPECT_EQ(call("tap", {{"x", 1}, {"y", 2}}), "Tapped (1, 2)");
}

TEST_F(Devices, EveryAndroidInputMakesTheNextScreenAFreshOne) {
  setDefaults({{"androidSerial", "emulator-5554"}});
  tools.tell("adb", {{{"when", " cat "}, {"output", "<hierarchy></hierarchy>"}}});
  const std::pair<const char*, boost::json::object> inputs[] = {
      {"tap", {{"x", 1}, {"y", 2}}},
      {"swipe", {{"x1", 1}, {"y1", 2}, {"x2", 3}, {"y2", 4}}},
      {"type_text", {{"text", "a"}}},
      {"touch", {{"x", 1}, {"y", 2}}},
      {"button", {}},
  };
  ScriptedApp app;
  server().connect();  // or every screen would wait for an app first
  for (const auto& [tool, args] : inputs) {
    call(tool, args);
    tools.forgetCalls();
    call("wyvlet_screen_html");
    call("wyvlet_screen_html");
    EXPECT_THAT(argumentsOf("adb"), SizeIs(2)) << tool << ": one dump and one read, for both";
  }
}

/// An app that finds one element for every query.
void answerFind(ScriptedApp& app, const FindResponse& response) {
  app.answerWith("command.findElement", "response.findElement", response);
}

TEST_F(Devices, TapByLabelGoesWhereTheAppFindsIt) {
  installAxe();
  ScriptedApp app;
  answerFind(app, {"Home",
                   "Pay",
                   {{"Pay center=(1,1)", "Button", 20, 30, 200, 28, 120, 44, true},
                    {"Pay later", "Label", 0, 0, 10, 10, 5, 5, false}}});
  server().connect();
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("tap", {{"label", "Pay"}, {"postDelay", 0.5}}), "OK");
  EXPECT_THAT(argumentsOf("axe"),
              ElementsAre(Arguments{"tap", "--udid", "U1", "-x", "120", "-y", "44", "--post-delay", "0.5"}));
  EXPECT_EQ(boost::json::parse(app.waitForCommand("command.findElement").value_or("{}")),
            (boost::json::value{{"text", "Pay"}, {"exact", false}}));
}

TEST_F(Devices, TapByALabelThatIsNowhereTapsNothing) {
  installAxe();
  ScriptedApp app;
  answerFind(app, {"Home", "center=(1,2)", {}});
  server().connect();
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("tap", {{"label", "center=(1,2)"}}), "No tap target — provide x,y coordinates or label");
  EXPECT_THAT(argumentsOf("axe"), IsEmpty());
}

TEST_F(Devices, TextGoesThroughTheAppWithOrWithoutAxe) {
  ScriptedApp app;
  app.answerWith("command.typeText", "response.typeText", InputResult{true, "typed"});
  server().connect();
  setDefaults({{"simulatorId", "U1"}});
  EXPECT_EQ(call("type_text", {{"text", "hello"}}), "OK: typed");
  installAxe();
  EXPECT_EQ(call("type_text", {{"text", "hello"}}), "OK: typed");
  EXPECT_THAT(argumentsOf("axe"), IsEmpty());
  EXPECT_EQ(boost::json::parse(app.waitForCommand("command.typeText").value_or("{}")),
            (boost::json::value{{"text", "hello"}}));

  setDefaults({{"androidSerial", "emulator-5554"}});
  EXPECT_EQ(call("type_text", {{"text", "hello"}}), "Typed: hello") << "a serial wins";
}

TEST_F(Devices, ConnectingByUSBTellsHowItWent) {
  {
    ScriptedApp app;
    EXPECT_EQ(call("session_set_defaults", {{"connectMode", "usb"}, {"bundleId", "com.example.app"}}),
              "Defaults updated: [\"bundleId\": \"com.example.app\"]\nConnected via USB tunnel");
  }
  EXPECT_EQ(call("session_set_defaults", {{"connectMode", "usb"}}),
            "Defaults updated: [\"bundleId\": \"com.example.app\"]\n"
            "USB tunnel connection failed — ensure app is running and iproxy is active");
}

TEST_F(Devices, LaunchInjectsTheProbeAndGivesTheAppTime) {
  tools.installInUsrBin("codesign");
  makeFile(homeDirectoryOfTest() + "/.wyvletqa/bin/WyvletProbe.dylib", "the probe");
  tools.tell("xcrun", {{{"when", "launch"}, {"output", "com.example.app: 4711\n"}}});
  ScriptedApp app;
  server().connect();
  ASSERT_TRUE(app.waitForLink());
  makeFile("/tmp/wyvletprobe_ready", "");

  const auto start = Clock::now();
  EXPECT_EQ(call("launch_app_sim",
                 {{"bundleId", "com.example.app"}, {"simulatorId", "U2"}, {"inject_probe", true}}),
            "com.example.app: 4711");
  EXPECT_GE(secondsSince(start), 2.0);
  EXPECT_LT(secondsSince(start), 30.0) << "two seconds of pause, five for the marker file, eight for the app";
  EXPECT_FALSE(fs::exists("/tmp/wyvletprobe_ready")) << "the link was dropped first";

  EXPECT_THAT(argumentsOf("codesign"), ElementsAre(Arguments{"--force", "--sign", "-", kProbe}));
  const auto launches = tools.calls("xcrun");
  ASSERT_THAT(launches, SizeIs(1));
  EXPECT_THAT(launches[0].arguments, ElementsAre("simctl", "launch", "U2", "com.example.app"));
  EXPECT_EQ(launches[0].environment.at("SIMCTL_CHILD_DYLD_INSERT_LIBRARIES"), kProbe);
  std::ifstream copy(kProbe);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), "the probe");
}

TEST_F(Devices, LaunchWithoutABundleIdentifierAnswersAtOnce) {
  const auto start = Clock::now();
  EXPECT_EQ(call("launch_app_sim"), "Error: no bundleId set. Call session_set_defaults first.");
  EXPECT_LT(secondsSince(start), 10.0) << "no pause, and no waiting for the app";
}

TEST_F(Devices, StopDropsTheLink) {
  ScriptedApp app;
  server().connect();
  setDefaults({{"simulatorId", "U1"}, {"bundleId", "com.example.app"}});
  EXPECT_EQ(call("stop_app_sim"), "");
  EXPECT_THAT(argumentsOf("xcrun"), ElementsAre(Arguments{"simctl", "terminate", "U1", "com.example.app"}));
  EXPECT_EQ(call("type_text", {{"text", "a"}}), kNoAxe) << "no longer connected";
}

TEST_F(Devices, RebuildRunsEveryStep) {
  const std::string app = "/tmp/wyvlet_build/Build/Products/Debug-iphonesimulator/It's My.app";
  fs::create_directories(app);
  makeFile(kProbe, "probe");
  tools.tell("xcodebuild", {{{"output", "1\n2\n3\n4\n5\n6\n** BUILD SUCCEEDED **\n"}}});
  setDefaults({{"simulatorId", "U1"}, {"bundleId", "com.example.app"}});
  EXPECT_EQ(call("wyvlet_rebuild_app", {{"scheme", "a;touch x"}, {"project_path", "/src/it's.xcworkspace"}}),
            "Rebuilding...\nStopped com.example.app\nBuild succeeded\nInstalled: " + app +
                "\nRelaunched com.example.app");
  EXPECT_THAT(argumentsOf("xcodebuild"),
              ElementsAre(Arguments{"-workspace", "/src/it's.xcworkspace", "-scheme", "a;touch x",
                                    "-destination", "platform=iOS Simulator,id=U1", "-derivedDataPath",
                                    "/tmp/wyvlet_build", "build"}));
  EXPECT_THAT(argumentsOf("xcrun"), ElementsAre(Arguments{"simctl", "terminate", "U1", "com.example.app"},
                                                Arguments{"simctl", "install", "U1", app},
                                                Arguments{"simctl", "launch", "U1", "com.example.app"}));
  EXPECT_EQ(tools.calls("xcrun")[2].environment.at("SIMCTL_CHILD_DYLD_INSERT_LIBRARIES"), kProbe);
  fs::remove_all("/tmp/wyvlet_build");
}

TEST_F(Devices, AFailedBuildShowsItsLastFiveLines) {
  tools.tell("xcodebuild",
             {{{"output", "1\n2\n3\n4\n"}, {"error", "5\n6\n** BUILD FAILED **\n"}, {"status", 65}}});
  EXPECT_EQ(call("wyvlet_rebuild_app", {{"scheme", "App"}}), "Build failed:\n3\n4\n5\n6\n** BUILD FAILED **");
}

TEST_F(Devices, ARebuildWithoutAProductSaysSo) {
  EXPECT_EQ(call("wyvlet_rebuild_app", {{"scheme", "App"}}),
            "Rebuilding...\nBuild output: \nError: Could not find built .app");
}

TEST_F(Devices, AFloodArrivesWhole) {
  tools.tell("xcrun", {{{"flood", 3000000}}});
  EXPECT_EQ(call("list_sims"), std::string(6000000, 'x'));
}

TEST_F(Devices, ADaemonLeftBehindHoldsNothingUp) {
  setDefaults({{"androidSerial", "emulator-5554"}});
  tools.tell("adb", {{{"daemon", 600}}});
  const auto start = Clock::now();
  EXPECT_EQ(call("tap", {{"x", 1}, {"y", 2}}), "Tapped (1, 2)");
  EXPECT_LT(secondsSince(start), 20.0);
  EXPECT_TRUE(eventually([&] { return tools.anyGrandchildAlive(); })) << "it is not ours to end";
}

TEST_F(Devices, ATimeoutEndsTheWholeGroup) {
  tools.tell("xcrun",
             {{{"output", "so far\n"}, {"ignoreTerm", true}, {"grandchild", 600}, {"seconds", 600}}});
  const auto start = Clock::now();
  server().sendLine(R"({"method":"tools/call","params":{"name":"list_sims"}})");
  EXPECT_EQ(server().readLine(60),
            R"({"jsonrpc":"2.0","result":{"content":[{"type":"text","text":"so far"}]}})");
  EXPECT_GE(secondsSince(start), 30.0);
  EXPECT_LT(secondsSince(start), 45.0);
  EXPECT_TRUE(tools.allGrandchildrenEnded());
}

TEST_F(Devices, ASlowAxeHoldsUpNobodyElse) {
  installAxe();
  tools.tell("axe", {{{"seconds", 3}}});
  setDefaults({{"simulatorId", "U1"}});
  ASSERT_TRUE(waitForPort(8686));
  server().sendLine(R"({"id":"slow","method":"tools/call","params":{"name":"button"}})");
  EXPECT_TRUE(eventually([&] { return !tools.calls("axe").empty(); }));
  EXPECT_THAT(httpExchange("GET /status HTTP/1.1\r\n\r\n"), HasSubstr("\"status\":\"ok\""));
  EXPECT_EQ(server().readLine(0), std::nullopt) << "AXe still runs";
  EXPECT_THAT(server().readLine().value_or(""), HasSubstr("\"id\":\"slow\""));
}

/// Children of the server that have ended and were not reaped.
std::size_t zombiesOf(pid_t parent) {
  std::size_t zombies = 0;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    if (std::isdigit(static_cast<unsigned char>(entry.path().filename().native()[0])) == 0) continue;
    std::ifstream file(entry.path() / "stat");
    std::string stat(std::istreambuf_iterator<char>(file), {});
    const auto end = stat.rfind(')');
    if (end == std::string::npos || end + 4 >= stat.size()) continue;
    const bool child = std::stol(stat.substr(end + 4)) == parent;
    zombies += child && stat[end + 2] == 'Z' ? 1 : 0;
  }
  return zombies;
}

std::size_t descriptorsOf(pid_t process) {
  const fs::directory_iterator files("/proc/" + std::to_string(process) + "/fd");
  return static_cast<std::size_t>(std::distance(files, fs::directory_iterator()));
}

TEST_F(Devices, AThousandCommandsLeaveNothingBehind) {
  installAxe();
  setDefaults({{"simulatorId", "U1"}});
  call("button");
  const auto pid = server().process().pid();
  const auto descriptors = descriptorsOf(pid);
  for (int i = 0; i < 1000; ++i) {
    // Every tenth goes through the shell, which is slow to start.
    ASSERT_EQ(i % 10 == 0 ? call("boot_sim") + "OK" : call("button"), "OK");
  }
  EXPECT_EQ(zombiesOf(pid), 0u);
  // A connection attempt of the warm-up may come and go in between.
  EXPECT_TRUE(eventually([&] { return descriptorsOf(pid) <= descriptors; }));
}

TEST_F(Devices, EveryDiagnosticOfATapIsOneLine) {
  setDefaults({{"androidSerial", "two\nlines"}});
  call("tap", {{"x", 1}, {"y", 2}});
  EXPECT_TRUE(server().waitForLog("[sim-bridge] tap called. isAndroidMode=true, androidSerial=two lines\n"));
}

}  // namespace
}  // namespace wyvlet::test
