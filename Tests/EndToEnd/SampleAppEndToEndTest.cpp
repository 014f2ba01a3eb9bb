// The sample app as a program: its start and its ends, its announcement, and the scripts that play its
// user.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "EndToEnd/Harness.h"
#include "EndToEnd/ServiceDaemons.h"

namespace wyvlet::test {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kMarker = "/tmp/wyvletprobe_ready";
constexpr const char* kControl = WYVLET_BUILD_DIR "/wyvlet-sample-control";

std::string fileContent(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// How a script ended and what it said.
struct Outcome {
  int status = -1;
  std::string output;
  std::string errors;
};

Outcome run(std::vector<std::string> arguments, const std::string& control) {
  // What it wrote to standard error is complete only in a file.
  arguments.insert(arguments.begin(), {"/bin/sh", "-c", "exec \"$@\" 2>/tmp/script-errors", "sh"});
  Process process({.arguments = std::move(arguments),
                   .environment = {{"WYVLET_SAMPLE_CONTROL", control}},
                   .pathPrefix = WYVLET_BUILD_DIR});
  Outcome outcome;
  while (const auto line = process.readLine()) outcome.output += *line + "\n";
  outcome.status = process.waitForExit().value_or(-1);
  outcome.errors = fileContent("/tmp/script-errors");
  return outcome;
}

// ---- The program ----

class SampleAppEnding : public ::testing::TestWithParam<int> {};

TEST_P(SampleAppEnding, IsCleanAndLeavesNoFiles) {
  SampleApp app({"--no-announce"});
  EXPECT_TRUE(waitForPort(54321));
  EXPECT_TRUE(std::filesystem::exists(kMarker));
  app.process().signal(GetParam());
  EXPECT_EQ(app.process().waitForExit(), 0);
  EXPECT_FALSE(std::filesystem::exists(kMarker));
  EXPECT_FALSE(std::filesystem::exists(app.controlPath()));
}

INSTANTIATE_TEST_SUITE_P(BySignal, SampleAppEnding, ::testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST(SampleAppProgram, QuitEndsItWithStatusZero) {
  SampleApp app({"--no-announce"});
  EXPECT_EQ(app.control("quit"), "ok");
  EXPECT_EQ(app.process().waitForExit(), 0);
}

TEST(SampleAppProgram, SaysWhereItListens) {
  Process app({.arguments = {WYVLET_SAMPLE_APP_PATH, "--port", "0", "--no-announce", "--control", "/tmp/c"}});
  const auto ready = app.readLine();
  ASSERT_TRUE(ready);
  EXPECT_THAT(*ready, MatchesRegex("ready port=[1-9][0-9]* control=/tmp/c"));
  const std::string port = ready->substr(11, ready->find(' ', 11) - 11);
  EXPECT_TRUE(waitForPort(static_cast<std::uint16_t>(std::stoi(port))));
}

TEST(SampleAppProgram, WithoutAControlPathItMakesOne) {
  Process app({.arguments = {WYVLET_SAMPLE_APP_PATH, "--port", "0", "--no-announce"},
               .environment = {{"XDG_RUNTIME_DIR", "/tmp"}}});
  const auto ready = app.readLine();
  ASSERT_TRUE(ready);
  const std::string path = ready->substr(ready->find("control=") + 8);
  EXPECT_THAT(path, MatchesRegex("/tmp/wyvlet-sample-[0-9]*/control-[0-9]*.sock"));
  EXPECT_EQ(run({kControl, "links"}, path).output, "0\n");
}

TEST(SampleAppProgram, ASecondOneOnThePortSaysWhyNot) {
  SampleApp app({"--no-announce"});
  Process second({.arguments = {WYVLET_SAMPLE_APP_PATH, "--no-announce", "--control", "/tmp/other"}});
  EXPECT_EQ(second.waitForExit(), 1);
  EXPECT_TRUE(second.waitForError("[sample-app] bind port 54321: Address already in use\n"));
  EXPECT_TRUE(std::filesystem::exists(app.controlPath()));
}

TEST(SampleAppProgram, BadOptionsAreNoApp) {
  Process app({.arguments = {WYVLET_SAMPLE_APP_PATH, "--port", "x"}});
  EXPECT_EQ(app.waitForExit(), 2);
  EXPECT_TRUE(app.waitForError("WyvletSampleApp: bad value for --port: x\n"));
  Process help({.arguments = {WYVLET_SAMPLE_APP_PATH, "--help"}});
  EXPECT_EQ(help.readLine(), "usage: WyvletSampleApp [OPTIONS]");
  EXPECT_EQ(help.waitForExit(), 0);
}

TEST(SampleAppProgram, ACrashKillsItAndIsReadableForTheAgent) {
  SampleApp app({"--no-announce"});
  app.control("deep-link harbor://profile");
  EXPECT_EQ(app.control("crash wheel came off"), "ok /tmp/wyvlet_crash_com_harbor_travel.json");
  EXPECT_EQ(app.process().waitForExit(), 128 + SIGABRT);
  const auto report = boost::json::parse(fileContent("/tmp/wyvlet_crash_com_harbor_travel.json"));
  EXPECT_EQ(report.at("screen").as_string(), "Profile");
  const auto stack = boost::json::serialize(report.at("stack"));
  EXPECT_THAT(stack, HasSubstr("wyvlet::sample::AppLoop::run()")) << "names, not addresses alone";
  Server server;
  EXPECT_THAT(server.call("wyvlet_get_crash_log"),
              StartsWith("CRASH REPORT\nType: Signal — SIGABRT\nReason: wheel came off\nScreen: Profile\n"));
}

// ---- The announcement ----

TEST(SampleAppAnnouncement, WithoutADaemonItListensOnTheLoopbackAlone) {
  SampleApp app;
  EXPECT_TRUE(app.process().waitForError("[sample-app] Not announced: "));
  // 0100007F is 127.0.0.1, and D431 is 54321.
  EXPECT_THAT(fileContent("/proc/net/tcp"), HasSubstr(" 0100007F:D431 00000000:0000 0A "));
}

TEST(SampleAppAnnouncement, AnAnnouncedAppListensOnEveryInterface) {
  const ServiceDaemons daemons;
  SampleApp app;
  EXPECT_TRUE(app.process().waitForError("[sample-app] Announced as \"Harbor Travel\" on port 54321\n"));
  EXPECT_THAT(fileContent("/proc/net/tcp"), HasSubstr(" 00000000:D431 00000000:0000 0A "));
}

TEST(SampleAppAnnouncement, TwoAppsOfOneNameBothStandInTheList) {
  const ServiceDaemons daemons;
  SampleApp app;
  ASSERT_TRUE(app.process().waitForError("Announced as \"Harbor Travel\""));
  Process second(
      {.arguments = {WYVLET_SAMPLE_APP_PATH, "--port", "0", "--control", "/tmp/other", "--no-marker"}});
  EXPECT_TRUE(second.waitForError("[sample-app] Announced as \"Harbor Travel #2\" on port "));
}

TEST(SampleAppAnnouncement, ARestartedDaemonHearsOfItAgain) {
  ServiceDaemons daemons;
  SampleApp app;
  const std::string announced = "[sample-app] Announced as \"Harbor Travel\" on port 54321\n";
  ASSERT_TRUE(app.process().waitForError(announced));
  daemons.killAvahi();
  daemons.startAvahi();
  EXPECT_TRUE(app.process().waitForError(announced + announced));
  Server server;
  EXPECT_TRUE(server.waitForLog("[wyvlet] Synced: "));
}

// ---- The user's scripts ----

class SampleAppScripts : public ::testing::Test {
 protected:
  Outcome control(std::vector<std::string> words) {
    words.insert(words.begin(), kControl);
    return run(std::move(words), app.controlPath());
  }
  Outcome script(const std::string& name, std::vector<std::string> words) {
    words.insert(words.begin(), {"/bin/sh", std::string(WYVLET_SOURCE_DIR) + "/Tests/Peers/" + name});
    return run(std::move(words), app.controlPath());
  }
  Outcome axe(std::vector<std::string> words) { return script("axe-sample-app", std::move(words)); }
  Outcome simctl(std::vector<std::string> words) {
    words.insert(words.begin(), "simctl");
    return script("xcrun-sample-app", std::move(words));
  }

  SampleApp app{{"--no-announce", "--latency", "0"}};
};

TEST_F(SampleAppScripts, TheControlProgramPrintsTheAnswer) {
  EXPECT_EQ(control({"environment"}).output, "Production\n");
  const Outcome silent = control({"settle"});
  EXPECT_EQ(silent.status, 0);
  EXPECT_EQ(silent.output, "");
  const Outcome refused = control({"tap", "here"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.output, "");
  EXPECT_EQ(refused.errors, "wyvlet-sample-control: usage: tap X Y\n");
}

TEST_F(SampleAppScripts, TheControlProgramCarriesAnyText) {
  EXPECT_EQ(control({"tap-id", "toField"}).status, 0);
  EXPECT_EQ(control({"type", "two  spaces\\n and\na line"}).status, 0);
  const auto screen = boost::json::parse(control({"screen"}).output);
  bool found = false;
  for (const auto& element : screen.at("elements").as_array()) {
    found = found || element.at("value") == "two  spaces\\n and\na line";
  }
  EXPECT_TRUE(found);
}

TEST_F(SampleAppScripts, TheControlProgramSaysWhenThereIsNoApp) {
  const Outcome outcome = run({kControl, "--control", "/tmp/nobody", "links"}, "");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.errors, "wyvlet-sample-control: nobody listens on /tmp/nobody\n");
}

TEST_F(SampleAppScripts, AxeTapsTypesAndSwipes) {
  EXPECT_EQ(axe({"tap", "--udid", "U", "-x", "169", "-y", "320"}).status, 0);
  EXPECT_EQ(axe({"type", "Faro Beach", "--udid", "U"}).status, 0);
  EXPECT_EQ(axe({"tap", "--udid", "U", "--label", "Search", "--post-delay", "0.1"}).status, 0);
  EXPECT_EQ(app.control("settle"), "ok");
  EXPECT_THAT(app.control("screen"), HasSubstr("Lisbon to Faro Beach"));
  EXPECT_EQ(axe({"swipe", "--udid", "U", "--start-x", "195", "--start-y", "700", "--end-x", "195", "--end-y",
                 "500", "--duration", "0.2"})
                .output,
            "scrolled to 130\n");
  EXPECT_EQ(axe({"button", "home", "--udid", "U"}).status, 0);
  const Outcome refused = axe({"tap", "--udid", "U", "-x", "1", "-y", "1"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.errors, HasSubstr("the app is in the background"));
}

TEST_F(SampleAppScripts, AxeHoldsATouch) {
  app.control("tap-label Search");
  EXPECT_EQ(app.control("settle"), "ok");
  EXPECT_EQ(
      axe({"touch", "-x", "195", "-y", "168", "--udid", "U", "--down", "--delay", "0.6", "--up"}).status, 0);
  EXPECT_THAT(app.control("screen"), HasSubstr("€46.50 ✓"));
}

TEST_F(SampleAppScripts, AxeDescribesTheScreen) {
  const auto tree = boost::json::parse(axe({"describe-ui", "--udid", "U"}).output);
  EXPECT_EQ(tree.at(0).at("type").as_string(), "Application");
  EXPECT_GT(tree.at(0).at("children").as_array().size(), 10U);
}

TEST_F(SampleAppScripts, SimctlListsShootsAndLaunches) {
  const auto booted = boost::json::parse(simctl({"list", "devices", "booted", "-j"}).output);
  const auto& runtimes = booted.at("devices").as_object();
  ASSERT_EQ(runtimes.size(), 1U);
  const std::string udid(runtimes.begin()->value().at(0).at("udid").as_string());
  EXPECT_EQ(udid.size(), 36U);
  EXPECT_EQ(simctl({"io", udid, "screenshot", "/tmp/shot.png"}).status, 0);
  EXPECT_GT(std::filesystem::file_size("/tmp/shot.png"), 1000U);
  app.control("button home");
  EXPECT_THAT(simctl({"launch", udid, "com.harbor.travel"}).output, StartsWith("com.harbor.travel: "));
  EXPECT_THAT(app.control("tap 195 479"), StartsWith("ok tapped"));
  EXPECT_EQ(simctl({"boot", udid}).status, 0);
  EXPECT_EQ(simctl({"terminate", udid, "com.harbor.travel"}).status, 0);
  EXPECT_THAT(simctl({"erase", udid}).status, Not(0));
}

}  // namespace
}  // namespace wyvlet::test
