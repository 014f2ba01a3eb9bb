// Two screenshots in one input, each after a byte that says how long it is in units of 64 bytes. The
// pictures come as they are, or as bare chunks that get their lengths and checksums here, since
// hardly anything that a fuzzer makes would pass those otherwise.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Tools/PNGImage.h"
#include "Tools/VisualDiff.h"
#include "Unit/Tools/PNGWriter.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

std::string_view take(std::string_view& bytes, std::size_t count) {
  const auto taken = bytes.substr(0, count);
  bytes.remove_prefix(taken.size());
  return taken;
}

std::size_t takeByte(std::string_view& bytes) {
  const auto byte = take(bytes, 1);
  return byte.empty() ? 0 : static_cast<unsigned char>(byte.front());
}

/// Chunks of a type, a length byte and as many bytes of data.
std::string withChecksums(std::string_view bytes) {
  std::string png(test::kPNGSignature);
  while (bytes.size() > 5) {
    const auto type = take(bytes, 4);
    const auto length = takeByte(bytes);
    const auto data = take(bytes, length);
    png += test::pngChunk(type, type == "IDAT" ? test::storedZlibStream(data) : std::string(data));
  }
  return png + test::pngChunk("IEND", "");
}

std::string takePicture(std::string_view& bytes) {
  const auto length = takeByte(bytes) * 64;
  const auto picture = take(bytes, length);
  return picture.starts_with(test::kPNGSignature) ? std::string(picture) : withChecksums(picture);
}

/// The pixels that the header of a picture claims.
std::uint64_t claimedPixels(std::string_view png) {
  const auto number = [&](std::size_t at) {
    std::uint64_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i) value = value << 8 | static_cast<unsigned char>(png[i]);
    return value;
  };
  return png.size() < 24 ? 0 : number(16) * number(20);
}

/// Large pictures are decoded no differently, only slower.
bool isSlow(std::string_view png) {
  const auto pixels = claimedPixels(png);
  return pixels > 1'000'000 && pixels <= PNGImage::kMaxPixels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto one = takePicture(bytes);
  const auto other = takePicture(bytes);
  if (isSlow(one) || isSlow(other)) return 0;
  const auto image = PNGImage::decode(one);

  const auto same = VisualDiff::compare(one, one, 0);
  require(same.has_value() == image.has_value());
  if (same) {
    require(same->passed && same->diffPixels == 0 && same->diffPercentage == 0);
    require(same->totalPixels == static_cast<std::int64_t>(image->pixelCount()));
  }
  const auto result = VisualDiff::compare(one, other, 50);
  if (result) {
    require(result->diffPixels >= 0 && result->diffPixels <= result->totalPixels);
    require(result->passed == (result->diffPixels * 2 <= result->totalPixels));
  }
  return 0;
}
