#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Tools/ToolHandler.h"

namespace wyvlet {

class ToolCall;

/// What the app shows for a moment when a tool is called.
struct OverlayNotice {
  std::string_view category;
  std::string_view detail;
};

/// Everything there is to know about a tool before its code.
struct ToolRow {
  std::string_view name;
  std::string_view description;
  std::vector<ToolArgument> arguments = {};
  bool worksWithoutApp = false;                            ///< nobody waits for an app before the call
  std::optional<OverlayNotice> overlay = std::nullopt;     ///< absent: the app shows nothing
  std::string (*android)(const ToolCall& call) = nullptr;  ///< takes the place of `call` on Android
  std::string (*call)(const ToolCall& call) = nullptr;
};

/// The rows in the agent's order; valid for as long as the process runs. Any thread.
std::span<const ToolRow> toolTable();

/// The row with exactly that name, or null.
const ToolRow* findTool(std::string_view name);

}  // namespace wyvlet
