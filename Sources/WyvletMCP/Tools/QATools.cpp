#include "Tools/QATools.h"

#include <fmt/format.h>

#include <iterator>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {
namespace {

std::string_view statusMark(std::string_view status) {
  if (status == "PASSED") return "✅";
  if (status == "FAILED") return "❌";
  return "⏳";
}

}  // namespace

std::string qaChecklist(const CacheSnapshot& cache) {
  if (!cache.isConnected) return std::string(kNotConnected);
  if (cache.qaResults.empty()) return "No QA checklist items registered.";
  std::string text = fmt::format("QA Checklist (build {}):", cache.buildNumber);
  for (const auto& item : cache.qaResults) {
    fmt::format_to(std::back_inserter(text), "\n{} [{}] {} — {}", statusMark(item.status),
                   item.id.shortText(), item.title, item.status);
    if (!item.notes.empty()) text += "\n   Notes: " + item.notes;
    if (!item.endpoints.empty()) text += "\n   Endpoints: " + joined(item.endpoints, ", ");
    if (!item.failNotes.empty()) text += "\n   Fail reason: " + item.failNotes;
  }
  return text;
}

std::string markQA(const CacheSnapshot& cache, std::string_view id, std::string_view status,
                   const std::optional<std::string>& notes,
                   const std::function<void(CompanionMessageType, const MarkQACommand&)>& send) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const auto* item = findByIdPrefix(cache.qaResults, id);
  if (item == nullptr) return "QA item not found.";
  const std::string outcome = upperCased(status);
  if (outcome != "PASSED" && outcome != "FAILED") return "Error: status must be PASSED or FAILED";
  send(outcome == "PASSED" ? CompanionMessageType::commandMarkQAPassed
                           : CompanionMessageType::commandMarkQAFailed,
       {item->id, notes, std::nullopt});
  return fmt::format("Marked '{}' as {}", item->title, outcome);
}

}  // namespace wyvlet
