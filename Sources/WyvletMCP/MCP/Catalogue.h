#pragma once

#include <span>
#include <string>

#include "Tools/ToolHandler.h"

namespace wyvlet {

/// One tool as `tools/list` shows it, as JSON text.
std::string toolDefinitionJSON(const ToolDefinition& definition);

/// The result of `tools/list`: the `wyvlet_*` tools, and the session and simulator tools when AXe is
/// there to carry them out. The texts are made once, at the first call; any thread.
const std::string& toolsListResult(bool withSimulatorTools);

}  // namespace wyvlet
