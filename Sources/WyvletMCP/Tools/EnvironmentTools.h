#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Commands.h"

namespace wyvlet {

/// The environment that the app uses; null when none is active or the active one is not listed. Valid
/// for as long as `cache`.
const TransferableEnvironment* activeEnvironment(const CacheSnapshot& cache);

/// Its name, or "none".
std::string activeEnvironmentName(const CacheSnapshot& cache);

/// wyvlet_get_environment: the active environment's URLs, and all environments. Pure.
std::string environment(const CacheSnapshot& cache);

/// wyvlet_switch_environment: sends the command when an environment of that name, in whatever case,
/// is known. The app confirms by an event of its own, so the answer only says what was asked for.
std::string switchEnvironment(const CacheSnapshot& cache, std::string_view name,
                              const std::function<void(const SwitchEnvironmentCommand&)>& send);

}  // namespace wyvlet
