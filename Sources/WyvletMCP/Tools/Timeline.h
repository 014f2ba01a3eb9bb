#pragma once

#include <cstdint>
#include <string>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// wyvlet_timeline: the requests and log entries of the last `sinceSeconds` as one list, oldest first,
/// its newest `limit` lines. Pure.
std::string timeline(const CacheSnapshot& cache, std::int64_t sinceSeconds, std::int64_t limit, Date now);

}  // namespace wyvlet
