#include "Tools/VerificationTools.h"

#include <fmt/format.h>
#include <re2/re2.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {
namespace {

using Entries = std::vector<const TransferableLogEntry*>;
using Requests = std::vector<const TransferableNetworkRequest*>;

// Ample for any pattern written by hand, and little enough that a hostile one costs no noticeable time.
constexpr std::int64_t kPatternMemory = 1 << 20;

std::size_t countContaining(const Entries& entries, std::string_view part) {
  return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [&](const auto* entry) {
    return containsIgnoringCase(entry->message, part);
  }));
}

/// How many messages the property followed by the value matches. Both sides are lower-cased, the
/// pattern too, so that it reads as the agent's other filters do.
std::size_t countMatching(const Entries& entries, std::string_view property, std::string_view value) {
  RE2::Options options;
  options.set_log_errors(false);
  options.set_max_mem(kPatternMemory);
  const RE2 pattern(lowerCased(property) + ".*" + lowerCased(value), options);
  if (!pattern.ok()) return 0;
  return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [&](const auto* entry) {
    return RE2::PartialMatch(lowerCased(entry->message), pattern);
  }));
}

/// Removes the requests that fail the test.
template <class Test>
Requests only(const Requests& requests, Test test) {
  Requests passing;
  std::copy_if(requests.begin(), requests.end(), std::back_inserter(passing), test);
  return passing;
}

bool bodyContains(const TransferableNetworkRequest& request, std::string_view text) {
  return request.responseBody && request.responseBody->data.find(text) != std::string::npos;
}

