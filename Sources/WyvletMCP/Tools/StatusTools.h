#pragma once

#include <string>

#include "Client/CacheSnapshot.h"

namespace wyvlet {

/// wyvlet_status: whether the app is there, and how much is known of it. Pure.
std::string status(const CacheSnapshot& cache);

}  // namespace wyvlet
