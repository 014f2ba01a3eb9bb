#include "Tools/Timeline.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "Support/Text.h"
#include "Support/TimeText.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {
namespace {

constexpr std::size_t kURLCharacters = 80;
constexpr std::size_t kMessageCharacters = 100;
constexpr std::size_t kLevelCharacters = 4;
constexpr std::size_t kTypeColumn = std::string_view("LOG[WARN]").size();

/// One line to be; exactly one of the two records is set.
struct TimelineEvent {
  Date time;
  const TransferableNetworkRequest* request = nullptr;
  const TransferableLogEntry* entry = nullptr;
};

std::string typeText(const TimelineEvent& event) {
  if (event.request != nullptr) return "NET";
  return fmt::format("LOG[{}]", firstCharacters(event.entry->level, kLevelCharacters));
}

std::string detailText(const TimelineEvent& event) {
  if (event.entry != nullptr) return std::string(firstCharacters(event.entry->message, kMessageCharacters));
  return fmt::format("{} {} → {} ({})", event.request->method,
                     firstCharacters(event.request->url, kURLCharacters),
                     statusText(event.request->statusCode, "—"), millisecondsText(event.request->duration));
}

std::string eventLine(const TimelineEvent& event) {
  const std::string type = typeText(event);
  const std::size_t padding = kTypeColumn - std::min(kTypeColumn, characterCount(type));
  return fmt::format("\n{} {}{} {}", timeOfDayText(event.time.secondsSince1970), type,
                     std::string(padding, ' '), detailText(event));
}

}  // namespace

std::string timeline(const CacheSnapshot& cache, std::int64_t sinceSeconds, std::int64_t limit, Date now) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const double cutOff = now.secondsSince1970 - static_cast<double>(sinceSeconds);
  std::vector<TimelineEvent> events;
  for (const auto& request : cache.httpRequests) {
    if (request.timestamp.secondsSince1970 > cutOff) events.push_back({request.timestamp, &request, nullptr});
  }
  for (const auto& entry : cache.logEntries) {
    if (entry.timestamp.secondsSince1970 > cutOff) events.push_back({entry.timestamp, nullptr, &entry});
  }
  // Stable, so that a request precedes what was logged at the same instant.
  std::stable_sort(events.begin(), events.end(), [](const auto& a, const auto& b) {
    return a.time.secondsSince1970 < b.time.secondsSince1970;
  });

  const auto shown = lastItems(events, limit);
  if (shown.empty()) return fmt::format("No events in the last {}s.", sinceSeconds);
  std::string text = fmt::format("Timeline (last {}s, {} events):", sinceSeconds, shown.size());
  for (const auto& event : shown) text += eventLine(event);
  return text;
}

}  // namespace wyvlet
