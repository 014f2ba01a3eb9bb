#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet {

/// Where a node is, in device pixels.
struct UIBounds {
  long long x = 0;
  long long y = 0;
  long long width = 0;
  long long height = 0;
  long long centerX = 0;
  long long centerY = 0;

  bool operator==(const UIBounds&) const = default;
};

/// A labelled node of a screen dump. The label is written as it stands in the dump, entities
/// included: decoded, a line feed in it would break the line-oriented answers.
struct UINode {
  std::string type;  // the simple class name
  std::string label;
  bool isClickable = false;
  bool isSelected = false;
  UIBounds bounds;
};

/// The nodes of a uiautomator dump that have a text or a description, in document order. Any text
/// is accepted; what is no dump has no nodes. Pure.
std::vector<UINode> parseUIDump(std::string_view xml);

/// "[x1,y1][x2,y2]"; all zero for anything else. Pure.
UIBounds parseUIBounds(std::string_view text);

/// The screen as HTML-like lines, one per node. Pure.
std::string formatUIHTML(const std::vector<UINode>& nodes);

/// The labels, in the form of the app's screen text. Pure.
std::string formatUIText(const std::vector<UINode>& nodes);

/// The nodes whose label is `query` (exact) or contains it in any case, in the form of the app's find
/// answer. A query may spell out what the dump writes as an entity. Pure.
std::string formatUIMatches(const std::vector<UINode>& nodes, std::string_view query, bool exact);

}  // namespace wyvlet
