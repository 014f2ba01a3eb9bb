#pragma once

#include <boost/json/fwd.hpp>
#include <string>
#include <string_view>

namespace wyvlet {

/// What a route does.
enum class HTTPAction { Status, Devices, SetDefaults, Screenshot, CallTool };

/// A request as a route reads it.
struct RoutedRequest {
  std::string_view target;  ///< path and query
  std::string_view body;
  std::string id;  ///< what the path holds beyond that of the route, percent-decoded
};

/// One REST route.
struct HTTPRoute {
  std::string_view method;
  std::string_view path;  ///< the whole path, or, ending in "/", what stands before an id
  HTTPAction action;
  std::string_view tool = {};                                                ///< of a `CallTool` route
  boost::json::object (*arguments)(const RoutedRequest& request) = nullptr;  ///< what action or tool is given

  /// The arguments that a request for this route brings.
  boost::json::object argumentsOf(std::string_view target, std::string_view body) const;
};

/// The route of a request; null when there is none. Pure; any bytes.
const HTTPRoute* findRoute(std::string_view method, std::string_view target);

/// The answer where there is no route, as JSON text.
std::string notFoundJSON(std::string_view method, std::string_view target);

}  // namespace wyvlet
