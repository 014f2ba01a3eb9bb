#include "Devices/SimulatorBridge.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/json/object.hpp>
#include <string_view>
#include <utility>

#include "Devices/SimctlOutput.h"
#include "Support/Environment.h"
#include "Support/Log.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

/// What the agent calls each default, and where it is kept.
struct DefaultField {
  std::string_view key;
  std::optional<std::string> SessionDefaults::*member;
};

constexpr DefaultField kFields[] = {
    {"simulatorId", &SessionDefaults::simulatorId},
    {"bundleId", &SessionDefaults::bundleId},
    {"scheme", &SessionDefaults::scheme},
    {"projectPath", &SessionDefaults::projectPath},
    {"workspacePath", &SessionDefaults::workspacePath},
    {"androidSerial", &SessionDefaults::androidSerial},
};

bool isExecutableFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

/// The first place where AXe is, or its bare name, which stands for a file in the working directory:
/// PATH is not searched.
std::string findAxe() {
  const std::array candidates = {
      programDirectory() + "/Bundled/axe",
      programDirectory() + "/../Bundled/axe",
      homeFromEnvironment() + "/Documents/kestrow/WyvletMCP/Bundled/axe",
  };
  for (const auto& candidate : candidates) {
    if (isExecutableFile(candidate)) return candidate;
  }
  return "axe";
}

/// The folder of AXe's own frameworks, which lies beside it.
std::string frameworksPath(const std::string& axe) {
  const auto slash = axe.rfind('/');
  return (slash == std::string::npos ? "" : axe.substr(0, slash + 1)) + "Frameworks";
}

}  // namespace

std::string formatDefaultsSummary(const SessionDefaults& defaults) {
  std::vector<std::string> entries;
  const auto add = [&](std::string_view key, const std::optional<std::string>& value) {
    if (value) entries.push_back("\"" + std::string(key) + "\": \"" + *value + "\"");
  };
  add("simulatorId", defaults.simulatorId);
  add("bundleId", defaults.bundleId);
  add("scheme", defaults.scheme);
  add("androidSerial", defaults.androidSerial);
  if (defaults.isAndroidMode()) add("mode", "android");
  return "Defaults updated: [" + (entries.empty() ? ":" : joined(entries, ", ")) + "]";
}

std::string formatDefaultsListing(const SessionDefaults& defaults) {
  std::string text = "Session defaults:";
  const auto add = [&](std::string_view key, const std::optional<std::string>& value) {
    if (value) text.append("\n  ").append(key).append(": ").append(*value);
  };
  add("simulatorId", defaults.simulatorId);
  add("bundleId", defaults.bundleId);
  add("scheme", defaults.scheme);
  const bool noneSet = !defaults.simulatorId && !defaults.bundleId && !defaults.scheme;
  return noneSet ? text + "\n  (none set)" : text;
}

SimulatorBridge::SimulatorBridge(ProcessRunner& runner, std::function<void()> onAndroidInput)
    : runner_(runner), onAndroidInput_(std::move(onAndroidInput)), axePath_(findAxe()) {
  if (isExecutableFile(axePath_)) {
    logLine(kDevicesTag, "AXe found at: " + axePath_);
  } else {
    logLine(kDevicesTag, "WARNING: AXe not found — simulator tools will be unavailable");
  }
}

std::string SimulatorBridge::setDefaults(const boost::json::object& args) {
  MutexLock lock(mutex_);
  for (const auto& field : kFields) {
    const auto* value = args.if_contains(field.key);
    if (value == nullptr || !value->is_string() || value->get_string().empty()) continue;
    defaults_.*field.member = std::string(std::string_view(value->get_string()));
  }
  return formatDefaultsSummary(defaults_);
}

std::string SimulatorBridge::showDefaults() const { return formatDefaultsListing(defaults()); }

SessionDefaults SimulatorBridge::defaults() const {
  MutexLock lock(mutex_);
  return defaults_;
}

std::string SimulatorBridge::axePath() const {
  MutexLock lock(mutex_);
  findAxeAgain();
  return axePath_;
}

bool SimulatorBridge::isAxeAvailable() const {
  MutexLock lock(mutex_);
  return findAxeAgain();
}

bool SimulatorBridge::findAxeAgain() const {
  if (isExecutableFile(axePath_)) return true;
  auto found = findAxe();
  if (found == axePath_) return false;
  axePath_ = std::move(found);
  if (!isExecutableFile(axePath_)) return false;
  logLine(kDevicesTag, "AXe found at: " + axePath_);
  return true;
}

std::optional<std::string> SimulatorBridge::shell(const std::string& command, double timeoutSeconds) const {
  return shellResult(command, timeoutSeconds).output;
}

ShellResult SimulatorBridge::shellResult(const std::string& command, double timeoutSeconds) const {
  return runShell(runner_, command, timeoutSeconds);
}

std::string SimulatorBridge::runAxe(const std::vector<std::string>& arguments) const {
  const auto axe = axePath();
  auto frameworks = frameworksPath(axe);
  const auto inherited = environmentVariable("DYLD_FRAMEWORK_PATH").value_or("");
  if (!inherited.empty()) frameworks += ":" + inherited;

  ProcessRequest request;
  // A bare name would be searched for on PATH.
  request.arguments = {axe.find('/') == std::string::npos ? "./" + axe : axe};
  request.arguments.insert(request.arguments.end(), arguments.begin(), arguments.end());
  request.environment = {{"DYLD_FRAMEWORK_PATH", frameworks}};
  const auto outcome = runner_.run(request);
  if (!outcome.started()) return "Error: " + outcome.startFailure;

  const auto output = validUTF8(std::string(trimmed(outcome.output)));
  const auto errorOutput = validUTF8(std::string(trimmed(outcome.errorOutput)));
  if (outcome.exitStatus != 0) return "Error: " + (errorOutput.empty() ? output : errorOutput);
  return output.empty() ? "OK" : output;
}

std::optional<std::string> SimulatorBridge::resolveUDID() const { return resolveUDID(defaults()); }

std::optional<std::string> SimulatorBridge::resolveUDID(const SessionDefaults& session) const {
  if (session.simulatorId) return session.simulatorId;
  const auto listing = shell("xcrun simctl list devices booted -j", kDeviceCommandTimeout);
  return listing ? firstDeviceUDID(*listing) : std::nullopt;
}

}  // namespace wyvlet
