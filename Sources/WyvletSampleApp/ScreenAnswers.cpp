#include "WyvletSampleApp/ScreenAnswers.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "Support/Text.h"

namespace wyvlet::sample {
namespace {

constexpr int kFinger = 44;

/// The elements as the eye meets them.
std::vector<const Element*> inReadingOrder(const std::vector<Element>& elements) {
  std::vector<const Element*> order;
  order.reserve(elements.size());
  for (const Element& element : elements) order.push_back(&element);
  std::stable_sort(order.begin(), order.end(), [](const Element* a, const Element* b) {
    // By the middle: the parts of one row differ in height.
    const int rows = a->frame.centerY() - b->frame.centerY();
    return rows != 0 ? rows < 0 : a->frame.x < b->frame.x;
  });
  return order;
}

std::string escaped(std::string_view text) {
  std::string result;
  for (char c : text) {
    switch (c) {
      case '&': result += "&amp;"; break;
      case '<': result += "&lt;"; break;
      case '>': result += "&gt;"; break;
      case '"': result += "&quot;"; break;
      default: result += c;
    }
  }
  return result;
}

std::string attribute(std::string_view name, std::string_view value) {
  return value.empty() ? std::string() : fmt::format(" {}=\"{}\"", name, escaped(value));
}

std::string_view tagOf(ElementKind kind) {
  switch (kind) {
    case ElementKind::Heading: return "h1";
    case ElementKind::Label: return "p";
    case ElementKind::Button: return "button";
    case ElementKind::TextField:
    case ElementKind::Switch: return "input";
    case ElementKind::Image: return "img";
    case ElementKind::WebView: return "iframe";
    case ElementKind::Alert: return "alert";
  }
  return "p";
}

std::string htmlOf(const Element& element) {
  const auto tag = tagOf(element.kind);
  std::string attributes = attribute("id", element.identifier);
  // A sign on a button says little: its name goes along.
  if (element.kind == ElementKind::Button && element.label != element.text) {
    attributes += attribute("label", element.label);
  }
  switch (element.kind) {
    case ElementKind::TextField:
      attributes += attribute("name", element.label) + attribute("value", element.value);
      break;
    case ElementKind::Switch:
      attributes +=
          " type=\"checkbox\"" + attribute("name", element.label) + (element.selected ? " checked" : "");
      break;
    case ElementKind::Image: attributes += attribute("alt", element.label); break;
    default: break;
  }
  attributes += fmt::format(" c=\"{},{}\"", element.frame.centerX(), element.frame.centerY());
  if (!element.enabled) attributes += " disabled";
  if (element.focused) attributes += " focused";
  if (element.kind == ElementKind::TextField || element.kind == ElementKind::Switch ||
      element.kind == ElementKind::Image) {
    return fmt::format("<{}{}>", tag, attributes);
  }
  return fmt::format("<{}{}>{}</{}>", tag, attributes, escaped(element.text), tag);
}

}  // namespace

FindResponse findElements(std::string_view screen, const std::vector<Element>& elements,
                          std::string_view query, bool exact) {
  const auto matches = [&](const std::string& text) {
    return !text.empty() && (exact ? text == query : containsIgnoringCase(text, query));
  };
  FindResponse response{std::string(screen), std::string(query), {}};
  for (const Element& element : elements) {
    const bool named = matches(element.label) || matches(element.text);
    if (!named && !matches(element.value)) continue;
    const Frame& frame = element.frame;
    const std::string& name = element.label.empty() ? element.text : element.label;
    response.results.push_back({named ? name : element.value, std::string(typeName(element.kind)), frame.x,
                                frame.y, frame.width, frame.height, frame.centerX(), frame.centerY(),
                                element.isButton()});
  }
  return response;
}

ScreenTextResponse screenText(std::string_view screen, const std::vector<Element>& elements) {
  ScreenTextResponse response{std::string(screen), {}};
  for (const Element* element : inReadingOrder(elements)) {
    if (!element->text.empty()) response.lines.push_back(element->text);
    if (element->kind == ElementKind::TextField && !element->value.empty()) {
      response.lines.push_back(element->value);
    }
  }
  return response;
}

SnapshotResponse screenSnapshot(std::string_view screen, const std::vector<Element>& elements) {
  SnapshotResponse response{std::string(screen), {}};
  for (const Element& element : elements) {
    SnapshotElement item;
    if (!element.label.empty()) item.label = element.label;
    if (!element.identifier.empty()) item.identifier = element.identifier;
    item.type = typeName(element.kind);
    item.x = element.frame.x;
    item.y = element.frame.y;
    item.width = element.frame.width;
    item.height = element.frame.height;
    item.interactive = element.isInteractive();
    response.elements.push_back(std::move(item));
  }
  return response;
}

ScreenHTMLResponse screenHTML(std::string_view screen, const std::vector<Element>& elements) {
  std::string html = fmt::format("<screen name=\"{}\">", escaped(screen));
  for (const Element* element : inReadingOrder(elements)) html += "\n" + htmlOf(*element);
  html += "\n</screen>";
  return {std::string(screen), std::move(html), static_cast<std::int64_t>(elements.size())};
}

AccessibilityAuditResponse accessibilityAudit(std::string_view screen, const std::vector<Element>& elements) {
  AccessibilityAuditResponse response{std::string(screen), {}, 0};
  for (const Element& element : elements) {
    const Frame& frame = element.frame;
    const std::string& name = element.label.empty() ? element.identifier : element.label;
    const auto add = [&](std::string issue, std::string severity) {
      response.issues.push_back(
          {name, std::move(issue), std::move(severity), frame.x, frame.y, frame.width, frame.height});
    };
    if (element.isButton() && element.label.empty()) add("Button has no accessibility label", "error");
    if (element.isInteractive() && (frame.width < kFinger || frame.height < kFinger)) {
      add(fmt::format("Touch target is {}x{}, smaller than {}x{}", frame.width, frame.height, kFinger,
                      kFinger),
          "warning");
    }
    if (element.kind == ElementKind::Image && element.label.empty())
      add("Image has no description", "warning");
  }
  response.issueCount = static_cast<std::int64_t>(response.issues.size());
  return response;
}

}  // namespace wyvlet::sample
