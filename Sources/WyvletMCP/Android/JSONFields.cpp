#include "Android/JSONFields.h"

#include <boost/json.hpp>
#include <cmath>

namespace wyvlet {

namespace json = boost::json;

std::optional<std::string_view> textField(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (value == nullptr || !value->is_string()) return std::nullopt;
  return std::string_view(value->get_string());
}

std::optional<std::int64_t> integerField(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (value == nullptr) return std::nullopt;
  if (const auto* whole = value->if_int64()) return *whole;
  const auto* floating = value->if_double();
  if (floating == nullptr || std::trunc(*floating) != *floating) return std::nullopt;
  // The bounds are powers of two: the largest integer has no double of its own.
  constexpr double kBound = 9223372036854775808.0;
  if (*floating < -kBound || *floating >= kBound) return std::nullopt;
  return static_cast<std::int64_t>(*floating);
}

std::optional<double> numberField(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (value == nullptr || !value->is_number()) return std::nullopt;
  return value->to_number<double>();
}

bool boolField(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value != nullptr && value->is_bool() && value->get_bool();
}

const json::array* arrayField(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value == nullptr ? nullptr : value->if_array();
}

const json::object* objectField(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value == nullptr ? nullptr : value->if_object();
}

}  // namespace wyvlet
