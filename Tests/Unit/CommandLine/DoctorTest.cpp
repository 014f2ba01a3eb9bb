#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "CommandLine/Doctor.h"

namespace wyvlet {
namespace {

using State = Check::State;
namespace fs = std::filesystem;

class DoctorTest : public ::testing::Test {
 protected:
  DoctorTest() {
    std::string pattern = (fs::temp_directory_path() / "doctor-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
  }
  ~DoctorTest() override {
    fs::permissions(root_, fs::perms::owner_all);
    fs::remove_all(root_);
  }

  std::string path(const std::string& name) const { return (root_ / name).string(); }
  std::string makeFile(const std::string& name, fs::perms permissions = fs::perms::owner_all) {
    fs::create_directories((root_ / name).parent_path());
    std::ofstream(path(name)) << "x";
    fs::permissions(root_ / name, permissions);
    return path(name);
  }
  std::string makeProgram(const std::string& name) { return makeFile(name); }
  std::string makeData(const std::string& name) {
    return makeFile(name, fs::perms::owner_read | fs::perms::owner_write);
  }

  fs::path root_;
};

/// Answers every command with what it was given.
class OneAnswerRunner : public ProcessRunner {
 public:
  explicit OneAnswerRunner(ProcessOutcome outcome) : outcome_(std::move(outcome)) {}
  ProcessOutcome run(const ProcessRequest& request) override {
    arguments = request.arguments;
    return outcome_;
  }
  std::vector<std::string> arguments;

