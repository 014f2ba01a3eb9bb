#pragma once

#include <array>
#include <cstdint>

namespace wyvlet::sample {

/// A letter of the built-in font: rows from the top, of which seven stand on the line and two hang
/// below it; bit 4 is the leftmost of five columns.
struct Glyph {
  static constexpr int kWidth = 5;
  static constexpr int kHeight = 9;
  /// From one letter to the next, the gap included.
  static constexpr int kAdvance = 6;

  std::array<std::uint8_t, kHeight> rows{};
};

/// The glyph of a code point: printable ASCII and the few signs that the app itself writes; an empty
/// box for everything else. Built in, so that a picture of the screen is the same on every machine.
const Glyph& glyphFor(char32_t codePoint);

}  // namespace wyvlet::sample
