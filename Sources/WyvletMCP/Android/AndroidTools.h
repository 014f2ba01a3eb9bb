#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// The Android tools' answers from a parsed capture; null is a capture that could not be read. What
/// is missing in it, or of another JSON type than expected, counts as absent. Pure.
namespace AndroidTools {

/// Whether the bridge is connected and its capture younger than 30 seconds.
bool isLive(const boost::json::object* capture, std::int64_t nowMilliseconds);

/// Says CONNECTED for a stale capture too: the bridge's word stands until it takes it back.
std::string status(const boost::json::object* capture);

/// The last `limit` requests whose URL contains `urlFilter`, oldest first.
std::string networkLogs(const boost::json::object* capture, std::int64_t limit,
                        const std::optional<std::string>& urlFilter);

/// The last request with exactly this id.
std::string requestDetail(const boost::json::object* capture, std::string_view id);
std::string formatRequestDetail(const boost::json::object& request);

/// The last `limit` entries of exactly this level, oldest first.
std::string appLogs(const boost::json::object* capture, std::int64_t limit,
                    const std::optional<std::string>& level);

/// Whether a request has a URL that contains `urlPattern` and the method, in any case; no method and
/// "*" are any.
std::string assertRequest(const boost::json::object* capture, std::string_view urlPattern,
                          const std::optional<std::string>& method);

/// The entries whose file or key contains `filter` in any case; the first 50 are shown.
std::string prefs(const boost::json::object* capture, const std::optional<std::string>& filter);

}  // namespace AndroidTools

}  // namespace wyvlet
