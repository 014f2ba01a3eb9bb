#include "Tools/RebuildApp.h"

#include <unistd.h>

#include <boost/json/object.hpp>
#include <optional>
#include <string_view>
#include <vector>

#include "Devices/SimulatorBridge.h"
#include "Support/Text.h"
#include "Tools/JSONAccess.h"

namespace wyvlet {
namespace {

constexpr double kBuildTimeout = 120.0;

/// The argument when it holds text, else the default.
std::optional<std::string> argumentOr(const boost::json::object& args, std::string_view key,
                                      const std::optional<std::string>& otherwise) {
  auto text = textMember(args, key);
  return text && !text->empty() ? text : otherwise;
}

std::string buildCommand(const std::string& scheme, const std::optional<std::string>& projectPath,
                         const std::string& simulator) {
  std::string command = "xcodebuild ";
  if (projectPath) {
    command += projectPath->ends_with(".xcworkspace") ? "-workspace '" : "-project '";
    command += insideSingleQuotes(*projectPath) + "' ";
  }
  return command + "-scheme " + shellWord(scheme) +
         " -destination 'platform=iOS Simulator,id=" + insideSingleQuotes(simulator) +
         "' -derivedDataPath /tmp/wyvlet_build build 2>&1 | tail -5";
}

/// The first built app among the lines that find wrote; its complaints are among them too.
std::optional<std::string> builtApp(const std::string& findOutput) {
  for (const auto line : split(findOutput, "\n")) {
    if (line.starts_with("/tmp/wyvlet_build/") && line.ends_with(".app")) return std::string(line);
  }
  return std::nullopt;
}

}  // namespace

std::string rebuildApp(const boost::json::object& args, SimulatorBridge& sim) {
  const auto session = sim.defaults();
  const auto scheme = argumentOr(args, "scheme", session.scheme);
  if (!scheme) {
    return "Error: scheme is required. Set it with session_set_defaults or pass it as an argument.";
  }
  const auto projectPath =
      argumentOr(args, "project_path", session.projectPath ? session.projectPath : session.workspacePath);
  const auto simulator = session.simulatorId.value_or("booted");

  std::vector<std::string> lines = {"Rebuilding..."};
  if (session.bundleId) {
    sim.stopApp(*session.bundleId, simulator);
    lines.push_back("Stopped " + *session.bundleId);
  }

  const auto build = sim.shellResult(buildCommand(*scheme, projectPath, simulator), kBuildTimeout);
  // A build that left no readable output is told in the same words: its end was not seen either.
  if (build.timedOut || !build.output) return "Build failed (timeout after 120 seconds)";
  if (build.output->find("BUILD SUCCEEDED") != std::string::npos) {
    lines.emplace_back("Build succeeded");
  } else if (build.output->find("BUILD FAILED") != std::string::npos) {
    return "Build failed:\n" + *build.output;
  } else {
    lines.push_back("Build output: " + *build.output);
  }

  const auto found = sim.shell("find /tmp/wyvlet_build -name '*.app' -path '*/Build/Products/*' | head -1",
                               kDeviceCommandTimeout);
  const auto app = builtApp(found.value_or(""));
  if (!app) return joined(lines, "\n") + "\nError: Could not find built .app";

  sim.shell("xcrun simctl install " + shellWord(simulator) + " '" + insideSingleQuotes(*app) + "' 2>&1",
            kDeviceCommandTimeout);
  lines.push_back("Installed: " + *app);

  if (session.bundleId) {
    auto launch =
        "xcrun simctl launch " + shellWord(simulator) + " " + shellWord(*session.bundleId) + " 2>&1";
    if (::access(kProbePath, F_OK) == 0) {
      launch = std::string("SIMCTL_CHILD_DYLD_INSERT_LIBRARIES=") + kProbePath + " " + launch;
    }
    sim.shell(launch, kDeviceCommandTimeout);
    lines.push_back("Relaunched " + *session.bundleId);
  }
  return joined(lines, "\n");
}

}  // namespace wyvlet
