#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Tools/ToolHandler.h"

namespace wyvlet {

/// The definitions of the 14 session and simulator tools, in the agent's order.
std::vector<ToolDefinition> simulatorToolDefinitions();

/// A point of the screen, in whole points.
struct ScreenPoint {
  long long x;
  long long y;
  bool operator==(const ScreenPoint&) const = default;
};

/// The centre of the first element that a find answer of the app lists; nothing when it lists none.
/// Read from the line's own end, because a label may contain anything.
std::optional<ScreenPoint> firstElementCenter(std::string_view findAnswer);

}  // namespace wyvlet
