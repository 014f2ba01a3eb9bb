#pragma once

#include <optional>
#include <string>

#include "Support/ProcessRunner.h"

namespace wyvlet {

/// How long a command that goes to a device may take.
inline constexpr double kDeviceCommandTimeout = 30.0;

/// What a shell command line brought.
struct ShellResult {
  std::optional<std::string> output;  ///< trimmed; nothing when zsh could not be started or it is not UTF-8
  bool timedOut = false;
  int exitStatus = -1;
};

/// Runs `/bin/zsh -c command`, standard error merged into the output. Blocks for at most
/// `timeoutSeconds` plus a second; 0 or less is without limit. Any thread.
ShellResult runShell(ProcessRunner& runner, const std::string& command, double timeoutSeconds);

}  // namespace wyvlet
