#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <string>

#include "HTTP/HTTPRoutes.h"

namespace wyvlet {
namespace {

/// What a request for a tool's route comes to: "tool {arguments}", or "none".
std::string routed(std::string_view method, std::string_view target, std::string_view body = "{}") {
  const auto* route = findRoute(method, target);
  if (route == nullptr || route->action != HTTPAction::CallTool) return "none";
  return std::string(route->tool) + " " + boost::json::serialize(route->argumentsOf(target, body));
}

HTTPAction actionOf(std::string_view method, std::string_view target) {
  const auto* route = findRoute(method, target);
  return route == nullptr ? HTTPAction::CallTool : route->action;
}

TEST(HTTPRoutes, ServerAndDeviceRoutes) {
  EXPECT_EQ(HTTPAction::Status, actionOf("GET", "/status"));
  EXPECT_EQ(HTTPAction::Status, actionOf("GET", "/status?at=now"));
  EXPECT_EQ(HTTPAction::Devices, actionOf("GET", "/devices"));
  EXPECT_EQ(HTTPAction::SetDefaults, actionOf("POST", "/devices/defaults"));
  EXPECT_EQ(HTTPAction::Screenshot, actionOf("GET", "/screenshot"));
}

TEST(HTTPRoutes, InputRoutesPassTheBodyOn) {
  EXPECT_EQ(R"(tap {"x":1,"y":2})", routed("POST", "/tap", R"({"x":1,"y":2})"));
  EXPECT_EQ(R"(swipe {"x1":1})", routed("POST", "/swipe", R"({"x1":1})"));
  EXPECT_EQ(R"(type_text {"text":"hi"})", routed("POST", "/type", R"({"text":"hi"})"));
  EXPECT_EQ(R"(button {"buttonType":"lock"})", routed("POST", "/button", R"({"buttonType":"lock"})"));
}

TEST(HTTPRoutes, ToolRoutes) {
  EXPECT_EQ("wyvlet_status {}", routed("GET", "/wyvlet/status"));
  EXPECT_EQ("wyvlet_screen_html {}", routed("GET", "/wyvlet/screen-html"));
  EXPECT_EQ("wyvlet_screen_text {}", routed("GET", "/wyvlet/screen-text"));
  EXPECT_EQ("wyvlet_get_rules {}", routed("GET", "/wyvlet/rules"));
  EXPECT_EQ(R"(wyvlet_find_element {"text":"Pay"})",
            routed("POST", "/wyvlet/find-element", R"({"text":"Pay"})"));
  EXPECT_EQ(R"(wyvlet_assert_request {"method":"GET"})",
            routed("POST", "/wyvlet/assert-request", R"({"method":"GET"})"));
  EXPECT_EQ(R"(wyvlet_add_mock_rule {"name":"m"})", routed("POST", "/wyvlet/mock-rule", R"({"name":"m"})"));
}

TEST(HTTPRoutes, LimitIsADecimalIntegerOrTwenty) {
  EXPECT_EQ(R"(wyvlet_get_network_logs {"limit":20})", routed("GET", "/wyvlet/network-logs"));
  EXPECT_EQ(R"(wyvlet_get_network_logs {"limit":5})", routed("GET", "/wyvlet/network-logs?limit=5"));
  EXPECT_EQ(R"(wyvlet_get_app_logs {"limit":7})", routed("GET", "/wyvlet/app-logs?x=1&limit=7"));
  EXPECT_EQ(R"(wyvlet_get_app_logs {"limit":10})", routed("GET", "/wyvlet/app-logs?limit=%31%30"));
  EXPECT_EQ(R"(wyvlet_get_app_logs {"limit":0})", routed("GET", "/wyvlet/app-logs?limit=0"));
  EXPECT_EQ(R"(wyvlet_get_app_logs {"limit":-3})", routed("GET", "/wyvlet/app-logs?limit=-3"));
  for (const char* limit : {"", "abc", "5.0", "%205", "99999999999999999999", "0x5"}) {
    EXPECT_EQ(R"(wyvlet_get_app_logs {"limit":20})",
              routed("GET", "/wyvlet/app-logs?limit=" + std::string(limit)))
        << limit;
  }
}

TEST(HTTPRoutes, FilterIsPassedOnWhenGiven) {
  EXPECT_EQ("wyvlet_get_user_defaults {}", routed("GET", "/wyvlet/user-defaults"));
  EXPECT_EQ(R"(wyvlet_get_user_defaults {"filter":"dark mode"})",
            routed("GET", "/wyvlet/user-defaults?filter=dark%20mode"));
  EXPECT_EQ(R"(wyvlet_get_user_defaults {"filter":""})", routed("GET", "/wyvlet/user-defaults?filter="));
}

TEST(HTTPRoutes, IdsAreTheRestOfThePathDecoded) {
  EXPECT_EQ(R"(wyvlet_get_request_detail {"request_id":"4C9B1F2E"})",
            routed("GET", "/wyvlet/request/4C9B1F2E"));
  EXPECT_EQ(R"(wyvlet_get_request_detail {"request_id":"a/b c"})",
            routed("GET", "/wyvlet/request/a/b%20c?limit=3"));
  EXPECT_EQ(R"(wyvlet_get_request_detail {"request_id":""})", routed("GET", "/wyvlet/request/"));
  EXPECT_EQ(R"(wyvlet_remove_mock_rule {"rule_id":"R1"})", routed("DELETE", "/wyvlet/mock-rule/R1"));
}

TEST(HTTPRoutes, BodyThatIsNoObjectBringsNoArguments) {
  for (const char* body : {"", "[1]", "null", "\"x\"", "{", "{\"x\":1}}", "{'x':1}", "{\"x\":\"\xFF\"}"}) {
    EXPECT_EQ("tap {}", routed("POST", "/tap", body)) << body;
  }
}

TEST(HTTPRoutes, BodyMayNestFiveHundredAndTwelveDeepAndNoDeeper) {
  const auto nested = [](int depth) {
    return R"({"a":)" + std::string(static_cast<std::size_t>(depth - 1), '[') +
           std::string(static_cast<std::size_t>(depth - 1), ']') + "}";
  };
  EXPECT_NE("tap {}", routed("POST", "/tap", nested(512)));
  EXPECT_EQ("tap {}", routed("POST", "/tap", nested(513)));
  EXPECT_EQ("tap {}", routed("POST", "/tap", std::string(1 << 20, '[')));
}

TEST(HTTPRoutes, MethodAndWholePathMustFit) {
  for (const auto& [method, target] : {std::pair{"POST", "/wyvlet/status"},
                                       {"get", "/wyvlet/status"},
                                       {"HEAD", "/wyvlet/status"},
                                       {"GET", "/wyvlet/status/"},
                                       {"GET", "/Wyvlet/status"},
                                       {"GET", "//wyvlet/status"},
                                       {"GET", "/tap"},
                                       {"GET", "/wyvlet/request"},
                                       {"POST", "/wyvlet/mock-rule/R1"},
                                       {"DELETE", "/wyvlet/mock-rule"},
                                       {"GET", "/"},
                                       {"GET", ""},
                                       {"", ""},
                                       {"GET", "/mcp"}}) {
    EXPECT_EQ(nullptr, findRoute(method, target)) << method << " " << target;
  }
}

TEST(HTTPRoutes, NotFoundNamesWhatWasAskedFor) {
  EXPECT_EQ(
      "{\"error\":\"Not found\",\"path\":\"/nowhere?x=\\\"1\\\"\",\"method\":\"PUT\","
      "\"hint\":\"GET /status for server info, GET /screenshot for screen capture\"}",
      notFoundJSON("PUT", "/nowhere?x=\"1\""));
}

TEST(HTTPRoutes, NotFoundIsValidJSONWhateverWasAskedFor) {
  const auto answer = boost::json::parse(notFoundJSON("\x01\xFF", std::string_view("/\0\xC3", 3)));
  EXPECT_EQ("\x01\xEF\xBF\xBD", answer.at("method").as_string());
  EXPECT_EQ(boost::json::string_view("/\0\xEF\xBF\xBD", 5), answer.at("path").as_string());
}

}  // namespace
}  // namespace wyvlet
