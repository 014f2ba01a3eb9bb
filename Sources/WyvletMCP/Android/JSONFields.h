#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <optional>
#include <string_view>

namespace wyvlet {

/// Reading of JSON that others wrote: a member that is missing or of another type is absent. Nothing
/// is copied, since a captured body may be large: what is returned lives as long as the object. Pure.

std::optional<std::string_view> textField(const boost::json::object& object, std::string_view key);

/// A number that is whole and fits 64 bits, however it is written: 20.0 is 20, 1e300 is absent.
std::optional<std::int64_t> integerField(const boost::json::object& object, std::string_view key);

std::optional<double> numberField(const boost::json::object& object, std::string_view key);

/// False when absent.
bool boolField(const boost::json::object& object, std::string_view key);

/// Null when absent.
const boost::json::array* arrayField(const boost::json::object& object, std::string_view key);
const boost::json::object* objectField(const boost::json::object& object, std::string_view key);

}  // namespace wyvlet
