#pragma once

#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"

namespace wyvlet {

/// wyvlet_assert_flow: judges every step of a JSON array against the whole cache, each for itself, and
/// sums up. It asserts that a flow's traces are there, not their order, and works on what was last
/// known when the app is gone. Pure.
std::string assertFlow(const CacheSnapshot& cache, std::string_view stepsJSON);

}  // namespace wyvlet
