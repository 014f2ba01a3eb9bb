#include "Android/AndroidTools.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <iterator>
#include <utility>
#include <vector>

#include "Android/JSONFields.h"
#include "Support/Text.h"

namespace wyvlet::AndroidTools {
namespace {

namespace json = boost::json;

constexpr double kFreshMilliseconds = 30000;
constexpr std::size_t kURLCharacters = 70;
constexpr std::size_t kMessageCharacters = 100;
constexpr std::size_t kPrefsValueCharacters = 200;
constexpr std::size_t kPrefsLines = 50;
constexpr std::size_t kRequestBodyCharacters = 2000;
constexpr std::size_t kResponseBodyCharacters = 3000;

template <class... Arguments>
void append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

std::string_view textOr(const json::object& object, std::string_view key, std::string_view otherwise) {
  return textField(object, key).value_or(otherwise);
}

std::int64_t integerOrZero(const json::object& object, std::string_view key) {
  return integerField(object, key).value_or(0);
}

using Entries = std::vector<const json::object*>;

/// The list under `key`; nothing when it is missing or holds anything but objects.
std::optional<Entries> entriesAt(const json::object* capture, std::string_view key) {
  const auto* array = capture == nullptr ? nullptr : arrayField(*capture, key);
  if (array == nullptr) return std::nullopt;
  Entries entries;
  entries.reserve(array->size());
  for (const auto& element : *array) {
    const auto* entry = element.if_object();
    if (entry == nullptr) return std::nullopt;
    entries.push_back(entry);
  }
  return entries;
}

template <class Keep>
Entries kept(const Entries& entries, Keep keep) {
  Entries result;
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(result), keep);
  return result;
}

/// The newest `limit` entries; none for a limit below one.
Entries lastOf(const Entries& entries, std::int64_t limit) {
  const auto size = static_cast<std::int64_t>(entries.size());
  return {entries.end() - std::clamp<std::int64_t>(limit, 0, size), entries.end()};
}

/// The first characters of the text, followed by "..." when there are more.
std::string cut(std::string_view text, std::size_t characters) {
  const auto head = firstCharacters(text, characters);
  return std::string(head) + (head.size() < text.size() ? "..." : "");
}

bool isConnected(const json::object* capture) {
  return capture != nullptr && boolField(*capture, "connected");
}

std::size_t countAt(const json::object& capture, std::string_view key) {
  const auto* array = arrayField(capture, key);
  return array == nullptr ? 0 : array->size();
}

void appendHeaders(std::string& text, std::string_view title, const json::object& request,
                   std::string_view key) {
  const auto* headers = objectField(request, key);
  if (headers == nullptr) return;
  std::vector<std::pair<std::string_view, std::string_view>> lines;
  for (const auto& header : *headers) {
    if (const auto* content = header.value().if_string()) lines.emplace_back(header.key(), *content);
  }
  std::sort(lines.begin(), lines.end());
  append(text, "\n\n{}:", title);
  for (const auto& [name, content] : lines) append(text, "\n  {}: {}", name, content);
}

void appendBody(std::string& text, std::string_view title, const json::object& request, std::string_view key,
                std::size_t characters) {
  const auto body = textField(request, key);
  if (body) append(text, "\n\n{}:\n{}", title, firstCharacters(*body, characters));
}

bool isAny(const std::optional<std::string>& method) { return !method || *method == "*"; }

/// A preference's value as it stands: a text without its quotes, anything else as JSON.
std::string valueText(const json::object& entry) {
  const auto* value = entry.if_contains("value");
  if (value == nullptr) return "?";
  if (const auto* text = value->if_string()) return cut(*text, kPrefsValueCharacters);
  // The library writes 1.5 as 1.5E0.
  if (const auto* number = value->if_double()) return fmt::format("{}", *number);
  return cut(json::serialize(*value), kPrefsValueCharacters);
}

bool matchesPrefsFilter(const json::object& entry, std::string_view filter) {
  return containsIgnoringCase(textOr(entry, "prefsFile", ""), filter) ||
         containsIgnoringCase(textOr(entry, "key", ""), filter);
}

}  // namespace

bool isLive(const json::object* capture, std::int64_t nowMilliseconds) {
  if (!isConnected(capture)) return false;
  const auto timestamp = numberField(*capture, "timestamp");
  return timestamp && static_cast<double>(nowMilliseconds) - *timestamp < kFreshMilliseconds;
}

std::string status(const json::object* capture) {
  if (!isConnected(capture)) {
    return "Android bridge: NOT CONNECTED\nRun: python3 wyvlet-bridge.py <package> --serial <serial>";
  }
  return fmt::format("Android bridge: CONNECTED\nPackage: {}\nNetwork requests: {}\nLog entries: {}",
                     textOr(*capture, "package", "?"), countAt(*capture, "httpRequests"),
                     countAt(*capture, "logEntries"));
}

