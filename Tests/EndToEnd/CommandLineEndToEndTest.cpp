// The options of the real program: what they print, where, and with which exit status.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "EndToEnd/Harness.h"

namespace wyvlet::test {
namespace {

struct Ended {
  std::optional<int> status;
  std::vector<std::string> lines;
  std::string errors;

  /// The report's line of one check, without its name; "" when there is none.
  std::string check(const std::string& name) const {
    for (const auto& line : lines) {
      if (line.size() > 6 && line.compare(6, name.size() + 1, name + " ") == 0) {
        return line.substr(0, 6) + line.substr(line.find_first_not_of(' ', 6 + name.size()));
      }
    }
    return "";
  }
};

Ended runServer(std::vector<std::string> arguments, std::map<std::string, std::string> environment = {}) {
  arguments.insert(arguments.begin(), WYVLET_SERVER_PATH);
  Process process({.arguments = std::move(arguments), .environment = std::move(environment)});
  Ended ended;
  while (const auto line = process.readLine()) ended.lines.push_back(*line);
  ended.status = process.waitForExit();
  ended.errors = process.wholeErrorText();
  return ended;
}

LenientSyncPayload kitchen() {
  LenientSyncPayload sync;
  sync.appName = "Kettle";
  sync.appVersion = "1.2";
  return sync;
}

TEST(CommandLine, VersionIsTheOneThatAgentsAreTold) {
  const auto ended = runServer({"--version"});
  EXPECT_EQ(0, ended.status);
  EXPECT_EQ("", ended.errors);
  Server server;
  const auto info = server.request("initialize").at("result").at("serverInfo");
  EXPECT_EQ(std::vector<std::string>{std::string(info.at("name").as_string()) + " " +
                                     std::string(info.at("version").as_string())},
            ended.lines);
}

TEST(CommandLine, HelpNamesEveryOption) {
  const auto ended = runServer({"--help"});
  EXPECT_EQ(0, ended.status);
  EXPECT_EQ("", ended.errors);
  const auto text = [&] {
    std::string all;
    for (const auto& line : ended.lines) all += line + "\n";
    return all;
  }();
  for (const auto* option : {"--doctor", "--help", "--version", "WYVLET_PORT", "WYVLET_HTTP_HOST"}) {
    EXPECT_NE(std::string::npos, text.find(option)) << option;
  }
}

TEST(CommandLine, AnUnknownArgumentIsNoServer) {
  const auto ended = runServer({"--sevre"});
  EXPECT_EQ(2, ended.status);
  EXPECT_EQ(std::vector<std::string>{}, ended.lines);
  EXPECT_EQ("WyvletMCP: unknown argument '--sevre'\nTry 'WyvletMCP --help'.\n", ended.errors);
}

TEST(CommandLine, AFullDiskIsNoSuccess) {
  Process process({.arguments = {"/bin/sh", "-c", std::string(WYVLET_SERVER_PATH) + " --help >/dev/full"}});
  EXPECT_EQ(1, process.waitForExit());
}

TEST(Doctor, LooksAtEverythingInOrder) {
  const auto ended = runServer({"--doctor"});
  EXPECT_EQ(0, ended.status);
  EXPECT_EQ("", ended.errors);
  const std::vector<std::string> names = {"zsh",          "xcrun",
                                          "AXe",          "adb",
                                          "codesign",     "DNS-SD daemon",
                                          "HTTP port",    "marker file",
                                          "capture file", "baselines folder",
                                          "app"};
  ASSERT_EQ(names.size() + 4, ended.lines.size());
  EXPECT_EQ("WyvletMCP 1.0.0", ended.lines[0]);
  EXPECT_EQ("", ended.lines[1]);
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(names[i] + " ", ended.lines[i + 2].substr(6, names[i].size() + 1));
    EXPECT_EQ(std::string::npos, ended.lines[i + 2].find('\033')) << "colours in a pipe";
  }
  EXPECT_EQ("ok    8686 is free", ended.check("HTTP port"));
  EXPECT_TRUE(ended.check("app").starts_with("note  none answers at 127.0.0.1:54321, "))
      << ended.check("app");
}

TEST(Doctor, SeesAnAppAndLeavesTheMarkerAlone) {
  ScriptedApp app(kitchen());
  std::ofstream("/tmp/wyvletprobe_ready") << "";
  const auto ended = runServer({"--doctor"});
  EXPECT_EQ(0, ended.status);
  EXPECT_EQ("ok    Kettle 1.2 answers at 127.0.0.1:54321", ended.check("app"));
  EXPECT_EQ("ok    /tmp/wyvletprobe_ready is there, and so is the app", ended.check("marker file"));
  EXPECT_TRUE(std::filesystem::exists("/tmp/wyvletprobe_ready"));
  std::filesystem::remove("/tmp/wyvletprobe_ready");
}

TEST(Doctor, AsksTheRunningServerInsteadOfTheApp) {
  ScriptedApp app(kitchen());
  Server server;
  server.connect();
  ASSERT_TRUE(waitForPort(8686));
  const auto ended = runServer({"--doctor"});
  EXPECT_EQ(0, ended.status);
  EXPECT_EQ("ok    8686 is served by a WyvletMCP that is running", ended.check("HTTP port"));
  EXPECT_EQ("ok    connected to the server on port 8686", ended.check("app"));
  EXPECT_FALSE(app.waitForLink(2, 0)) << "the doctor came between the server and its app";
}

TEST(Doctor, FailsWhereSomethingNeededIsBroken) {
  const auto other = CompanionListener::listen(9001);
  ASSERT_TRUE(other) << other.reason();
  std::ofstream(homeDirectoryOfTest() + "/file") << "";
  const auto ended =
      runServer({"--doctor"}, {{"WYVLET_PORT", "9001"}, {"HOME", homeDirectoryOfTest() + "/file"}});
  EXPECT_EQ(1, ended.status);
  EXPECT_EQ(
      "FAIL  9001 is taken by another program → set WYVLET_PORT to a free port in the agent's configuration",
      ended.check("HTTP port"));
  EXPECT_TRUE(ended.check("baselines folder").starts_with("FAIL  ")) << ended.check("baselines folder");
  EXPECT_TRUE(ended.lines.back().starts_with("2 checks failed")) << ended.lines.back();
}

TEST(Doctor, TellsATunnelWithoutAnApp) {
  const auto tunnel = CompanionListener::listen(kDirectPort);
  ASSERT_TRUE(tunnel) << tunnel.reason();
  std::thread closing([&] { (*tunnel)->accept(); });
  const auto ended = runServer({"--doctor"});
  (*tunnel)->shutdown();
  closing.join();
  EXPECT_EQ(1, ended.status);
  EXPECT_EQ(
      "FAIL  127.0.0.1:54321 is open, but: closed the connection before it sent a full sync → "
      "check that the device is plugged in and the app is in the foreground",
      ended.check("app"));
}

}  // namespace
}  // namespace wyvlet::test
