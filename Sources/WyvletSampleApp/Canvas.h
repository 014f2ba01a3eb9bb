#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletSampleApp/Element.h"

namespace wyvlet::sample {

struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  bool operator==(const Color&) const = default;
};

/// An opaque picture to draw on. Coordinates are points; a point is `scale` pixels wide and high.
/// What lies outside is cut off. The same calls give the same bytes on every machine.
class Canvas {
 public:
  Canvas(int width, int height, int scale);

  void fill(Frame frame, Color color);
  /// The outline of `frame`, `thickness` points wide, inside it.
  void outline(Frame frame, int thickness, Color color);

  /// One line of text in the built-in font, each of its dots `dot` points in size, with its top left
  /// at (x, y); what reaches beyond `clip` is cut off. `bold` draws every dot twice as wide.
  void text(int x, int y, int dot, Color color, std::string_view text, const Frame& clip, bool bold = false);

  /// The width of a line of text, in points.
  static int textWidth(std::string_view text, int dot);

  int pixelWidth() const { return width_ * scale_; }
  int pixelHeight() const { return height_ * scale_; }
  Color pixel(int x, int y) const;

  /// The picture as a PNG file.
  std::string png() const;

 private:
  int width_;
  int height_;
  int scale_;
  std::vector<std::uint8_t> pixels_;  // RGB, row by row
};

}  // namespace wyvlet::sample
