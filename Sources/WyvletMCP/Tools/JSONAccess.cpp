#include "Tools/JSONAccess.h"

#include <boost/json.hpp>
#include <cmath>
#include <limits>

#include "Support/Text.h"
#include "WyvletShared/RecordCodec.h"

namespace wyvlet {

std::optional<boost::json::value> parseJSON(std::string_view text) {
  boost::json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  boost::json::error_code error;
  auto value = boost::json::parse(text, error, {}, options);
  if (error) return std::nullopt;
  return value;
}

std::optional<std::int64_t> integralNumber(const boost::json::value& value) {
  if (const auto* whole = value.if_int64()) return *whole;
  const auto* floating = value.if_double();
  if (floating == nullptr || std::trunc(*floating) != *floating) return std::nullopt;
  // The bounds are the powers of two themselves: the largest integer has no double of its own.
  constexpr double kBound = 9223372036854775808.0;
  if (*floating < -kBound || *floating >= kBound) return std::nullopt;
  return static_cast<std::int64_t>(*floating);
}

std::optional<std::string> textMember(const boost::json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (value == nullptr || !value->is_string()) return std::nullopt;
  return std::string(value->get_string());
}

std::optional<std::int64_t> integralMember(const boost::json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value == nullptr ? std::nullopt : integralNumber(*value);
}

std::optional<double> numberMember(const boost::json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (value == nullptr || !value->is_number()) return std::nullopt;
  return value->to_number<double>();
}

std::optional<long long> coordinateMember(const boost::json::object& object, std::string_view key) {
  // Not by way of a double where it is whole already: the largest would change.
  if (const auto whole = integralMember(object, key)) return *whole;
  const auto number = numberMember(object, key);
  return number ? std::optional(truncatedInteger(*number)) : std::nullopt;
}

}  // namespace wyvlet
