#include "CommandLine/Doctor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <string_view>
#include <utility>

#include "Android/AndroidCapture.h"
#include "Client/ServiceBrowser.h"
#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "HTTP/HTTPServer.h"
#include "MCP/MCPServer.h"
#include "Support/Environment.h"
#include "Support/Text.h"
#include "Tools/VisualDiff.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet {
namespace {

using State = Check::State;
namespace fs = std::filesystem;

constexpr std::uint16_t kHTTPPort = 8686;
constexpr double kAppPatience = 3.0;
constexpr double kStatusPatience = 2.0;
constexpr auto kDiscoveryPatience = std::chrono::seconds(2);
constexpr double kXcrunPatience = 20.0;

/// As the server asks: by the rights of the user, and a folder is no program.
bool isExecutableFile(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::string firstLine(const std::string& text) {
  return std::string(trimmed(split(trimmed(text), "\n").front()));
}

/// The nearest folder above `path` that exists, or `path` itself.
fs::path nearestExisting(fs::path path) {
  std::error_code error;
  while (!fs::exists(path, error) && path.has_relative_path()) path = path.parent_path();
  return path;
}

std::size_t countPictures(const std::string& folder) {
  std::size_t count = 0;
  std::error_code error;
  auto entry = fs::recursive_directory_iterator(folder, error);
  for (const auto end = fs::recursive_directory_iterator(); !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == ".png") ++count;
  }
  return count;
}

/// Keeps standard error quiet for as long as it lives: what the server's parts log when they start stands
/// in the report already.
class QuietErrors {
 public:
  QuietErrors() : saved_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null < 0) return;
    ::dup2(null, STDERR_FILENO);
    ::close(null);
  }
  ~QuietErrors() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;

 private:
  int saved_;
};

std::string addressText(const AppAddress& address) {
  const bool isIPv6 = address.host.find(':') != std::string::npos;
  return fmt::format(fmt::runtime(isIPv6 ? "[{}]:{}" : "{}:{}"), address.host, address.port);
}

/// Looks for an announced app for a short while and greets it at the addresses where it may be.
void discover(AppFacts& facts) {
  auto outcome = std::make_shared<std::promise<ServiceBrowser::Outcome>>();
  auto found = outcome->get_future();
  ServiceBrowser browser;
  browser.start([outcome](ServiceBrowser::Outcome result) { outcome->set_value(std::move(result)); });
  if (found.wait_for(kDiscoveryPatience) != std::future_status::ready) return;
  const auto addresses = found.get();
  if (!addresses) {
    facts.discoveryProblem = addresses.reason();
    return;
  }
  for (const auto& address : *addresses) {
    facts.announcedAt = addressText(address);
    facts.announced = probeApp(address, kAppPatience);
    if (facts.announced.synced) return;
  }
}

AppFacts examineApp(std::uint16_t port, const HTTPPortProbe& http) {
  AppFacts facts;
  if (http.appIsConnected) {
    facts.servedOnPort = port;
    return facts;
  }
  facts.direct = probeApp({"127.0.0.1", kDirectPort}, kAppPatience);
  if (!facts.direct.synced) discover(facts);
  return facts;
}

}  // namespace

Check checkShell(const std::string& path) {
  if (isExecutableFile(path)) return {"zsh", State::Fine, path};
  return {"zsh", State::Failed, "no " + path + ", which runs every device command",
          "install the package zsh with your package manager"};
}

Check checkXcrun(ProcessRunner& runner, Platform platform) {
  ProcessRequest request;
  request.arguments = {"xcrun", "--find", "simctl"};
  request.timeoutSeconds = kXcrunPatience;
  const auto outcome = runner.run(request);
  if (outcome.started() && outcome.exitStatus == 0) {
    return {"xcrun", State::Fine, "simctl at " + firstLine(outcome.output)};
  }
  if (platform != Platform::MacOS) return {"xcrun", State::NotNeeded, "not needed: simulators run on macOS"};
  const auto remedy = "install Xcode, then: sudo xcode-select -s /Applications/Xcode.app";
  if (!outcome.started()) return {"xcrun", State::Failed, outcome.startFailure, remedy};
  if (outcome.timedOut) return {"xcrun", State::Failed, "does not answer", remedy};
  return {"xcrun", State::Failed, "cannot find simctl: " + firstLine(outcome.errorOutput), remedy};
}

