#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace wyvlet::test {

/// The PNG files of the tests, written here so that every colour type, depth and interlacing can be
/// had, and every kind of damage. The data is stored, not packed.
struct PNGFormat {
  std::uint32_t width = 1;
  std::uint32_t height = 1;
  int bitDepth = 8;
  int colourType = 6;  // 0 grey, 2 RGB, 3 palette, 4 grey and alpha, 6 RGB and alpha
  bool interlaced = false;
  std::string palette = {};       // the content of PLTE, when not empty
  std::string transparency = {};  // the content of tRNS, when not empty

  int channels() const;
};

/// The sample of a channel at a place, as stored: from 0 to 2^bitDepth - 1.
using PNGSamples = std::function<unsigned(std::uint32_t x, std::uint32_t y, int channel)>;

std::string writePNG(const PNGFormat& format, const PNGSamples& samples);

/// An opaque 8-bit picture of one colour.
std::string plainPNG(std::uint32_t width, std::uint32_t height, std::uint8_t red, std::uint8_t green,
                     std::uint8_t blue);

/// The pieces, for files that no writer would write.
inline constexpr std::string_view kPNGSignature = "\x89PNG\r\n\x1A\n";
std::string bigEndian32(std::uint32_t value);
std::string pngChunk(std::string_view type, std::string_view data);
std::string pngHeader(const PNGFormat& format);
std::string storedZlibStream(std::string_view data);

}  // namespace wyvlet::test
