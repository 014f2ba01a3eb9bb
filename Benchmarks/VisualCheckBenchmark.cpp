// A visual check of two screenshots beside bare decoding of as many pictures, one after the other.
//
// usage: VisualCheckBenchmark [rounds]       (30 unless given)

#include <spng.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "BenchmarkTable.h"
#include "Tools/VisualDiff.h"

namespace wyvlet::bench {
namespace {

constexpr std::uint32_t kWidth = 1290;
constexpr std::uint32_t kHeight = 2796;
constexpr std::uint32_t kRowHeight = 220;

struct FreeContext {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};
using Context = std::unique_ptr<spng_ctx, FreeContext>;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

std::uint32_t noise(std::uint32_t seed) {
  seed ^= seed >> 16;
  seed *= 0x45D9F3B;
  seed ^= seed >> 16;
  return seed;
}

/// What a list screen is made of: flat areas, a photograph at the left of every row, lines of small
/// glyphs with soft edges, and a gradient in the bar at the top.
std::uint8_t channelAt(std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
  if (y < 180) return static_cast<std::uint8_t>(60 + (x * 120 / kWidth) + channel * 10);
  const std::uint32_t row = y / kRowHeight;
  const std::uint32_t inRow = y % kRowHeight;
  if (inRow < 3) return 220;
  if (x > 40 && x < 220 && inRow > 20 && inRow < 200) {
    const std::uint32_t shade = (x * (3 + row) + inRow * 5) / 8 % 160;
    return static_cast<std::uint8_t>(40 + shade + noise(x / 2 + y / 2 * kWidth + channel) % 24);
  }
  const bool isText = x > 260 && x < 260 + 60 * (4 + noise(row) % 12) && inRow % 60 > 18 && inRow % 60 < 46;
  if (isText && x % 14 < 10) {
    const std::uint32_t glyph = noise(x / 14 + row * 131 + inRow / 60 * 7919);
    const std::uint32_t stroke = glyph >> ((x % 14 / 3 + inRow % 60 / 6 * 4) % 32) & 1;
    return static_cast<std::uint8_t>(stroke != 0 ? 30 + noise(x + y * kWidth) % 40 : 235);
  }
  return 248;
}

std::vector<std::uint8_t> screenPixels() {
  std::vector<std::uint8_t> pixels;
  pixels.reserve(std::size_t{kWidth} * kHeight * 4);
  for (std::uint32_t y = 0; y < kHeight; ++y) {
    for (std::uint32_t x = 0; x < kWidth; ++x) {
      for (std::uint32_t channel = 0; channel < 3; ++channel) pixels.push_back(channelAt(x, y, channel));
      pixels.push_back(255);
    }
  }
  return pixels;
}

std::string encoded(const std::vector<std::uint8_t>& pixels) {
  const Context context(spng_ctx_new(SPNG_CTX_ENCODER));
  spng_ihdr header{};
  header.width = kWidth;
  header.height = kHeight;
  header.bit_depth = 8;
  header.color_type = SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1);
  spng_set_ihdr(context.get(), &header);
  if (spng_encode_image(context.get(), pixels.data(), pixels.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE) !=
      0) {
    fail("cannot encode");
  }
  std::size_t size = 0;
  int error = 0;
  const std::unique_ptr<void, decltype(&std::free)> png(spng_get_png_buffer(context.get(), &size, &error),
                                                        &std::free);
  if (!png) fail("no encoded picture");
  return {static_cast<const char*>(png.get()), size};
}

void decodeOnce(std::string_view png) {
  const Context context(spng_ctx_new(0));
  spng_set_png_buffer(context.get(), png.data(), png.size());
  std::size_t size = 0;
  if (spng_decoded_image_size(context.get(), SPNG_FMT_RGBA8, &size) != 0) fail("no picture");
  const std::unique_ptr<std::uint8_t[]> pixels(new std::uint8_t[size]);
  if (spng_decode_image(context.get(), pixels.get(), size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) != 0) {
    fail("cannot decode");
  }
}

template <class Work>
double milliseconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void run(int rounds) {
  auto pixels = screenPixels();
  const auto baseline = encoded(pixels);
  constexpr std::size_t kChangedPixels = std::size_t{kWidth} * 200;  // as a banner at the top would
  for (std::size_t pixel = 0; pixel < kChangedPixels; ++pixel) pixels[pixel * 4] ^= 0x40;
  const auto current = encoded(pixels);

  std::vector<double> ours, bare;
  for (int i = 0; i < rounds; ++i) {  // in turns, so that a disturbance meets both
    bare.push_back(milliseconds([&] {
      decodeOnce(baseline);
      decodeOnce(baseline);
    }));
    ours.push_back(milliseconds([&] {
      const auto result = VisualDiff::compare(current, baseline, 5.0);
      if (!result || result->diffPixels != std::int64_t{kChangedPixels}) fail("wrong comparison");
    }));
  }
  const double ratio = percentile(ours, 0.5) / percentile(bare, 0.5);
  printRow("visual check of two 1290x2796 screenshots", number(percentile(ours, 0.5), 1, " ms"),
           number(percentile(bare, 0.5), 1, " ms to decode one twice"), number(ratio, 2, "x"), "at most 1x",
           ratio <= 1.0);
}

}  // namespace
}  // namespace wyvlet::bench

int main(int argc, char** argv) {
  wyvlet::bench::run(argc > 1 ? std::atoi(argv[1]) : 30);
  return 0;
}
