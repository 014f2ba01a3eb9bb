#pragma once

#include <optional>
#include <string>

#include "Client/CacheSnapshot.h"

namespace wyvlet {

// What the app has persisted. Pure.

/// wyvlet_get_user_defaults: the first 50 entries whose key contains `filter`.
std::string userDefaults(const CacheSnapshot& cache, const std::optional<std::string>& filter);

/// wyvlet_get_cookies: the user-defaults entries that hold cookies.
std::string cookies(const CacheSnapshot& cache);

}  // namespace wyvlet
