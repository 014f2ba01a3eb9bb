#include "Tools/StorageTools.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <vector>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {
namespace {

constexpr std::size_t kListedEntries = 50;
constexpr std::size_t kValueCharacters = 200;

/// The system stores cookies under keys of its own making, so an archived cookie is also known by the
/// class name that its archive holds.
bool holdsCookies(const TransferableUserDefaultsEntry& entry) {
  return containsIgnoringCase(entry.key, "cookie") ||
         entry.displayValue.find("HTTPCookie") != std::string::npos;
}

}  // namespace

std::string userDefaults(const CacheSnapshot& cache, const std::optional<std::string>& filter) {
  if (!cache.isConnected) return std::string(kNotConnected);
  std::vector<const TransferableUserDefaultsEntry*> kept;
  for (const auto& entry : cache.userDefaultsEntries) {
    if (!filter || containsIgnoringCase(entry.key, *filter)) kept.push_back(&entry);
  }
  if (kept.empty()) {
    return "No UserDefaults entries" + (filter ? " matching '" + *filter + "'" : "") + ".";
  }

  std::string text = fmt::format("UserDefaults ({} entries):", kept.size());
  const std::size_t listed = std::min(kept.size(), kListedEntries);
  for (const auto* entry : std::span(kept).first(listed)) {
    fmt::format_to(std::back_inserter(text), "\n  [{}] {} = {}", entry->valueType, entry->key,
                   firstCharacters(entry->displayValue, kValueCharacters));
  }
  if (kept.size() > listed) {
    fmt::format_to(std::back_inserter(text), "\n  ... {} more", kept.size() - listed);
  }
  return text;
}

std::string cookies(const CacheSnapshot& cache) {
  if (!cache.isConnected) return std::string(kNotConnected);
  std::vector<std::string> lines;
  for (const auto& entry : cache.userDefaultsEntries) {
    if (holdsCookies(entry)) lines.push_back(entry.key + ": " + entry.displayValue);
  }
  if (lines.empty()) {
    return "No cookie data in current sync. Cookie inspection requires Wyvlet SDK or WyvletProbe Phase 2.";
  }
  return joined(lines, "\n");
}

}  // namespace wyvlet
