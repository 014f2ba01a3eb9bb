#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "WyvletShared/Values.h"

namespace wyvlet {

/// Appends one JSON value to `json`. Text that is not UTF-8 gets U+FFFD in place of each ill-formed
/// sequence, so that the result is valid JSON whatever the app or a page put into it.
void appendJSON(std::string& json, std::string_view text);

/// The shortest decimal that reads back as the same number. JSON has no word for infinity and NaN:
/// they are written as null, which the reader of a required field refuses.
void appendJSON(std::string& json, double number);

void appendJSON(std::string& json, std::int64_t number);
void appendJSON(std::string& json, std::uint64_t number);
void appendJSON(std::string& json, Date date, DateEpoch epoch);

}  // namespace wyvlet
