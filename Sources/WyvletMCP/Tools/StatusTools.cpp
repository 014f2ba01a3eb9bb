#include "Tools/StatusTools.h"

#include <fmt/format.h>

#include "Tools/EnvironmentTools.h"

namespace wyvlet {

std::string status(const CacheSnapshot& cache) {
  if (!cache.isConnected) {
    return "Wyvlet: NOT CONNECTED\n"
           "The iOS app may not be running, or Wyvlet.shared.start() hasn't been called.\n"
           "Ensure the app is running in the simulator with Wyvlet enabled.";
  }
  return fmt::format(
      "Wyvlet: CONNECTED ✅\n"
      "Build: {}\n"
      "HTTP Requests: {}\n"
      "WebSocket Connections: {}\n"
      "Log Entries: {}\n"
      "Environments: {} (active: {})\n"
      "QA Checklist Items: {}\n"
      "Rules: {} rewrite, {} mock, {} intercept\n"
      "UserDefaults: {} entries\n"
      "Keychain: {} entries",
      cache.buildNumber, cache.httpRequests.size(), cache.wsConnections.size(), cache.logEntries.size(),
      cache.environments.size(), activeEnvironmentName(cache), cache.qaResults.size(),
      cache.rewriteRules.size(), cache.mockRules.size(), cache.interceptRules.size(),
      cache.userDefaultsEntries.size(), cache.keychainEntries.size());
}

}  // namespace wyvlet
