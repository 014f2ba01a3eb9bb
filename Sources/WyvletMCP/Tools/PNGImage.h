#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace wyvlet {

/// A decoded picture: rows from the top without gaps, four bytes a pixel, red, green and blue
/// premultiplied by alpha. Movable; owned by one thread at a time.
class PNGImage {
 public:
  /// The most that is decoded: 400 MB of pixels.
  static constexpr std::uint64_t kMaxPixels = 100'000'000;

  /// Decodes a PNG of any colour type, bit depth and interlacing, 16-bit channels to their upper
  /// half. Nothing for what is not a whole and intact PNG of at most `kMaxPixels`; that limit is
  /// checked on the header, before memory is taken.
  static std::optional<PNGImage> decode(std::string_view png);

  /// The picture drawn into a rectangle of at least 1x1 that is nowhere larger than itself: each
  /// pixel becomes the average of the area it covers. Nothing when there is no memory for it.
  std::optional<PNGImage> shrunkTo(std::uint32_t width, std::uint32_t height) const;

  std::uint32_t width() const { return width_; }
  std::uint32_t height() const { return height_; }
  std::uint64_t pixelCount() const { return std::uint64_t{width_} * height_; }
  std::span<const std::uint8_t> pixels() const { return {pixels_.get(), byteCount()}; }

 private:
  PNGImage(std::uint32_t width, std::uint32_t height);

  std::size_t byteCount() const { return static_cast<std::size_t>(pixelCount() * 4); }
  std::span<std::uint8_t> mutablePixels() { return {pixels_.get(), byteCount()}; }

  std::uint32_t width_;
  std::uint32_t height_;
  std::unique_ptr<std::uint8_t[]> pixels_;  // null when there was no memory for it
};

}  // namespace wyvlet