std::string networkLogs(const json::object* capture, std::int64_t limit,
                        const std::optional<std::string>& urlFilter) {
  const auto requests = entriesAt(capture, "httpRequests");
  if (!requests) return "No Android capture data available. Ensure wyvlet-bridge.py is running.";
  const std::string_view filter = urlFilter ? std::string_view(*urlFilter) : "";
  const auto shown = lastOf(kept(*requests,
                                 [&](const json::object* request) {
                                   return textOr(*request, "url", "").find(filter) != std::string_view::npos;
                                 }),
                            limit);
  if (shown.empty()) return "No network requests captured.";
  auto text = fmt::format("Android Network Logs ({} of {} total):", shown.size(), requests->size());
  for (const auto* request : shown) {
    append(text, "\n  {} {} → {} ({}ms)", textOr(*request, "method", "?"),
           cut(textOr(*request, "url", "?"), kURLCharacters), integerOrZero(*request, "statusCode"),
           integerOrZero(*request, "duration"));
  }
  return text;
}

std::string requestDetail(const json::object* capture, std::string_view id) {
  const auto* requests = capture == nullptr ? nullptr : arrayField(*capture, "httpRequests");
  if (requests == nullptr) return "No capture data.";
  const auto found = std::find_if(requests->rbegin(), requests->rend(), [&](const json::value& element) {
    const auto* request = element.if_object();
    return request != nullptr && textField(*request, "id") == id;
  });
  if (found == requests->rend()) return fmt::format("Request not found: {}", id);
  return formatRequestDetail(found->get_object());
}

std::string formatRequestDetail(const json::object& request) {
  auto text = fmt::format("URL: {}\nMethod: {}\nStatus: {}\nDuration: {}ms", textOr(request, "url", "?"),
                          textOr(request, "method", "?"), integerOrZero(request, "statusCode"),
                          integerOrZero(request, "duration"));
  appendHeaders(text, "Request Headers", request, "requestHeaders");
  appendBody(text, "Request Body", request, "requestBody", kRequestBodyCharacters);
  appendHeaders(text, "Response Headers", request, "responseHeaders");
  appendBody(text, "Response Body", request, "responseBody", kResponseBodyCharacters);
  return text;
}

std::string appLogs(const json::object* capture, std::int64_t limit,
                    const std::optional<std::string>& level) {
  const auto entries = entriesAt(capture, "logEntries");
  if (!entries) return "No Android capture data available.";
  const auto shown = lastOf(kept(*entries,
                                 [&](const json::object* entry) {
                                   return !level || textField(*entry, "level") == std::string_view(*level);
                                 }),
                            limit);
  if (shown.empty()) return "No log entries captured.";
  auto text = fmt::format("Android App Logs ({} of {} total):", shown.size(), entries->size());
  for (const auto* entry : shown) {
    append(text, "\n  [{}] {}: {}", textOr(*entry, "level", "?"), textOr(*entry, "tag", "?"),
           cut(textOr(*entry, "message", ""), kMessageCharacters));
  }
  return text;
}

std::string assertRequest(const json::object* capture, std::string_view urlPattern,
                          const std::optional<std::string>& method) {
  const auto requests = entriesAt(capture, "httpRequests");
  if (!requests) return "FAIL: No capture data.";
  const std::string wantedMethod = upperCased(method.value_or(""));
  const auto matching = kept(*requests, [&](const json::object* request) {
    if (textOr(*request, "url", "").find(urlPattern) == std::string_view::npos) return false;
    if (isAny(method)) return true;
    const auto actualMethod = textField(*request, "method");
    return actualMethod && upperCased(*actualMethod) == wantedMethod;
  });
  if (matching.empty()) {
    return fmt::format("FAIL: No request matching '{}' {} found.", urlPattern,
                       method ? "(" + *method + ")" : "");
  }
  const auto& last = *matching.back();
  return fmt::format("PASS: Found {} request(s) matching '{}'. Last: {} → {}", matching.size(), urlPattern,
                     textOr(last, "method", "?"), integerOrZero(last, "statusCode"));
}

std::string prefs(const json::object* capture, const std::optional<std::string>& filter) {
  const auto all = entriesAt(capture, "prefsEntries");
  if (!all) return "No SharedPreferences data. Ensure wyvlet-bridge.py is running.";
  const auto entries =
      kept(*all, [&](const json::object* entry) { return matchesPrefsFilter(*entry, filter.value_or("")); });
  if (entries.empty()) return "No SharedPreferences entries found.";
  auto text = fmt::format("SharedPreferences ({} entries):", entries.size());
  const std::size_t shown = std::min(entries.size(), kPrefsLines);
  for (std::size_t i = 0; i < shown; ++i) {
    const auto& entry = *entries[i];
    append(text, "\n  [{}] {} = {} ({})", textOr(entry, "prefsFile", "?"), textOr(entry, "key", "?"),
           valueText(entry), textOr(entry, "type", "?"));
  }
  if (entries.size() > shown) append(text, "\n  ... and {} more", entries.size() - shown);
  return text;
}

}  // namespace wyvlet::AndroidTools
