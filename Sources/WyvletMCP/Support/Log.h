#pragma once

#include <string_view>

namespace wyvlet {

/// Writes one diagnostic line to standard error: the tag ("[wyvlet] ", "[sim-bridge] ", "[http] "),
/// the text, a line feed, in one write. Control characters become spaces, so that a line stays one
/// line whatever the text holds; a line longer than 4096 bytes is cut between characters. Never
/// blocks: when nobody drains standard error the line is dropped and counted, and the count is
/// reported by the next line that gets through. Any thread; lines of several threads never mix.
void logLine(std::string_view tag, std::string_view text);

/// The tags, one for each subsystem that logs.
inline constexpr std::string_view kClientTag = "[wyvlet] ";
inline constexpr std::string_view kDevicesTag = "[sim-bridge] ";
inline constexpr std::string_view kHTTPTag = "[http] ";

}  // namespace wyvlet
