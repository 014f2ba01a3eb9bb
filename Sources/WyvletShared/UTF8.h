#pragma once

#include <cstddef>
#include <string_view>

namespace wyvlet {

/// What stands at one place of a text that should be UTF-8.
struct UTF8Sequence {
  std::size_t length;
  bool wellFormed;
};

/// The sequence at the start of `text`, which is not empty. An ill-formed one is as long as what could
/// still have become a character, so that a broken character costs one U+FFFD rather than several.
inline UTF8Sequence utf8SequenceAt(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {1, true};
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // overlong
    if (lead == 0xED) high = 0x9F;  // a surrogate
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;   // overlong
    if (lead == 0xF4) high = 0x8F;  // beyond U+10FFFF
  } else {
    return {1, false};
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (i >= text.size() || byte(i) < low || byte(i) > high) return {i, false};
    low = 0x80;
    high = 0xBF;
  }
  return {length, true};
}

}  // namespace wyvlet