Check checkAxe(const std::string& path, const std::string& programDirectory, Platform platform) {
  if (isExecutableFile(path)) return {"AXe", State::Fine, path};
  if (platform != Platform::MacOS) return {"AXe", State::NotNeeded, "not needed: simulators run on macOS"};
  return {"AXe", State::Note, "not found; the simulator tools are not listed",
          fmt::format("put axe and its Frameworks folder into {}/Bundled", programDirectory)};
}

Check checkAdb(const std::string& path, const std::string& searchPath) {
  if (isExecutableFile(path)) return {"adb", State::Fine, path};
  for (const auto folder : split(searchPath, ":")) {
    const auto elsewhere = std::string(folder) + "/adb";
    if (folder.empty() || !isExecutableFile(elsewhere)) continue;
    const auto expected = fs::path(path).parent_path().string();
    return {"adb", State::Note, fmt::format("at {}, but the server looks for {}", elsewhere, path),
            fmt::format("mkdir -p {0} && ln -s {1} {0}/", shellWord(expected), shellWord(elsewhere))};
  }
  return {"adb", State::NotNeeded, fmt::format("not at {}; needed for Android devices only", path)};
}

Check checkCodesign(const std::string& path, Platform platform) {
  if (isExecutableFile(path)) return {"codesign", State::Fine, path};
  if (platform != Platform::MacOS) return {"codesign", State::NotNeeded, "not needed: it signs for macOS"};
  return {"codesign", State::Failed, "no " + path + ", which signs the injected probe",
          "xcode-select --install"};
}

Check checkDiscoveryDaemon(const std::vector<std::string>& sockets, Platform platform) {
  for (const auto& path : sockets) {
    if (answersOnSocket(path)) return {"DNS-SD daemon", State::Fine, "listens on " + path};
  }
  if (platform == Platform::MacOS) {
    return {"DNS-SD daemon", State::Failed, "mDNSResponder does not answer; no app can be found",
            "sudo launchctl kickstart -k system/com.apple.mDNSResponder"};
  }
  return {"DNS-SD daemon", State::Note, "not running; apps are reached by \"usb\" mode only",
          "sudo apt-get install avahi-daemon && sudo systemctl start avahi-daemon"};
}

Check checkHTTPPort(std::uint16_t port, const HTTPPortProbe& probe) {
  const std::string name = "HTTP port";
  switch (probe.state) {
    case HTTPPortProbe::State::Free:
      if (port == 0) return {name, State::Fine, "0: the system chooses a free one"};
      return {name, State::Fine, fmt::format("{} is free", port)};
    case HTTPPortProbe::State::OurServer:
      return {name, State::Fine, fmt::format("{} is served by a WyvletMCP that is running", port)};
    case HTTPPortProbe::State::Taken:
      return {name, State::Failed, fmt::format("{} is taken by another program", port),
              "set WYVLET_PORT to a free port in the agent's configuration"};
    case HTTPPortProbe::State::Unusable: break;
  }
  return {name, State::Failed, fmt::format("{} cannot be used: {}", port, probe.problem),
          "set WYVLET_PORT and WYVLET_HTTP_HOST to what this machine has"};
}

Check checkMarker(const std::string& path, bool appAnswers) {
  const std::string name = "marker file";
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) {
    return {name, State::Fine, fmt::format("no {}; an app with the probe makes it", path)};
  }
  struct stat folder {};
  const auto parent = fs::path(path).parent_path().string();
  const bool sticky = ::stat(parent.c_str(), &folder) == 0 && (folder.st_mode & S_ISVTX) != 0;
  const auto user = ::geteuid();
  const bool ours = user == 0 || info.st_uid == user || (!sticky && ::access(parent.c_str(), W_OK) == 0);
  if (S_ISDIR(info.st_mode) || !ours) {
    return {name, State::Failed, fmt::format("{} cannot be deleted by the server", path),
            "sudo rm -r " + shellWord(path)};
  }
  if (appAnswers) return {name, State::Fine, fmt::format("{} is there, and so is the app", path)};
  return {name, State::Note, fmt::format("{} was left behind: no app answers", path),
          "rm " + shellWord(path)};
}

