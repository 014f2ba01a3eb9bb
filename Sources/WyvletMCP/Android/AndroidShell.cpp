#include "Android/AndroidShell.h"

#include <fmt/format.h>

#include "Support/Environment.h"
#include "Support/Text.h"

namespace wyvlet {

std::string androidToolPath(std::string_view home, std::string_view inheritedPath) {
  return fmt::format(
      "{0}/Library/Android/sdk/platform-tools:{0}/.local/bin:/opt/homebrew/bin:/usr/local/bin:{1}", home,
      inheritedPath);
}

std::string adbInvocation(std::string_view home, const std::optional<std::string>& serial) {
  auto invocation = fmt::format("'{}/Library/Android/sdk/platform-tools/adb' ", insideSingleQuotes(home));
  if (serial && !serial->empty()) invocation += "-s " + shellWord(*serial);
  return invocation;
}

ProcessOutcome runAndroidCommand(ProcessRunner& runner, const std::string& command) {
  ProcessRequest request;
  request.arguments = {"/bin/zsh", "-c", command};
  request.environment = {
      {"PATH", androidToolPath(homeFromEnvironment(), environmentVariable("PATH").value_or(""))}};
  return runner.run(request);
}

}  // namespace wyvlet
