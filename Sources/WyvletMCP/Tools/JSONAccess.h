#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// Reads strict JSON that came from outside; a value of any kind. Absent when the text is anything
/// else or nests deeper than `kMaxJSONDepth`. Never throws.
std::optional<boost::json::value> parseJSON(std::string_view text);

/// The value of a number that is whole and fits 64 bits, however it was written: 20.0 is 20.
std::optional<std::int64_t> integralNumber(const boost::json::value& value);

/// The text under `key`; absent when the key is missing or holds something else.
std::optional<std::string> textMember(const boost::json::object& object, std::string_view key);

/// The same for a whole number.
std::optional<std::int64_t> integralMember(const boost::json::object& object, std::string_view key);

/// The same for any number.
std::optional<double> numberMember(const boost::json::object& object, std::string_view key);

/// The same for a coordinate: any number, without its fraction.
std::optional<long long> coordinateMember(const boost::json::object& object, std::string_view key);

}  // namespace wyvlet
