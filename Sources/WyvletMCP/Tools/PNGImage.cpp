#include "Tools/PNGImage.h"

#include <spng.h>

#include <algorithm>
#include <array>
#include <new>

namespace wyvlet {
namespace {

/// What texts, profiles and the like may take in a picture; none of it is looked at, but it is
/// unpacked to be checked.
constexpr std::size_t kMaxSideDataBytes = std::size_t{64} << 20;

struct FreeContext {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};
using Context = std::unique_ptr<spng_ctx, FreeContext>;

/// A decoder reading from `png`, with every checksum checked; null when there is no memory for it.
Context openContext(std::string_view png) {
  Context context(spng_ctx_new(0));
  if (!context) return nullptr;
  if (spng_set_crc_action(context.get(), SPNG_CRC_ERROR, SPNG_CRC_ERROR) != 0) return nullptr;
  if (spng_set_chunk_limits(context.get(), kMaxSideDataBytes, kMaxSideDataBytes) != 0) return nullptr;
  if (spng_set_png_buffer(context.get(), png.data(), png.size()) != 0) return nullptr;
  return context;
}

bool mayBeTransparent(spng_ctx* context, const spng_ihdr& header) {
  if (header.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA) return true;
  if (header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA) return true;
  spng_trns transparency;
  return spng_get_trns(context, &transparency) == 0;
}

bool isOpaque(std::span<const std::uint8_t> pixels) {
  unsigned alpha = 0xFF;
  for (std::size_t at = 3; at < pixels.size(); at += 4) alpha &= pixels[at];
  return alpha == 0xFF;
}

void premultiply(std::span<std::uint8_t> pixels) {
  for (std::size_t at = 0; at < pixels.size(); at += 4) {
    const unsigned alpha = pixels[at + 3];
    for (std::size_t channel = at; channel < at + 3; ++channel) {
      const unsigned product = pixels[channel] * alpha + 128;
      pixels[channel] = static_cast<std::uint8_t>((product + (product >> 8)) >> 8);  // product / 255, rounded
    }
  }
}

/// By pieces, because a screenshot is opaque all over although its format has alpha.
void premultiplyWhereTransparent(std::span<std::uint8_t> pixels) {
  constexpr std::size_t kPiece = 4096;
  while (!pixels.empty()) {
    const auto piece = pixels.first(std::min(kPiece, pixels.size()));
    if (!isOpaque(piece)) premultiply(piece);
    pixels = pixels.subspan(piece.size());
  }
}

/// The source cells that one target cell covers, when `from` cells become `to`. Positions count in
/// units of which a source cell has `to` and a target cell `from`, so that all weights are whole.
class Coverage {
 public:
  Coverage(std::uint64_t from, std::uint64_t to) : from_(from), to_(to) {}

  /// Calls `visit(source cell, weight)` for every source cell under the target cell.
  template <class Visit>
  void each(std::uint64_t target, Visit visit) const {
    const std::uint64_t end = (target + 1) * from_;
    std::uint64_t at = target * from_;
    for (std::uint64_t cell = at / to_; at < end; ++cell) {
      const std::uint64_t next = std::min(end, (cell + 1) * to_);
      visit(cell, next - at);
      at = next;
    }
  }

 private:
  std::uint64_t from_;
  std::uint64_t to_;
};

}  // namespace

PNGImage::PNGImage(std::uint32_t width, std::uint32_t height)
    : width_(width), height_(height), pixels_(new (std::nothrow) std::uint8_t[byteCount()]) {}

std::optional<PNGImage> PNGImage::decode(std::string_view png) {
  const Context context = openContext(png);
  if (!context) return std::nullopt;
  spng_ihdr header;
  if (spng_get_ihdr(context.get(), &header) != 0) return std::nullopt;
  if (std::uint64_t{header.width} * header.height > kMaxPixels) return std::nullopt;

  PNGImage image(header.width, header.height);
  if (!image.pixels_) return std::nullopt;
  const auto pixels = image.mutablePixels();
  if (spng_decode_image(context.get(), pixels.data(), pixels.size(), SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) != 0) {
    return std::nullopt;
  }
  // What follows the picture must be intact too: a file that was cut short is no picture.
  if (spng_decode_chunks(context.get()) != 0) return std::nullopt;
  if (mayBeTransparent(context.get(), header)) premultiplyWhereTransparent(pixels);
  return image;
}

std::optional<PNGImage> PNGImage::shrunkTo(std::uint32_t width, std::uint32_t height) const {
  PNGImage target(width, height);
  if (!target.pixels_) return std::nullopt;
  const Coverage columns(width_, width);
  const Coverage rows(height_, height);
  // The weights of one target pixel add up to the pixels of this picture; a sum stays below 2^35.
  const std::uint64_t weight = pixelCount();

  // By strips of columns, so that the sums stay in the cache however wide the picture is.
  constexpr std::uint32_t kStripPixels = 1024;
  std::array<std::uint64_t, std::size_t{kStripPixels} * 4> sums{};
  std::uint8_t* out = target.pixels_.get();
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t left = 0; left < width; left += kStripPixels) {
      const std::uint32_t count = std::min(kStripPixels, width - left);
      std::fill_n(sums.begin(), std::size_t{count} * 4, 0);
      rows.each(y, [&](std::uint64_t row, std::uint64_t rowWeight) {
        const std::uint8_t* line = pixels_.get() + row * width_ * 4;
        for (std::uint32_t x = 0; x < count; ++x) {
          std::uint64_t* sum = sums.data() + std::size_t{x} * 4;
          columns.each(left + x, [&](std::uint64_t column, std::uint64_t columnWeight) {
            const std::uint8_t* pixel = line + column * 4;
            const std::uint64_t area = columnWeight * rowWeight;
            for (std::size_t channel = 0; channel < 4; ++channel) sum[channel] += pixel[channel] * area;
          });
        }
      });
      for (std::size_t i = 0; i < std::size_t{count} * 4; ++i) {
        *out++ = static_cast<std::uint8_t>((sums[i] + weight / 2) / weight);
      }
    }
  }
  return target;
}

}  // namespace wyvlet
