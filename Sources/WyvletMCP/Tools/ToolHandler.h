#pragma once

#include <boost/json/fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet {

class SimulatorBridge;
class WyvletClient;

enum class ArgumentType { String, Number, Boolean };

/// One argument of a tool as the agent sees it.
struct ToolArgument {
  std::string_view name;
  ArgumentType type;
  std::string_view description;
};

/// One tool as the agent sees it; every argument is optional as far as the schema says.
struct ToolDefinition {
  std::string_view name;
  std::string_view description;
  std::vector<ToolArgument> arguments;
};

/// The `wyvlet_*` tools: one table of them, and the dispatcher. Holds no state; any thread.
namespace ToolHandler {

/// The definitions of the 36 `wyvlet_*` tools, in the agent's order.
std::vector<ToolDefinition> definitions();

/// Runs one tool and returns its text; an unknown name is a text too. Blocks as long as the tool's
/// question to the app does. `sim` may be null where there is no device automation.
std::string call(std::string_view tool, const boost::json::object& args, WyvletClient& client,
                 const std::optional<std::string>& bundleId, SimulatorBridge* sim);

/// Whether the tool is of use without an app, so that nobody waits for one.
bool worksWithoutApp(std::string_view tool);

}  // namespace ToolHandler

}  // namespace wyvlet
