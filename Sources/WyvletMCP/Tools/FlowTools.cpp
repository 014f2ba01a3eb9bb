#include "Tools/FlowTools.h"

#include <fmt/format.h>

#include <iterator>
#include <map>
#include <string_view>
#include <vector>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"
#include "WyvletShared/JSONWriter.h"

namespace wyvlet {
namespace {

/// The text in double quotes. What would end it early or break the step's line is escaped.
std::string quoted(std::string_view text) {
  std::string json;
  appendJSON(json, text);
  return json;
}

/// ["key": "value", "other": "value"] in the order of the keys, or [:] for none.
std::string printedMap(const std::map<std::string, std::string>& values) {
  if (values.empty()) return "[:]";
  std::vector<std::string> entries;
  entries.reserve(values.size());
  for (const auto& [key, value] : values) entries.push_back(quoted(key) + ": " + quoted(value));
  return "[" + joined(entries, ", ") + "]";
}

std::string stepLine(std::size_t number, const FlowStepData& step) {
  std::string line = fmt::format("  {}. {}", number, step.action);
  auto out = std::back_inserter(line);
  if (step.label) fmt::format_to(out, " \"{}\"", *step.label);
  if (step.startCoordinates) {
    fmt::format_to(out, " at ({},{})", truncatedInteger(step.startCoordinates->x),
                   truncatedInteger(step.startCoordinates->y));
  }
  if (step.text) fmt::format_to(out, " text=\"{}\"", *step.text);
  if (step.extra) fmt::format_to(out, " {}", printedMap(*step.extra));
  fmt::format_to(out, " [screen: {}]", step.screen);
  return line;
}

}  // namespace

std::string recordedFlows(const CacheSnapshot& cache) {
  if (!cache.isConnected) return std::string(kNotConnected);
  if (cache.recordedFlows.empty()) {
    return "No recorded flows. Record a flow in Wyvlet by tapping the record button on the floating bubble.";
  }
  std::string text = fmt::format("Recorded Flows ({}):", cache.recordedFlows.size());
  for (const auto& flow : cache.recordedFlows) {
    fmt::format_to(std::back_inserter(text), "\n[{}] {} ({} steps)", flow.id.shortText(), flow.name,
                   flow.steps.size());
    if (flow.description && !flow.description->empty()) text += "\n  Description: " + *flow.description;
    for (std::size_t index = 0; index < flow.steps.size(); ++index) {
      text += "\n" + stepLine(index + 1, flow.steps[index]);
    }
  }
  return text;
}

}  // namespace wyvlet
