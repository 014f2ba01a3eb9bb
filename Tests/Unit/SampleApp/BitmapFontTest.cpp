#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "WyvletSampleApp/BitmapFont.h"

namespace wyvlet::sample {
namespace {

TEST(BitmapFont, EveryPrintableSignHasAShapeOfItsOwn) {
  std::map<std::array<std::uint8_t, Glyph::kHeight>, char> shapes;
  const auto unknown = glyphFor(0x10FFFF).rows;
  for (char c = '!'; c <= '~'; ++c) {
    const auto rows = glyphFor(static_cast<char32_t>(c)).rows;
    EXPECT_NE(rows, unknown) << c;
    const auto [other, isNew] = shapes.emplace(rows, c);
    EXPECT_TRUE(isNew) << c << " looks like " << other->second;
  }
}

TEST(BitmapFont, NoGlyphIsWiderThanItsBox) {
  for (char32_t c = 0; c < 0x3000; ++c) {
    for (std::uint8_t row : glyphFor(c).rows) EXPECT_LT(row, 1U << Glyph::kWidth);
  }
}

TEST(BitmapFont, ASpaceIsEmpty) {
  const auto& rows = glyphFor(U' ').rows;
  EXPECT_TRUE(std::all_of(rows.begin(), rows.end(), [](auto row) { return row == 0; }));
}

TEST(BitmapFont, TheLetterLIsDrawnAsOneReadsIt) {
  const std::array<std::uint8_t, Glyph::kHeight> expected = {0b10000, 0b10000, 0b10000, 0b10000, 0b10000,
                                                             0b10000, 0b11111, 0,       0};
  EXPECT_EQ(glyphFor(U'L').rows, expected);
}

TEST(BitmapFont, UnknownSignsShareABox) {
  EXPECT_EQ(glyphFor(U'漢').rows, glyphFor(0xFFFD).rows);
  EXPECT_NE(glyphFor(U'€').rows, glyphFor(0xFFFD).rows);
}

}  // namespace
}  // namespace wyvlet::sample
