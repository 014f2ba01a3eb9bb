#pragma once

#include <string>
#include <string_view>

namespace wyvlet::sample {

/// The control channel is made of lines, so a line feed or carriage return inside a command or an
/// answer travels as "\n" or "\r", and a backslash as "\\".
std::string escapedLine(std::string_view text);
/// The reverse; a backslash before anything else stays.
std::string unescapedLine(std::string_view line);

}  // namespace wyvlet::sample
