#include "Tools/CrashLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include "Support/Files.h"
#include "Support/Text.h"
#include "Tools/JSONAccess.h"

namespace wyvlet {
namespace {

constexpr std::string_view kNoCrashLog =
    "No crash log found. The app may not have crashed, or the crash handler was not installed.";
constexpr std::string_view kPrefix = "wyvlet_crash_";
constexpr std::string_view kSuffix = ".json";
constexpr std::uint64_t kMaxFileBytes = 16 << 20;

/// The report in a file, or nothing when the file can't be read or holds no JSON object.
std::optional<std::string> readCrashFile(const std::string& path) {
  const auto content = readFile(path, kMaxFileBytes);
  const auto document = content ? parseJSON(content->bytes) : std::nullopt;
  if (!document || !document->is_object()) return std::nullopt;
  return formatCrashReport(document->get_object());
}

/// The most recently written crash file of any app; of equally recent ones the last by name.
std::optional<std::string> newestCrashFile(const std::string& directory) {
  namespace fs = std::filesystem;
  using WrittenFile = std::pair<std::int64_t, std::string>;  // when, and its path
  std::optional<WrittenFile> newest;
  std::error_code error;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) continue;
    if (const auto stamp = fileStamp(at->path().string())) {
      newest =
          std::max(newest, std::optional<WrittenFile>({stamp->modifiedNanoseconds, at->path().string()}));
    }
  }
  if (!newest) return std::nullopt;
  return newest->second;
}

bool isPlain(std::string_view character) {
  if (character.size() != 1) return false;
  const char c = character.front();
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

}  // namespace

std::string getCrashLog(const std::optional<std::string>& bundleId, const std::string& directory) {
  if (bundleId) {
    if (auto report = readCrashFile(directory + "/" + crashFileName(*bundleId))) return *std::move(report);
  }
  const auto newest = newestCrashFile(directory);
  auto report = newest ? readCrashFile(*newest) : std::nullopt;
  return std::move(report).value_or(std::string(kNoCrashLog));
}

std::string crashFileName(std::string_view bundleId) {
  std::string name(kPrefix);
  while (!bundleId.empty()) {
    const auto character = firstCharacters(bundleId, 1);
    name += isPlain(character) ? character : "_";
    bundleId.remove_prefix(character.size());
  }
  return name.append(kSuffix);
}

std::string formatCrashReport(const boost::json::object& crash) {
  const auto text = [&](std::string_view key) { return textMember(crash, key).value_or("?"); };
  // An app may well crash before its first request, so a missing one is no gap in the report.
  std::string report = fmt::format(
      "CRASH REPORT\nType: {} — {}\nReason: {}\nScreen: {}\nLast API: {}\nTime: {}\n\nStack Trace:",
      text("type"), text("name"), text("reason"), text("screen"),
      textMember(crash, "lastRequest").value_or("none"), text("timestamp"));
  const auto* member = crash.if_contains("stack");
  const auto* stack = member == nullptr ? nullptr : member->if_array();
  if (stack == nullptr ||
      !std::all_of(stack->begin(), stack->end(), [](const auto& frame) { return frame.is_string(); })) {
    return report;
  }
  for (std::size_t position = 0; position < stack->size(); ++position) {
    fmt::format_to(std::back_inserter(report), "\n  {}: {}", position,
                   std::string_view((*stack)[position].get_string()));
  }
  return report;
}

}  // namespace wyvlet
