#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Support/ProcessRunner.h"

namespace wyvlet {

/// The PATH of the Android tools: the SDK's and the user's own tools before the inherited ones. Pure.
std::string androidToolPath(std::string_view home, std::string_view inheritedPath);

/// The beginning of an adb command line for the device, or for the only one there is. Pure.
std::string adbInvocation(std::string_view home, const std::optional<std::string>& serial);

/// Runs one command line in a shell with that PATH; standard error is kept apart. No time limit.
ProcessOutcome runAndroidCommand(ProcessRunner& runner, const std::string& command);

}  // namespace wyvlet
