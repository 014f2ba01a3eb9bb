#include "MCP/Catalogue.h"

#include <vector>

#include "MCP/JSONRPC.h"
#include "MCP/SimulatorTools.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

std::string_view typeName(ArgumentType type) {
  switch (type) {
    case ArgumentType::String: return "string";
    case ArgumentType::Number: return "number";
    case ArgumentType::Boolean: return "boolean";
  }
  return "string";
}

std::string listing(const std::vector<std::vector<ToolDefinition>>& groups) {
  std::vector<std::string> tools;
  for (const auto& group : groups) {
    for (const auto& definition : group) tools.push_back(toolDefinitionJSON(definition));
  }
  return R"({"tools":[)" + joined(tools, ",") + "]}";
}

}  // namespace

std::string toolDefinitionJSON(const ToolDefinition& definition) {
  std::vector<std::string> properties;
  for (const auto& argument : definition.arguments) {
    properties.push_back(jsonString(argument.name) + R"(:{"type":")" + std::string(typeName(argument.type)) +
                         R"(","description":)" + jsonString(argument.description) + "}");
  }
  return R"({"name":)" + jsonString(definition.name) + R"(,"description":)" +
         jsonString(definition.description) + R"(,"inputSchema":{"type":"object","properties":{)" +
         joined(properties, ",") + "}}}";
}

const std::string& toolsListResult(bool withSimulatorTools) {
  static const std::string appTools = listing({ToolHandler::definitions()});
  static const std::string allTools = listing({ToolHandler::definitions(), simulatorToolDefinitions()});
  return withSimulatorTools ? allTools : appTools;
}

}  // namespace wyvlet
