#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// Pure functions over the target of a request line, such as "/wyvlet/app-logs?limit=5". They take
/// any bytes.

/// The target without its query.
std::string_view pathOf(std::string_view target);

/// The first value of `key` in the query, percent-decoded; nothing when the key is not there.
std::optional<std::string> queryValue(std::string_view target, std::string_view key);

/// `text` with "%41" read as "A", as valid UTF-8. A percent sign that no two hex digits follow stands
/// for itself, and so does a plus sign.
std::string percentDecoded(std::string_view text);

/// A decimal integer with an optional sign and nothing else; nothing when it does not fit.
std::optional<std::int64_t> parseDecimal(std::string_view text);

/// The value of a hexadecimal digit in either case.
std::optional<int> hexDigit(char c);

}  // namespace wyvlet