 private:
  ProcessOutcome outcome_;
};

ProcessOutcome ended(int status, std::string output, std::string errorOutput) {
  ProcessOutcome outcome;
  outcome.exitStatus = status;
  outcome.output = std::move(output);
  outcome.errorOutput = std::move(errorOutput);
  return outcome;
}

ProcessOutcome notStarted() {
  ProcessOutcome outcome;
  outcome.startFailure = "No such file or directory";
  return outcome;
}

TEST_F(DoctorTest, ShellMustBeAProgram) {
  const auto zsh = makeProgram("zsh");
  EXPECT_EQ((Check{"zsh", State::Fine, zsh}), checkShell(zsh));
  const auto missing = path("none");
  EXPECT_EQ((Check{"zsh", State::Failed, "no " + missing + ", which runs every device command",
                   "install the package zsh with your package manager"}),
            checkShell(missing));
  EXPECT_EQ(State::Failed, checkShell(makeData("data")).state);
  EXPECT_EQ(State::Failed, checkShell(root_.string()).state);
}

TEST(CheckXcrun, FoundWithItsSimulatorTool) {
  OneAnswerRunner runner(ended(0, "/Xcode/simctl\n", ""));
  EXPECT_EQ((Check{"xcrun", State::Fine, "simctl at /Xcode/simctl"}), checkXcrun(runner, Platform::MacOS));
  EXPECT_EQ((std::vector<std::string>{"xcrun", "--find", "simctl"}), runner.arguments);
  EXPECT_EQ(State::Fine, checkXcrun(runner, Platform::Linux).state);
}

TEST(CheckXcrun, MissingMattersOnlyWhereThereAreSimulators) {
  OneAnswerRunner runner(notStarted());
  EXPECT_EQ((Check{"xcrun", State::NotNeeded, "not needed: simulators run on macOS"}),
            checkXcrun(runner, Platform::Linux));
  EXPECT_EQ((Check{"xcrun", State::Failed, "No such file or directory",
                   "install Xcode, then: sudo xcode-select -s /Applications/Xcode.app"}),
            checkXcrun(runner, Platform::MacOS));
}

TEST(CheckXcrun, FailureIsQuoted) {
  OneAnswerRunner runner(ended(72, "", "xcrun: error: unable to find utility \"simctl\"\nmore\n"));
  EXPECT_EQ(
      (Check{"xcrun", State::Failed, "cannot find simctl: xcrun: error: unable to find utility \"simctl\"",
             "install Xcode, then: sudo xcode-select -s /Applications/Xcode.app"}),
      checkXcrun(runner, Platform::MacOS));
}

TEST(CheckXcrun, SilenceIsAFailure) {
  auto outcome = ended(143, "", "");
  outcome.timedOut = true;
  OneAnswerRunner runner(outcome);
  EXPECT_EQ("does not answer", checkXcrun(runner, Platform::MacOS).detail);
}

TEST_F(DoctorTest, AxeMissingCostsToolsOnMacOnly) {
  const auto axe = makeProgram("axe");
  EXPECT_EQ((Check{"AXe", State::Fine, axe}), checkAxe(axe, "/opt/bin", Platform::Linux));
  EXPECT_EQ((Check{"AXe", State::Note, "not found; the simulator tools are not listed",
                   "put axe and its Frameworks folder into /opt/bin/Bundled"}),
            checkAxe("axe", "/opt/bin", Platform::MacOS));
  EXPECT_EQ((Check{"AXe", State::NotNeeded, "not needed: simulators run on macOS"}),
            checkAxe("axe", "/opt/bin", Platform::Linux));
}

TEST_F(DoctorTest, AdbIsLookedForAtOnePlace) {
  const auto adb = makeProgram("sdk/adb");
  EXPECT_EQ((Check{"adb", State::Fine, adb}), checkAdb(adb, ""));
  const auto missing = path("none/adb");
  EXPECT_EQ((Check{"adb", State::NotNeeded, "not at " + missing + "; needed for Android devices only"}),
            checkAdb(missing, ":/nowhere:"));
}

TEST_F(DoctorTest, AdbElsewhereIsLinked) {
  const auto adb = makeProgram("else where/adb");
  const auto expected = path("none/adb");
  EXPECT_EQ((Check{"adb", State::Note, "at " + adb + ", but the server looks for " + expected,
                   "mkdir -p " + path("none") + " && ln -s '" + adb + "' " + path("none") + "/"}),
            checkAdb(expected, "/nowhere:" + path("else where")));
}

TEST_F(DoctorTest, CodesignMattersOnMacOnly) {
  const auto codesign = makeProgram("codesign");
  EXPECT_EQ((Check{"codesign", State::Fine, codesign}), checkCodesign(codesign, Platform::MacOS));
  EXPECT_EQ((Check{"codesign", State::Failed, "no /none, which signs the injected probe",
                   "xcode-select --install"}),
            checkCodesign("/none", Platform::MacOS));
  EXPECT_EQ((Check{"codesign", State::NotNeeded, "not needed: it signs for macOS"}),
            checkCodesign("/none", Platform::Linux));
}

TEST_F(DoctorTest, DiscoveryDaemonMustListen) {
  const auto socketPath = path("socket");
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, socketPath.c_str());
  ASSERT_EQ(0, ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
  ASSERT_EQ(0, ::listen(listener, 1));
  EXPECT_EQ((Check{"DNS-SD daemon", State::Fine, "listens on " + socketPath}),
            checkDiscoveryDaemon({path("none"), socketPath}, Platform::Linux));

  ::close(listener);  // the file stays, as after a crash
  EXPECT_EQ((Check{"DNS-SD daemon", State::Note, "not running; apps are reached by \"usb\" mode only",
                   "sudo apt-get install avahi-daemon && sudo systemctl start avahi-daemon"}),
            checkDiscoveryDaemon({socketPath}, Platform::Linux));
  EXPECT_EQ((Check{"DNS-SD daemon", State::Failed, "mDNSResponder does not answer; no app can be found",
                   "sudo launchctl kickstart -k system/com.apple.mDNSResponder"}),
            checkDiscoveryDaemon({socketPath}, Platform::MacOS));
}

TEST(CheckHTTPPort, TellsWhoHasIt) {
  using Port = HTTPPortProbe::State;
  EXPECT_EQ((Check{"HTTP port", State::Fine, "8686 is free"}), checkHTTPPort(8686, {Port::Free}));
  EXPECT_EQ((Check{"HTTP port", State::Fine, "0: the system chooses a free one"}),
            checkHTTPPort(0, {Port::Free}));
  EXPECT_EQ((Check{"HTTP port", State::Fine, "9000 is served by a WyvletMCP that is running"}),
            checkHTTPPort(9000, {Port::OurServer}));
  EXPECT_EQ((Check{"HTTP port", State::Failed, "8686 is taken by another program",
                   "set WYVLET_PORT to a free port in the agent's configuration"}),
            checkHTTPPort(8686, {Port::Taken}));
  EXPECT_EQ((Check{"HTTP port", State::Failed, "80 cannot be used: Permission denied",
                   "set WYVLET_PORT and WYVLET_HTTP_HOST to what this machine has"}),
            checkHTTPPort(80, {Port::Unusable, false, "Permission denied"}));
}

TEST_F(DoctorTest, MarkerFile) {
  const auto missing = path("ready");
  EXPECT_EQ((Check{"marker file", State::Fine, "no " + missing + "; an app with the probe makes it"}),
            checkMarker(missing, false));
  const auto marker = makeData("ready");
  EXPECT_EQ((Check{"marker file", State::Fine, marker + " is there, and so is the app"}),
            checkMarker(marker, true));
  EXPECT_EQ((Check{"marker file", State::Note, marker + " was left behind: no app answers", "rm " + marker}),
            checkMarker(marker, false));
}

TEST_F(DoctorTest, MarkerThatTheServerCannotDelete) {
  fs::create_directory(root_ / "ready");
  EXPECT_EQ((Check{"marker file", State::Failed, path("ready") + " cannot be deleted by the server",
                   "sudo rm -r " + path("ready")}),
            checkMarker(path("ready"), true));
}

TEST_F(DoctorTest, CaptureFile) {
  const auto missing = path("android-capture.json");
  EXPECT_EQ((Check{"capture file", State::NotNeeded, "no " + missing + "; needed for Android apps only"}),
            checkCapture(missing, false, "Android bridge: NOT CONNECTED"));
  const auto capture = makeData("android-capture.json");
  EXPECT_EQ((Check{"capture file", State::Fine, "Android bridge: CONNECTED, Package: a.b"}),
            checkCapture(capture, true, "Android bridge: CONNECTED\nPackage: a.b"));
  EXPECT_EQ((Check{"capture file", State::Note, capture + " is stale or not connected",
                   "python3 wyvlet-bridge.py <package> --serial <serial>"}),
            checkCapture(capture, false, "Android bridge: NOT CONNECTED\nRun: x"));
}

TEST_F(DoctorTest, BaselinesFolder) {
  const auto folder = path(".wyvletqa/baselines");
  EXPECT_EQ((Check{"baselines folder", State::Fine, folder + " will be made when needed"}),
            checkBaselines(folder));
  makeData(".wyvletqa/baselines/app/Home.png");
  EXPECT_EQ((Check{"baselines folder", State::Fine, folder + " with 1 baseline"}), checkBaselines(folder));
  makeData(".wyvletqa/baselines/app/Cart.png");
  makeData(".wyvletqa/baselines/app/notes.txt");
  EXPECT_EQ((Check{"baselines folder", State::Fine, folder + " with 2 baselines"}), checkBaselines(folder));
}

TEST_F(DoctorTest, BaselinesFolderBlockedByAFile) {
  const auto file = makeData(".wyvletqa");
  EXPECT_EQ(
      (Check{"baselines folder", State::Failed, file + " is not a folder", "mv " + file + " somewhere else"}),
      checkBaselines(path(".wyvletqa/baselines")));
}

TEST_F(DoctorTest, BaselinesFolderThatCannotBeWritten) {
  fs::permissions(root_, fs::perms::none);
  const Check expected{"baselines folder", State::Failed, root_.string() + " cannot be written to",
                       "chmod u+rwx " + root_.string()};
  EXPECT_EXIT(
      {
        // Root may write everywhere, so the question is asked by another user.
        if (::geteuid() == 0 && ::setuid(65534) != 0) std::_Exit(2);
        std::_Exit(checkBaselines(path("baselines")) == expected ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

AppFacts factsWithDirect(AppProbe probe) {
  AppFacts facts;
  facts.direct = std::move(probe);
  return facts;
}

TEST(CheckApp, ServedByARunningServer) {
  AppFacts facts;
  facts.servedOnPort = 8686;
  EXPECT_EQ((Check{"app", State::Fine, "connected to the server on port 8686"}), checkApp(facts));
}

TEST(CheckApp, AnswersDirectly) {
  EXPECT_EQ((Check{"app", State::Fine, "Travel 2.1 answers at 127.0.0.1:54321"}),
            checkApp(factsWithDirect({true, true, "Travel 2.1"})));
}

TEST(CheckApp, FoundByDiscoveryEvenWhenATunnelIsDead) {
  auto facts = factsWithDirect({true, false, "closed the connection before it sent a full sync"});
  facts.announcedAt = "10.0.0.2:4000";
  facts.announced = {true, true, "Travel"};
  EXPECT_EQ((Check{"app", State::Fine, "Travel answers at 10.0.0.2:4000, found by DNS-SD"}), checkApp(facts));
}

TEST(CheckApp, TunnelWithoutAnAppBehindIt) {
  EXPECT_EQ((Check{"app", State::Failed,
                   "127.0.0.1:54321 is open, but: closed the connection before it sent a full sync",
                   "check that the device is plugged in and the app is in the foreground"}),
            checkApp(factsWithDirect({true, false, "closed the connection before it sent a full sync"})));
}

TEST(CheckApp, AnnouncedButOutOfReach) {
  auto facts = factsWithDirect({false, false, "Connection refused"});
  facts.announcedAt = "10.0.0.2:4000";
  facts.announced = {false, false, "No route to host"};
  EXPECT_EQ((Check{"app", State::Failed, "announced at 10.0.0.2:4000, but: No route to host",
                   "restart the app; let the firewall pass its port"}),
            checkApp(facts));
}

TEST(CheckApp, NoneAnywhereIsANote) {
  auto facts = factsWithDirect({false, false, "Connection refused"});
  EXPECT_EQ((Check{"app", State::Note, "none answers at 127.0.0.1:54321, none is announced",
                   "start the app; for a device on USB: iproxy 54321 54321"}),
            checkApp(facts));
  facts.discoveryProblem = "Daemon not running";
  EXPECT_EQ("none answers at 127.0.0.1:54321, DNS-SD says: Daemon not running", checkApp(facts).detail);
}

}  // namespace
}  // namespace wyvlet
