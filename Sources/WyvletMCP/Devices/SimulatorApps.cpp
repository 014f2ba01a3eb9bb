#include <array>
#include <filesystem>
#include <system_error>

#include "Devices/SimulatorBridge.h"
#include "Support/Environment.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

namespace fs = std::filesystem;

/// simctl's word for whatever simulator is booted.
constexpr const char* kBooted = "booted";

std::string target(const std::optional<std::string>& udid, const SessionDefaults& session) {
  if (udid && !udid->empty()) return *udid;
  return session.simulatorId.value_or(kBooted);
}

bool exists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

std::optional<std::string> findProbe() {
  const auto program = programDirectory();
  const auto home = homeFromEnvironment();
  const std::array candidates = {
      program + "/../Resources/Bundled/WyvletProbe.dylib",
      program + "/Bundled/WyvletProbe.dylib",
      program + "/../Bundled/WyvletProbe.dylib",
      home + "/.wyvletqa/bin/WyvletProbe.dylib",
      home + "/Documents/kestrow/WyvletMCP/Bundled/WyvletProbe.dylib",
  };
  for (const auto& candidate : candidates) {
    if (exists(candidate)) return candidate;
  }
  return std::nullopt;
}

bool copyProbe(const std::string& from) {
  std::error_code error;
  fs::remove(kProbePath, error);
  return fs::copy_file(from, kProbePath, error);
}

}  // namespace

std::string SimulatorBridge::launchApp(const std::string& bundleId, const std::optional<std::string>& udid,
                                       bool injectProbe) const {
  if (bundleId.empty()) return "Error: no bundleId set. Call session_set_defaults first.";
  auto command =
      "xcrun simctl launch " + shellWord(target(udid, defaults())) + " " + shellWord(bundleId) + " 2>&1";
  if (injectProbe) {
    if (const auto probe = resolveProbePath()) {
      command = "SIMCTL_CHILD_DYLD_INSERT_LIBRARIES=" + *probe + " " + command;
    }
  }
  return shell(command, kDeviceCommandTimeout).value_or("Failed to launch app");
}

std::string SimulatorBridge::stopApp(const std::string& bundleId,
                                     const std::optional<std::string>& udid) const {
  if (bundleId.empty()) return "Error: no bundleId";
  return shell("xcrun simctl terminate " + shellWord(target(udid, defaults())) + " " + shellWord(bundleId) +
                   " 2>&1",
               kDeviceCommandTimeout)
      .value_or("Failed");
}

std::string SimulatorBridge::boot(const std::optional<std::string>& udid) const {
  return shell("xcrun simctl boot " + shellWord(target(udid, defaults())) + " 2>&1", kDeviceCommandTimeout)
      .value_or("Failed to boot simulator");
}

std::optional<std::string> SimulatorBridge::resolveProbePath() const {
  const auto probe = findProbe();
  if (!probe || !copyProbe(*probe)) {
    // A copy left by an earlier launch is as good.
    if (exists(kProbePath)) return kProbePath;
    return std::nullopt;
  }
  ProcessRequest sign;
  sign.arguments = {"/usr/bin/codesign", "--force", "--sign", "-", kProbePath};
  // Unsigned is worth a try: a simulator does not insist on every system.
  runner_.run(sign);
  return kProbePath;
}

}  // namespace wyvlet
