#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "CommandLine/Check.h"
#include "CommandLine/Probes.h"
#include "Support/ProcessRunner.h"

namespace wyvlet {

/// The kind of system the doctor looks at: simulators and their tools exist on macOS alone.
enum class Platform { MacOS, Linux };

#if defined(__APPLE__)
inline constexpr Platform kPlatform = Platform::MacOS;
#else
inline constexpr Platform kPlatform = Platform::Linux;
#endif

/// Looks at everything that the server depends on, in the order of the report. Changes nothing: no file is
/// written, no daemon started, and an app that another server has is left to it. Blocks for some seconds.
std::vector<Check> runDoctor();

/// The single checks. Where they look is an argument, so that they can be shown any state of the world.
Check checkShell(const std::string& path);
Check checkXcrun(ProcessRunner& runner, Platform platform);
Check checkAxe(const std::string& path, const std::string& programDirectory, Platform platform);
/// `searchPath` is the value of PATH: an adb there is of no use to the server, but tells what to do.
Check checkAdb(const std::string& path, const std::string& searchPath);
Check checkCodesign(const std::string& path, Platform platform);
Check checkDiscoveryDaemon(const std::vector<std::string>& sockets, Platform platform);
Check checkHTTPPort(std::uint16_t port, const HTTPPortProbe& probe);
/// `appAnswers` tells a marker that means something from one that a dead app left behind.
Check checkMarker(const std::string& path, bool appAnswers);
/// `status` is what AndroidCapture says about the capture.
Check checkCapture(const std::string& path, bool isActive, const std::string& status);
Check checkBaselines(const std::string& folder);

/// What is known about the app.
struct AppFacts {
  std::optional<std::uint16_t> servedOnPort;  ///< a running server that has the app
  AppProbe direct;                            ///< 127.0.0.1 and the direct port
  std::string announcedAt = {};               ///< host and port found by DNS-SD; "" when none
  AppProbe announced = {};                    ///< what came of connecting there
  std::string discoveryProblem = {};          ///< why nothing can be found by DNS-SD; "" when it can
};
Check checkApp(const AppFacts& facts);

}  // namespace wyvlet
