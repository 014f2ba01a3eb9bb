#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

// Verdicts on what the app did and shows. All of them are pure: the cache, or the app's answer, goes
// in as a value. Each answer begins with its verdict.

/// What wyvlet_check_event looks for.
struct EventQuery {
  std::string name = {};  // contained in message or category
  std::optional<std::string> property = {};
  std::optional<std::string> value = {};  // of no use without a property
  std::optional<std::int64_t> sinceSeconds = {};
};

/// wyvlet_check_event. Property and value form a regular expression, matched in linear time; one that
/// does not compile matches nothing.
std::string checkEvent(const CacheSnapshot& cache, const EventQuery& query, Date now);

/// What wyvlet_assert_request looks for.
struct RequestQuery {
  std::optional<std::string> urlPattern = {};
  std::optional<std::string> method = {};
  std::int64_t minStatus = 200;
  std::int64_t maxStatus = 299;
  std::optional<std::string> bodyContains = {};
  std::optional<std::int64_t> sinceSeconds = {};
};

/// wyvlet_assert_request: names the newest request that passes.
std::string assertRequest(const CacheSnapshot& cache, const RequestQuery& query, Date now);

/// wyvlet_get_value: the first line of the screen text that contains `text`, and the one below it.
std::string valueOnScreen(std::string_view screenText, std::string_view text);

/// wyvlet_assert_element: the verdict on the app's answer to a search for `text`. Enabled and
/// disabled are judged from visibility, which is all that such an answer tells.
std::string elementVerdict(std::string_view findAnswer, std::string_view text, std::string_view state);

/// wyvlet_verify_screen: the verdict on the app's screen text.
std::string screenVerdict(std::string_view screenText, std::string_view currentScreen,
                          const std::optional<std::string>& contains,
                          const std::optional<std::string>& notContains);

/// What the tools that judge the screen say without an app.
inline constexpr std::string_view kFailNotConnected = "FAIL: Wyvlet not connected";

}  // namespace wyvlet
