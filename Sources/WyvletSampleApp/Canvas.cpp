#include "WyvletSampleApp/Canvas.h"

#include <spng.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "WyvletSampleApp/BitmapFont.h"

namespace wyvlet::sample {
namespace {

Frame intersection(const Frame& a, const Frame& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  const int right = std::min(a.x + a.width, b.x + b.width);
  const int bottom = std::min(a.y + a.height, b.y + b.height);
  return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

std::vector<char32_t> codePoints(std::string_view text) {
  std::vector<char32_t> result;
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  auto rest = static_cast<utf8proc_ssize_t>(text.size());
  while (rest > 0) {
    utf8proc_int32_t codePoint = 0;
    utf8proc_ssize_t used = utf8proc_iterate(bytes, rest, &codePoint);
    if (used <= 0) {
      codePoint = 0xFFFD;
      used = 1;
    }
    result.push_back(static_cast<char32_t>(codePoint));
    bytes += used;
    rest -= used;
  }
  return result;
}

}  // namespace

Canvas::Canvas(int width, int height, int scale)
    : width_(width),
      height_(height),
      scale_(scale),
      pixels_(static_cast<std::size_t>(width) * scale * height * scale * 3, 0xFF) {}

void Canvas::fill(Frame frame, Color color) {
  frame = intersection(frame, {0, 0, width_, height_});
  const std::size_t stride = static_cast<std::size_t>(pixelWidth()) * 3;
  for (int y = frame.y * scale_; y < (frame.y + frame.height) * scale_; ++y) {
    auto* pixel = &pixels_[y * stride + static_cast<std::size_t>(frame.x) * scale_ * 3];
    for (int x = 0; x < frame.width * scale_; ++x) {
      *pixel++ = color.red;
      *pixel++ = color.green;
      *pixel++ = color.blue;
    }
  }
}

void Canvas::outline(Frame frame, int thickness, Color color) {
  fill({frame.x, frame.y, frame.width, thickness}, color);
  fill({frame.x, frame.y + frame.height - thickness, frame.width, thickness}, color);
  fill({frame.x, frame.y, thickness, frame.height}, color);
  fill({frame.x + frame.width - thickness, frame.y, thickness, frame.height}, color);
}

void Canvas::text(int x, int y, int dot, Color color, std::string_view text, const Frame& clip, bool bold) {
  for (char32_t codePoint : codePoints(text)) {
    if (x >= clip.x + clip.width) return;
    const Glyph& glyph = glyphFor(codePoint);
    for (int row = 0; row < Glyph::kHeight; ++row) {
      for (int column = 0; column < Glyph::kWidth; ++column) {
        if ((glyph.rows.at(row) >> (Glyph::kWidth - 1 - column) & 1) == 0) continue;
        const Frame ink{x + column * dot, y + row * dot, dot + (bold ? 1 : 0), dot};
        fill(intersection(ink, clip), color);
      }
    }
    x += Glyph::kAdvance * dot;
  }
}

int Canvas::textWidth(std::string_view text, int dot) {
  const int letters = static_cast<int>(codePoints(text).size());
  return letters == 0 ? 0 : (letters * Glyph::kAdvance - 1) * dot;
}

Color Canvas::pixel(int x, int y) const {
  const std::size_t at = (static_cast<std::size_t>(y) * pixelWidth() + x) * 3;
  return {pixels_.at(at), pixels_.at(at + 1), pixels_.at(at + 2)};
}

std::string Canvas::png() const {
  const std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> context(spng_ctx_new(SPNG_CTX_ENCODER), spng_ctx_free);
  spng_ihdr header{};
  header.width = static_cast<std::uint32_t>(pixelWidth());
  header.height = static_cast<std::uint32_t>(pixelHeight());
  header.bit_depth = 8;
  header.color_type = SPNG_COLOR_TYPE_TRUECOLOR;
  int error = context == nullptr ? SPNG_EMEM : spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1);
  if (error == 0) error = spng_set_ihdr(context.get(), &header);
  // Screens are flat areas: filtering finds nothing, and takes longer than the compression itself.
  if (error == 0) error = spng_set_option(context.get(), SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_NONE);
  if (error == 0) error = spng_set_option(context.get(), SPNG_IMG_COMPRESSION_LEVEL, 6);
  if (error == 0) {
    error =
        spng_encode_image(context.get(), pixels_.data(), pixels_.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE);
  }
  std::size_t size = 0;
  const std::unique_ptr<void, void (*)(void*)> bytes(
      error == 0 ? spng_get_png_buffer(context.get(), &size, &error) : nullptr, std::free);
  if (error != 0 || bytes == nullptr) return {};
  return {static_cast<const char*>(bytes.get()), size};
}

}  // namespace wyvlet::sample
