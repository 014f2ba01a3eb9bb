#include "Devices/Shell.h"

#include "Support/Text.h"

namespace wyvlet {

ShellResult runShell(ProcessRunner& runner, const std::string& command, double timeoutSeconds) {
  ProcessRequest request;
  request.arguments = {"/bin/zsh", "-c", command};
  request.mergeErrorOutput = true;
  request.timeoutSeconds = timeoutSeconds;
  const auto outcome = runner.run(request);
  ShellResult result{std::nullopt, outcome.timedOut, outcome.exitStatus};
  if (outcome.started() && isValidUTF8(outcome.output)) result.output = std::string(trimmed(outcome.output));
  return result;
}

}  // namespace wyvlet
