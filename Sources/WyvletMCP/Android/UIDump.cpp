#include "Android/UIDump.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <iterator>
#include <utility>

#include "Android/AndroidCapture.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

/// Stands where the app's answers name the screen; a dump does not tell which one it is.
constexpr std::string_view kScreenName = "Android";

template <class... Arguments>
void append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

/// The value of an attribute: from the first `name="` of the node to the next quote.
std::string_view attribute(std::string_view node, std::string_view name) {
  const std::string opening = std::string(name) + "=\"";
  const auto found = node.find(opening);
  if (found == std::string_view::npos) return "";
  const auto start = found + opening.size();
  const auto end = node.find('"', start);
  return end == std::string_view::npos ? "" : node.substr(start, end - start);
}

std::optional<long long> wholeNumber(std::string_view text) {
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

using Point = std::pair<long long, long long>;

std::optional<Point> parsePoint(std::string_view text) {
  const auto parts = split(text, ",");
  if (parts.size() != 2) return std::nullopt;
  const auto x = wholeNumber(parts[0]);
  const auto y = wholeNumber(parts[1]);
  if (!x || !y) return std::nullopt;
  return Point{*x, *y};
}

/// The size and the centre of one side of a node; false when they do not fit a number.
bool measure(long long from, long long to, long long& size, long long& center) {
  long long sum = 0;
  if (__builtin_sub_overflow(to, from, &size) || __builtin_add_overflow(from, to, &sum)) return false;
  center = sum / 2;
  return true;
}

std::string decodedEntities(std::string_view label) {
  std::string text(label);
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kEntities = {
      {{"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&#10;", "\n"}, {"&amp;", "&"}}};
  for (const auto& [entity, character] : kEntities) text = replacedAll(text, entity, character);
  return text;
}

bool matches(std::string_view label, std::string_view query, bool exact) {
  return exact ? label == query : containsIgnoringCase(label, query);
}

bool matches(const UINode& node, std::string_view query, bool exact) {
  if (matches(node.label, query, exact)) return true;
  return node.label.find('&') != std::string::npos && matches(decodedEntities(node.label), query, exact);
}

}  // namespace

UIBounds parseUIBounds(std::string_view text) {
  std::string corners(text);
  if (const auto opening = corners.find('['); opening != std::string::npos) corners.erase(opening, 1);
  const auto halves = split(corners, "][");
  if (halves.size() != 2) return {};
  const auto first = parsePoint(halves[0]);
  const auto second = parsePoint(replacedAll(halves[1], "]", ""));
  UIBounds bounds;
  if (!first || !second || !measure(first->first, second->first, bounds.width, bounds.centerX) ||
      !measure(first->second, second->second, bounds.height, bounds.centerY)) {
    return {};
  }
  bounds.x = first->first;
  bounds.y = first->second;
  return bounds;
}

std::vector<UINode> parseUIDump(std::string_view xml) {
  std::vector<UINode> nodes;
  auto pieces = split(xml, "<node ");
  for (auto piece = pieces.begin() + 1; piece != pieces.end(); ++piece) {
    auto label = attribute(*piece, "text");
    if (label.empty()) label = attribute(*piece, "content-desc");
    if (label.empty()) continue;
    const auto type = attribute(*piece, "class");
    nodes.push_back({.type = std::string(type.substr(type.rfind('.') + 1)),
                     .label = std::string(label),
                     .isClickable = attribute(*piece, "clickable") == "true",
                     .isSelected = attribute(*piece, "selected") == "true",
                     .bounds = parseUIBounds(attribute(*piece, "bounds"))});
  }
  return nodes;
}

std::string formatUIHTML(const std::vector<UINode>& nodes) {
  std::string text = "<screen platform=\"android\">";
  for (const auto& node : nodes) {
    append(text, "\n  <{0}{1}{2} center=\"{3},{4}\">{5}</{0}>", node.type,
           node.isClickable ? " clickable" : "", node.isSelected ? " selected" : "", node.bounds.centerX,
           node.bounds.centerY, node.label);
  }
  return text + "\n</screen>";
}

std::string formatUIText(const std::vector<UINode>& nodes) {
  auto text = fmt::format("Screen: {}\nVisible text ({} items):", kScreenName, nodes.size());
  for (const auto& node : nodes) append(text, "\n  {}", node.label);
  return text;
}

std::string formatUIMatches(const std::vector<UINode>& nodes, std::string_view query, bool exact) {
  std::string lines;
  std::size_t count = 0;
  for (const auto& node : nodes) {
    if (!matches(node, query, exact)) continue;
    ++count;
    append(lines, "\n  {} \"{}\" at ({},{}) {}x{} center=({},{}){}", node.type, node.label, node.bounds.x,
           node.bounds.y, node.bounds.width, node.bounds.height, node.bounds.centerX, node.bounds.centerY,
           node.isClickable ? " [BUTTON]" : "");
  }
  if (count == 0) return fmt::format("Screen: {}\nNo elements found matching \"{}\"", kScreenName, query);
  return fmt::format("Screen: {}\nFound {} match(es) for \"{}\":{}", kScreenName, count, query, lines);
}

std::string convertUIXMLToHTML(std::string_view xml) { return formatUIHTML(parseUIDump(xml)); }

}  // namespace wyvlet
