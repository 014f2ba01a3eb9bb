#pragma once

#include <string>

#include "Client/CacheSnapshot.h"

namespace wyvlet {

/// wyvlet_get_recorded_flows: every recorded flow with its steps. Pure.
std::string recordedFlows(const CacheSnapshot& cache);

}  // namespace wyvlet