Check checkCapture(const std::string& path, bool isActive, const std::string& status) {
  const std::string name = "capture file";
  std::error_code error;
  if (!fs::exists(path, error)) {
    return {name, State::NotNeeded, fmt::format("no {}; needed for Android apps only", path)};
  }
  const auto lines = split(status, "\n");
  const std::string detail = joined({lines.begin(), lines.end()}, ", ");
  if (isActive) return {name, State::Fine, detail};
  return {name, State::Note, fmt::format("{} is stale or not connected", path),
          "python3 wyvlet-bridge.py <package> --serial <serial>"};
}

Check checkBaselines(const std::string& folder) {
  const std::string name = "baselines folder";
  const auto existing = nearestExisting(folder);
  std::error_code error;
  if (!fs::is_directory(existing, error)) {
    return {name, State::Failed, existing.string() + " is not a folder",
            "mv " + shellWord(existing.string()) + " somewhere else"};
  }
  if (::access(existing.c_str(), W_OK | X_OK) != 0) {
    return {name, State::Failed, existing.string() + " cannot be written to",
            "chmod u+rwx " + shellWord(existing.string())};
  }
  if (existing != fs::path(folder)) return {name, State::Fine, folder + " will be made when needed"};
  const auto count = countPictures(folder);
  return {name, State::Fine, fmt::format("{} with {} baseline{}", folder, count, count == 1 ? "" : "s")};
}

Check checkApp(const AppFacts& facts) {
  const std::string name = "app";
  if (facts.servedOnPort) {
    return {name, State::Fine, fmt::format("connected to the server on port {}", *facts.servedOnPort)};
  }
  const auto here = fmt::format("127.0.0.1:{}", kDirectPort);
  if (facts.direct.synced) {
    return {name, State::Fine, fmt::format("{} answers at {}", facts.direct.description, here)};
  }
  if (facts.announced.synced) {
    return {name, State::Fine,
            fmt::format("{} answers at {}, found by DNS-SD", facts.announced.description, facts.announcedAt)};
  }
  if (!facts.announcedAt.empty()) {
    return {name, State::Failed,
            fmt::format("announced at {}, but: {}", facts.announcedAt, facts.announced.description),
            "restart the app; let the firewall pass its port"};
  }
  if (facts.direct.connected) {
    return {name, State::Failed, fmt::format("{} is open, but: {}", here, facts.direct.description),
            "check that the device is plugged in and the app is in the foreground"};
  }
  const auto discovery =
      facts.discoveryProblem.empty() ? "none is announced" : "DNS-SD says: " + facts.discoveryProblem;
  return {name, State::Note, fmt::format("none answers at {}, {}", here, discovery),
          fmt::format("start the app; for a device on USB: iproxy {0} {0}", kDirectPort)};
}

std::vector<Check> runDoctor() {
  // The server itself, not started: it knows best where it would look for what.
  const auto parts = [] {
    const QuietErrors quiet;
    struct Parts {
      WyvletClient client;
      SimulatorBridge sim;
      MCPServer mcp{client, sim};
      HTTPServer http{mcp, kHTTPPort};
    };
    return std::make_unique<Parts>();
  }();
  const auto port = parts->http.port();
  auto host = environmentVariable("WYVLET_HTTP_HOST");
  if (host && host->empty()) host.reset();
  const auto http = probeHTTPPort(host, port, kStatusPatience);
  const auto facts = examineApp(port, http);
  const bool appAnswers = facts.servedOnPort || facts.direct.synced || facts.announced.synced;

  const std::vector<std::string> daemons =
      kPlatform == Platform::MacOS
          ? std::vector<std::string>{"/var/run/mDNSResponder"}
          : std::vector<std::string>{"/run/avahi-daemon/socket", "/var/run/avahi-daemon/socket"};
  return {
      checkShell("/bin/zsh"),
      checkXcrun(ProcessRunner::system(), kPlatform),
      checkAxe(parts->sim.axePath(), programDirectory(), kPlatform),
      checkAdb(homeFromEnvironment() + "/Library/Android/sdk/platform-tools/adb",
               environmentVariable("PATH").value_or("")),
      checkCodesign("/usr/bin/codesign", kPlatform),
      checkDiscoveryDaemon(daemons, kPlatform),
      checkHTTPPort(port, http),
      checkMarker(WyvletClient::Options().markerPath, appAnswers),
      checkCapture(AndroidCapture::capturePath(), AndroidCapture::isActive(), AndroidCapture::status()),
      checkBaselines(VisualDiff::baselinesDir()),
      checkApp(facts),
  };
}

}  // namespace wyvlet
