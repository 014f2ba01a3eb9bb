#include "Tools/EnvironmentTools.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {

const TransferableEnvironment* activeEnvironment(const CacheSnapshot& cache) {
  if (!cache.activeEnvironmentId) return nullptr;
  const auto active =
      std::find_if(cache.environments.begin(), cache.environments.end(),
                   [&](const auto& environment) { return environment.id == *cache.activeEnvironmentId; });
  return active == cache.environments.end() ? nullptr : &*active;
}

std::string activeEnvironmentName(const CacheSnapshot& cache) {
  const auto* active = activeEnvironment(cache);
  return active == nullptr ? "none" : active->name;
}

std::string environment(const CacheSnapshot& cache) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const auto* active = activeEnvironment(cache);
  std::string text = "Active: " + activeEnvironmentName(cache);
  if (active != nullptr) {
    for (std::size_t index = 0; index < active->baseURLs.size(); ++index) {
      fmt::format_to(std::back_inserter(text), "\n  URL[{}]: {}", index, active->baseURLs[index]);
    }
  }
  text += "\n\nAvailable environments:";
  for (const auto& each : cache.environments) {
    fmt::format_to(std::back_inserter(text), "\n  {}{}: {}", each.name, &each == active ? " ← ACTIVE" : "",
                   joined(each.baseURLs, ", "));
  }
  return text;
}

std::string switchEnvironment(const CacheSnapshot& cache, std::string_view name,
                              const std::function<void(const SwitchEnvironmentCommand&)>& send) {
  if (!cache.isConnected) return std::string(kNotConnected);
  std::vector<std::string> names;
  for (const auto& each : cache.environments) {
    if (equalIgnoringCase(each.name, name)) {
      send({each.id});
      return fmt::format("Switched to: {} ({})", each.name, joined(each.baseURLs, ", "));
    }
    names.push_back(each.name);
  }
  return fmt::format("Environment '{}' not found. Available: {}", name, joined(names, ", "));
}

}  // namespace wyvlet
