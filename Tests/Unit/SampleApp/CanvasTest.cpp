#include <gtest/gtest.h>
#include <spng.h>

#include <memory>
#include <vector>

#include "WyvletSampleApp/Canvas.h"

namespace wyvlet::sample {
namespace {

constexpr Color kWhite{255, 255, 255};
constexpr Color kRed{200, 10, 20};

/// The pixels of a PNG file, RGB.
std::vector<std::uint8_t> decoded(const std::string& png, std::uint32_t& width, std::uint32_t& height) {
  const std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> context(spng_ctx_new(0), spng_ctx_free);
  EXPECT_EQ(spng_set_png_buffer(context.get(), png.data(), png.size()), 0);
  spng_ihdr header{};
  EXPECT_EQ(spng_get_ihdr(context.get(), &header), 0);
  width = header.width;
  height = header.height;
  std::size_t size = 0;
  EXPECT_EQ(spng_decoded_image_size(context.get(), SPNG_FMT_RGB8, &size), 0);
  std::vector<std::uint8_t> pixels(size);
  EXPECT_EQ(spng_decode_image(context.get(), pixels.data(), size, SPNG_FMT_RGB8, 0), 0);
  return pixels;
}

TEST(Canvas, StartsWhite) {
  const Canvas canvas(3, 2, 1);
  EXPECT_EQ(canvas.pixel(0, 0), kWhite);
  EXPECT_EQ(canvas.pixel(2, 1), kWhite);
}

TEST(Canvas, FillsThePointsOfAFrameAndNoOthers) {
  Canvas canvas(4, 4, 2);
  canvas.fill({1, 1, 2, 1}, kRed);
  for (int y = 0; y < canvas.pixelHeight(); ++y) {
    for (int x = 0; x < canvas.pixelWidth(); ++x) {
      const bool inside = x >= 2 && x < 6 && y >= 2 && y < 4;
      EXPECT_EQ(canvas.pixel(x, y), inside ? kRed : kWhite) << x << "," << y;
    }
  }
}

TEST(Canvas, WhatLiesOutsideIsCutOff) {
  Canvas canvas(2, 2, 1);
  canvas.fill({-5, -5, 6, 6}, kRed);
  canvas.fill({5, 5, 10, 10}, kRed);
  canvas.fill({0, 0, -1, 3}, kRed);
  EXPECT_EQ(canvas.pixel(0, 0), kRed);
  EXPECT_EQ(canvas.pixel(1, 1), kWhite);
}

TEST(Canvas, AnOutlineLeavesTheMiddle) {
  Canvas canvas(5, 5, 1);
  canvas.outline({0, 0, 5, 5}, 1, kRed);
  EXPECT_EQ(canvas.pixel(0, 2), kRed);
  EXPECT_EQ(canvas.pixel(4, 4), kRed);
  EXPECT_EQ(canvas.pixel(2, 2), kWhite);
}

TEST(Canvas, TextIsDrawnWithinItsClip) {
  Canvas canvas(40, 20, 1);
  canvas.text(0, 0, 1, kRed, "LL", {0, 0, 6, 20});
  EXPECT_EQ(canvas.pixel(0, 0), kRed);
  EXPECT_EQ(canvas.pixel(4, 6), kRed);
  for (int y = 0; y < 20; ++y) EXPECT_EQ(canvas.pixel(6, y), kWhite);
}

TEST(Canvas, AnySequenceOfBytesCanBeDrawn) {
  Canvas canvas(30, 10, 1);
  canvas.text(0, 0, 1, kRed, "\xff\xc3\x28\x00", {0, 0, 30, 10});
  EXPECT_EQ(canvas.pixel(0, 0), kRed);
}

TEST(Canvas, TextWidthCountsCharactersNotBytes) {
  EXPECT_EQ(Canvas::textWidth("", 2), 0);
  EXPECT_EQ(Canvas::textWidth("ab", 2), 22);
  EXPECT_EQ(Canvas::textWidth("€€", 2), 22);
}

TEST(Canvas, ThePNGHoldsEveryPixel) {
  Canvas canvas(7, 3, 2);
  canvas.fill({2, 1, 3, 1}, kRed);
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  const auto pixels = decoded(canvas.png(), width, height);
  ASSERT_EQ(width, 14U);
  ASSERT_EQ(height, 6U);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 14; ++x) {
      const std::size_t at = (static_cast<std::size_t>(y) * 14 + static_cast<std::size_t>(x)) * 3;
      EXPECT_EQ(canvas.pixel(x, y), (Color{pixels[at], pixels[at + 1], pixels[at + 2]}));
    }
  }
}

}  // namespace
}  // namespace wyvlet::sample
