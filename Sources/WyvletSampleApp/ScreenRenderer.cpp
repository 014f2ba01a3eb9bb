#include "WyvletSampleApp/ScreenRenderer.h"

#include <algorithm>
#include <string>
#include <vector>

#include "WyvletSampleApp/BitmapFont.h"
#include "WyvletSampleApp/Element.h"
#include "WyvletSampleApp/Screens.h"

namespace wyvlet::sample {
namespace {

struct Palette {
  Color background, surface, line, ink, faint, accent, onAccent, alert, onAlert;
};

constexpr Palette kLight = {{248, 250, 252}, {255, 255, 255}, {203, 213, 225}, {15, 23, 42}, {100, 116, 139},
                            {3, 105, 161},   {255, 255, 255}, {254, 226, 226}, {153, 27, 27}};
constexpr Palette kDark = {{15, 23, 42},   {30, 41, 59}, {71, 85, 105}, {241, 245, 249}, {148, 163, 184},
                           {56, 189, 248}, {15, 23, 42}, {127, 29, 29}, {254, 226, 226}};

constexpr int kDot = 2;
constexpr int kTextHeight = 7 * kDot;

/// Draws elements with one palette on one canvas.
class Painter {
 public:
  Painter(Canvas& canvas, const Palette& palette) : canvas_(canvas), palette_(palette) {}

  void draw(const Element& element) {
    const Frame& frame = element.frame;
    switch (element.kind) {
      case ElementKind::Heading: leading(element.text, frame, palette_.ink, 0, true); break;
      case ElementKind::Label: drawLabel(element); break;
      case ElementKind::Button: drawButton(element); break;
      case ElementKind::TextField: drawField(element); break;
      case ElementKind::Switch: drawSwitch(element); break;
      case ElementKind::Image: drawImage(element); break;
      case ElementKind::WebView:
        canvas_.fill(frame, palette_.surface);
        canvas_.outline(frame, 1, palette_.line);
        leading(element.text, {frame.x, frame.y + 8, frame.width, 24}, palette_.ink, 12, true);
        break;
      case ElementKind::Alert:
        canvas_.fill(frame, palette_.alert);
        canvas_.outline(frame, 1, palette_.onAlert);
        leading(element.text, frame, palette_.onAlert, 8);
        break;
    }
  }

 private:
  static int textTop(const Frame& frame) { return frame.y + (frame.height - kTextHeight) / 2; }

  void leading(const std::string& text, const Frame& frame, Color color, int inset, bool bold = false) {
    canvas_.text(frame.x + inset, textTop(frame), kDot, color, text, frame, bold);
  }

  void trailing(const std::string& text, const Frame& frame, Color color, int inset) {
    const int x = frame.x + frame.width - inset - Canvas::textWidth(text, kDot);
    canvas_.text(std::max(x, frame.x), textTop(frame), kDot, color, text, frame);
  }

  void centred(const std::string& text, const Frame& frame, Color color, bool bold = false) {
    const int x = frame.x + (frame.width - Canvas::textWidth(text, kDot)) / 2;
    canvas_.text(std::max(x, frame.x), textTop(frame), kDot, color, text, frame, bold);
  }

  void drawLabel(const Element& element) {
    const bool isValue = element.identifier.ends_with("Value");
    if (isValue && element.frame.width > 40) {
      trailing(element.text, element.frame, palette_.ink, 0);
    } else if (isValue) {
      centred(element.text, element.frame, palette_.ink);
    } else {
      leading(element.text, element.frame, palette_.ink, 0);
    }
  }

  void drawButton(const Element& element) {
    const bool tab = element.identifier.ends_with("Tab");
    const bool prominent = !tab && element.frame.height == 50;
    if (prominent) {
      canvas_.fill(element.frame, element.enabled ? palette_.accent : palette_.line);
    } else if (!tab) {
      canvas_.fill(element.frame, palette_.surface);
      canvas_.outline(element.frame, 1, palette_.line);
    } else if (element.selected) {
      canvas_.fill({element.frame.x, element.frame.y, element.frame.width, 4}, palette_.accent);
    }
    const Color ink = prominent                  ? palette_.onAccent
                      : tab && !element.selected ? palette_.faint
                                                 : palette_.accent;
    centred(element.text, element.frame, ink, prominent);
  }

  void drawField(const Element& element) {
    const Frame& frame = element.frame;
    canvas_.fill(frame, palette_.surface);
    canvas_.outline(frame, element.focused ? 3 : 1, element.focused ? palette_.accent : palette_.line);
    leading(element.text, frame, palette_.faint, 10);
    const int left = frame.x + 20 + Canvas::textWidth(element.text, kDot);
    const Frame rest{left, frame.y, frame.x + frame.width - 8 - left, frame.height};
    trailing(element.value, rest, palette_.ink, 2);
  }

  void drawSwitch(const Element& element) {
    const Frame& frame = element.frame;
    leading(element.text, frame, palette_.ink, 0);
    const Frame track{frame.x + frame.width - 56, frame.y + (frame.height - 28) / 2, 56, 28};
    canvas_.fill(track, element.selected ? palette_.accent : palette_.line);
    canvas_.fill({element.selected ? track.x + 30 : track.x + 4, track.y + 4, 22, 20}, palette_.surface);
  }

  void drawImage(const Element& element) {
    const Frame& frame = element.frame;
    if (!element.selected) {
      canvas_.fill(frame, palette_.line);
      return;
    }
    // A harbour: sky, sun, sea with waves.
    const int horizon = frame.height * 3 / 5;
    canvas_.fill({frame.x, frame.y, frame.width, horizon}, {125, 211, 252});
    const int sun = frame.height / 4;
    canvas_.fill({frame.x + frame.width * 2 / 3, frame.y + sun / 2, sun, sun}, {253, 224, 71});
    canvas_.fill({frame.x, frame.y + horizon, frame.width, frame.height - horizon}, {2, 132, 199});
    for (int y = horizon + 6; y + 2 < frame.height; y += 10) {
      for (int x = y % 20; x + 12 < frame.width; x += 24) {
        canvas_.fill({frame.x + x, frame.y + y, 12, 2}, {186, 230, 253});
      }
    }
  }

  Canvas& canvas_;
  const Palette& palette_;
};

}  // namespace

Canvas drawScreen(const AppState& state, int scale) {
  const Palette& palette = state.darkMode ? kDark : kLight;
  Canvas canvas(kScreenWidth, kScreenHeight, scale);
  canvas.fill({0, 0, kScreenWidth, kScreenHeight}, palette.background);
  const std::vector<Element> elements = elementsOf(state);
  Painter painter(canvas, palette);
  for (const Element& element : elements) {
    if (!element.inBar) painter.draw(element);
  }
  canvas.fill({0, 0, kScreenWidth, 96}, palette.surface);
  canvas.fill({0, 96, kScreenWidth, 1}, palette.line);
  canvas.fill({0, 771, kScreenWidth, kScreenHeight - 771}, palette.surface);
  canvas.fill({0, 771, kScreenWidth, 1}, palette.line);
  for (const Element& element : elements) {
    if (element.inBar) painter.draw(element);
  }
  return canvas;
}

}  // namespace wyvlet::sample
