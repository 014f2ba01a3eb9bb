#include "HTTP/HTTPRoutes.h"

#include <fmt/format.h>

#include <boost/json.hpp>

#include "HTTP/HTTPTarget.h"
#include "MCP/JSONRPC.h"
#include "Tools/JSONAccess.h"

namespace wyvlet {
namespace {

constexpr std::int64_t kDefaultLimit = 20;

/// The arguments that a client posts. A body that is no JSON object brings none, and the tool says
/// in its own words what it misses.
boost::json::object bodyArguments(const RoutedRequest& request) {
  auto body = parseJSON(request.body);
  return body && body->is_object() ? std::move(body->get_object()) : boost::json::object();
}

boost::json::object limitArgument(const RoutedRequest& request) {
  const auto text = queryValue(request.target, "limit");
  return {{"limit", (text ? parseDecimal(*text) : std::nullopt).value_or(kDefaultLimit)}};
}

boost::json::object filterArgument(const RoutedRequest& request) {
  const auto filter = queryValue(request.target, "filter");
  return filter ? boost::json::object{{"filter", *filter}} : boost::json::object();
}

boost::json::object requestIdArgument(const RoutedRequest& request) { return {{"request_id", request.id}}; }
boost::json::object ruleIdArgument(const RoutedRequest& request) { return {{"rule_id", request.id}}; }

using enum HTTPAction;

constexpr HTTPRoute kRoutes[] = {
    {"GET", "/status", Status},
    {"GET", "/devices", Devices},
    {"POST", "/devices/defaults", SetDefaults, "", bodyArguments},
    {"GET", "/screenshot", Screenshot},
    {"POST", "/tap", CallTool, "tap", bodyArguments},
    {"POST", "/swipe", CallTool, "swipe", bodyArguments},
    {"POST", "/type", CallTool, "type_text", bodyArguments},
    {"POST", "/button", CallTool, "button", bodyArguments},
    {"GET", "/wyvlet/status", CallTool, "wyvlet_status"},
    {"GET", "/wyvlet/network-logs", CallTool, "wyvlet_get_network_logs", limitArgument},
    {"GET", "/wyvlet/request/", CallTool, "wyvlet_get_request_detail", requestIdArgument},
    {"GET", "/wyvlet/app-logs", CallTool, "wyvlet_get_app_logs", limitArgument},
    {"GET", "/wyvlet/screen-html", CallTool, "wyvlet_screen_html"},
    {"GET", "/wyvlet/screen-text", CallTool, "wyvlet_screen_text"},
    {"POST", "/wyvlet/find-element", CallTool, "wyvlet_find_element", bodyArguments},
    {"POST", "/wyvlet/assert-request", CallTool, "wyvlet_assert_request", bodyArguments},
    {"GET", "/wyvlet/user-defaults", CallTool, "wyvlet_get_user_defaults", filterArgument},
    {"POST", "/wyvlet/mock-rule", CallTool, "wyvlet_add_mock_rule", bodyArguments},
    {"DELETE", "/wyvlet/mock-rule/", CallTool, "wyvlet_remove_mock_rule", ruleIdArgument},
    {"GET", "/wyvlet/rules", CallTool, "wyvlet_get_rules"},
};

}  // namespace

boost::json::object HTTPRoute::argumentsOf(std::string_view target, std::string_view body) const {
  if (arguments == nullptr) return {};
  return arguments({target, body, percentDecoded(pathOf(target).substr(path.size()))});
}

const HTTPRoute* findRoute(std::string_view method, std::string_view target) {
  const auto requested = pathOf(target);
  for (const auto& route : kRoutes) {
    const bool takesId = route.path.ends_with('/');
    const bool fits = takesId ? requested.starts_with(route.path) : requested == route.path;
    if (fits && method == route.method) return &route;
  }
  return nullptr;
}

std::string notFoundJSON(std::string_view method, std::string_view target) {
  return fmt::format(R"({{"error":"Not found","path":{},"method":{},)"
                     R"("hint":"GET /status for server info, GET /screenshot for screen capture"}})",
                     jsonString(target), jsonString(method));
}

}  // namespace wyvlet
