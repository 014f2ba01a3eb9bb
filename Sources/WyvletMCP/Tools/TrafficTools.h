#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Commands.h"

namespace wyvlet {

// What the app sent, received and logged. All but the replay are pure.

/// wyvlet_get_network_logs: a line a request, newest first.
std::string networkLogs(const CacheSnapshot& cache, std::int64_t limit,
                        const std::optional<std::string>& screen, const std::optional<std::string>& source);

/// wyvlet_get_request_detail: headers and bodies of the request whose id begins with `id`.
std::string requestDetail(const CacheSnapshot& cache, std::string_view id);

/// wyvlet_get_app_logs: a line a log entry, newest first.
std::string appLogs(const CacheSnapshot& cache, std::int64_t limit, const std::optional<std::string>& level,
                    const std::optional<std::string>& screen);

/// wyvlet_get_websocket_logs: every connection with its last `limit` frames, oldest first.
std::string websocketLogs(const CacheSnapshot& cache, std::int64_t limit);

/// wyvlet_replay_request: has the app send the request whose id begins with `id` once more.
std::string replayRequest(const CacheSnapshot& cache, std::string_view id,
                          const std::function<void(const ReplayRequestCommand&)>& send);

}  // namespace wyvlet