std::string_view trimmedBlanks(std::string_view line) {
  const auto first = line.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return line.substr(first, line.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::string checkEvent(const CacheSnapshot& cache, const EventQuery& query, Date now) {
  if (!cache.isConnected) return std::string(kNotConnected);
  std::size_t searched = 0;
  Entries found;
  for (const auto& entry : cache.logEntries) {
    if (!isWithinLast(query.sinceSeconds, entry.timestamp, now)) continue;
    ++searched;
    if (mentions(entry, query.name)) found.push_back(&entry);
  }

  if (found.empty()) {
    return fmt::format("NOT FOUND: Event \"{}\" not found in {} log entries{}", query.name, searched,
                       query.sinceSeconds ? fmt::format(" (last {}s)", *query.sinceSeconds) : "");
  }
  const std::string latest = "\nLatest: " + found.back()->message;
  if (!query.property) {
    return fmt::format("PASS: Event \"{}\" fired {} time(s){}", query.name, found.size(), latest);
  }
  if (!query.value) {
    if (const auto count = countContaining(found, *query.property); count > 0) {
      return fmt::format("PASS: Event \"{}\" fired with \"{}\" present ({}x){}", query.name, *query.property,
                         count, latest);
    }
    return fmt::format("FOUND but MISSING PROPERTY: Event \"{}\" fired {}x but property \"{}\" not found{}",
                       query.name, found.size(), *query.property, latest);
  }
  if (const auto count = countMatching(found, *query.property, *query.value); count > 0) {
    return fmt::format("PASS: Event \"{}\" fired with {} = {} ({} match(es))", query.name, *query.property,
                       *query.value, count);
  }
  return fmt::format("FOUND but PROPERTY MISMATCH: Event \"{}\" fired {}x but \"{}\" != \"{}\"{}", query.name,
                     found.size(), *query.property, *query.value, latest);
}

std::string assertRequest(const CacheSnapshot& cache, const RequestQuery& query, Date now) {
  if (!cache.isConnected) return std::string(kNotConnected);
  Requests matching;
  for (const auto& request : cache.httpRequests) {
    if (query.urlPattern && !containsIgnoringCase(request.url, *query.urlPattern)) continue;
    if (query.method && !equalIgnoringCase(request.method, *query.method)) continue;
    if (isWithinLast(query.sinceSeconds, request.timestamp, now)) matching.push_back(&request);
  }
  if (matching.empty()) {
    return fmt::format("FAIL: No requests found{}{}{}",
                       query.urlPattern ? " matching URL \"" + *query.urlPattern + "\"" : "",
                       query.method ? " with method " + *query.method : "",
                       query.sinceSeconds ? fmt::format(" in the last {}s", *query.sinceSeconds) : "");
  }

  const Requests inRange = only(matching, [&](const auto* request) {
    return request->statusCode && *request->statusCode >= query.minStatus &&
           *request->statusCode <= query.maxStatus;
  });
  if (inRange.empty()) {
    return fmt::format("FAIL: Found {} matching request(s) but none with status {}-{}. Actual statuses: {}",
                       matching.size(), query.minStatus, query.maxStatus, statusList(matching));
  }

  const auto newest = std::find_if(inRange.rbegin(), inRange.rend(), [&](const auto* request) {
    return !query.bodyContains || bodyContains(*request, *query.bodyContains);
  });
  if (newest == inRange.rend()) {
    return fmt::format(
        "FAIL: Found {} request(s) with correct status but response body does not contain \"{}\"",
        inRange.size(), *query.bodyContains);
  }
  return fmt::format("PASS: {} {} {}{}", (*newest)->method, *(*newest)->statusCode, (*newest)->url,
                     query.bodyContains ? " — response contains \"" + *query.bodyContains + "\"" : "");
}

std::string valueOnScreen(std::string_view screenText, std::string_view text) {
  const auto lines = split(screenText, "\n");
  const auto found = std::find_if(lines.begin(), lines.end(),
                                  [&](std::string_view line) { return containsIgnoringCase(line, text); });
  if (found == lines.end()) {
    return fmt::format("NOT FOUND: No element containing \"{}\" on current screen", text);
  }
  const auto next = std::next(found);
  return fmt::format("Found: {}{}", trimmedBlanks(*found),
                     next == lines.end() ? "" : fmt::format("\nNext: {}", trimmedBlanks(*next)));
}

std::string elementVerdict(std::string_view findAnswer, std::string_view text, std::string_view state) {
  const bool noneFound = findAnswer.find("No elements found") != std::string_view::npos;
  const bool found = !noneFound && findAnswer.find("Found") != std::string_view::npos;
  const std::string wanted = lowerCased(state);
  if (wanted == "exists") {
    return found ? fmt::format("PASS: Element '{}' exists on screen", text)
                 : fmt::format("FAIL: Element '{}' not found on screen", text);
  }
  if (wanted == "enabled") {
    return found ? fmt::format("PASS: Element '{}' found (visible = likely enabled)", text)
                 : fmt::format("FAIL: Element '{}' not found", text);
  }
  if (wanted == "disabled") {
    return noneFound ? fmt::format("PASS: Element '{}' not visible (possibly disabled/hidden)", text)
                     : fmt::format("INFO: Element '{}' is visible — check if it's actually disabled", text);
  }
  if (wanted == "selected") {
    return "INFO: Selected state check not supported. Use wyvlet_screen_html to inspect element attributes.";
  }
  return fmt::format("Unknown state '{}'. Use: exists, enabled, disabled, selected", state);
}

std::string screenVerdict(std::string_view screenText, std::string_view currentScreen,
                          const std::optional<std::string>& contains,
                          const std::optional<std::string>& notContains) {
  if (!contains && !notContains) return "No assertion specified. Provide 'contains' or 'not_contains'.";
  bool allPass = true;
  std::string results;
  if (contains) {
    const bool pass = containsIgnoringCase(screenText, *contains);
    allPass = allPass && pass;
    results += pass ? fmt::format("\nPASS: Screen contains '{}'", *contains)
                    : fmt::format("\nFAIL: Screen does NOT contain '{}'", *contains);
  }
  if (notContains) {
    const bool pass = !containsIgnoringCase(screenText, *notContains);
    allPass = allPass && pass;
    results += pass ? fmt::format("\nPASS: Screen does not contain '{}' (correct)", *notContains)
                    : fmt::format("\nFAIL: Screen contains '{}' (should NOT)", *notContains);
  }
  return fmt::format("Screen: {}{}\nOverall: {}", currentScreen, results, allPass ? "PASS" : "FAIL");
}

}  // namespace wyvlet
