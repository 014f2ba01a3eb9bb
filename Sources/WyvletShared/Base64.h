#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// Standard base64 with padding, without line breaks.
std::string encodeBase64(std::string_view bytes);

/// Strict: standard alphabet, padding required, no white space, no stray bits in the last group.
/// Nothing when the text is anything else.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace wyvlet
