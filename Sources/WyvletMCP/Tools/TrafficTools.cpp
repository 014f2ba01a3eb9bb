#include "Tools/TrafficTools.h"

#include <fmt/format.h>

#include <iterator>
#include <map>
#include <vector>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {
namespace {

// What the app answered is worth more room than what it asked.
constexpr std::size_t kRequestBodyCharacters = 2000;
constexpr std::size_t kResponseBodyCharacters = 4000;
constexpr std::size_t kFrameCharacters = 200;

bool isFromWebView(const TransferableNetworkRequest& request) { return request.source == "WebView"; }

/// Whether the agent's word for a source lets the request pass. An unknown word filters nothing.
bool passesSource(const TransferableNetworkRequest& request, std::string_view lowerCasedSource) {
  if (lowerCasedSource == "webview" || lowerCasedSource == "web_view") return isFromWebView(request);
  if (lowerCasedSource == "native" || lowerCasedSource == "urlsession" || lowerCasedSource == "url_session") {
    return !isFromWebView(request);
  }
  return true;
}

bool passesScreen(const std::optional<std::string>& screenName, const std::optional<std::string>& screen) {
  return !screen || (screenName && containsIgnoringCase(*screenName, *screen));
}

std::string requestLine(const TransferableNetworkRequest& request) {
  std::vector<std::string> tags;
  if (request.isMocked) tags.emplace_back("MOCKED");
  if (request.isIntercepted) tags.emplace_back("INTERCEPTED");
  if (request.isEnvironmentRewritten) tags.emplace_back("REWRITTEN");
  if (isFromWebView(request)) tags.emplace_back("WEBVIEW");

  std::string line =
      fmt::format("[{}] {} {} {} {}", request.id.shortText(), request.method,
                  statusText(request.statusCode, "—"), millisecondsText(request.duration), request.url);
  if (!tags.empty()) line += " (" + joined(tags, ",") + ")";
  if (request.screenName) line += " from: " + *request.screenName;
  return line;
}

std::string headerSection(std::string_view title, const std::map<std::string, std::string>& headers) {
  std::string section = fmt::format("\n\n--- {} ---", title);
  for (const auto& [name, value] : headers) {
    fmt::format_to(std::back_inserter(section), "\n{}: {}", name, value);
  }
  return section;
}

/// The start of a body, or nothing for one that is absent, empty or no text.
std::string bodySection(std::string_view title, const std::optional<Bytes>& body, std::size_t characters) {
  if (!body || body->data.empty() || !isValidUTF8(body->data)) return "";
  return fmt::format("\n\n--- {} ---\n{}", title, firstCharacters(body->data, characters));
}

std::string frameText(const TransferableWSFrame& frame) {
  if (frame.payloadString) return std::string(firstCharacters(*frame.payloadString, kFrameCharacters));
  return fmt::format("{} bytes", frame.payload ? frame.payload->data.size() : 0);
}

}  // namespace

std::string networkLogs(const CacheSnapshot& cache, std::int64_t limit,
                        const std::optional<std::string>& screen, const std::optional<std::string>& source) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const std::string wantedSource = lowerCased(source.value_or(""));
  const auto chosen = newestFirst(cache.httpRequests, limit, [&](const auto& request) {
    return passesScreen(request.screenName, screen) && passesSource(request, wantedSource);
  });

  if (chosen.empty()) {
    std::vector<std::string> filters;
    if (screen) filters.push_back("screen \"" + *screen + "\"");
    if (source) filters.push_back("source \"" + *source + "\"");
    if (filters.empty()) return "No HTTP requests captured yet.";
    return "No HTTP requests matching " + joined(filters, " + ") + ".";
  }

  // Only this one spelling has a title of its own; agents know the texts as they are.
  std::string text =
      fmt::format("{} ({}):", wantedSource == "webview" ? "WebView HTTP Requests" : "Recent HTTP Requests",
                  chosen.size());
  for (const auto* request : chosen) text += "\n" + requestLine(*request);
  return text;
}

std::string requestDetail(const CacheSnapshot& cache, std::string_view id) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const auto* request = findByIdPrefix(cache.httpRequests, id);
  if (request == nullptr) {
    return "Request not found. Use wyvlet_get_network_logs to see available requests.";
  }
  std::string text =
      fmt::format("Request: {} {}\nStatus: {}\nDuration: {}\nScreen: {}", request->method, request->url,
                  request->statusCode.value_or(0), millisecondsText(request->duration),
                  request->screenName.value_or("unknown"));
  text += headerSection("Request Headers", request->requestHeaders);
  text += bodySection("Request Body", request->requestBody, kRequestBodyCharacters);
  text += headerSection("Response Headers", request->responseHeaders);
  text += bodySection("Response Body", request->responseBody, kResponseBodyCharacters);
  if (request->errorDescription) text += "\n\n--- Error ---\n" + *request->errorDescription;
  return text;
}

std::string appLogs(const CacheSnapshot& cache, std::int64_t limit, const std::optional<std::string>& level,
                    const std::optional<std::string>& screen) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const auto chosen = newestFirst(cache.logEntries, limit, [&](const auto& entry) {
    return (!level || entry.level == *level) && passesScreen(entry.screenName, screen);
  });

  if (chosen.empty()) {
    std::vector<std::string> filters;
    if (level) filters.push_back("level " + *level);
    if (screen) filters.push_back("screen \"" + *screen + "\"");
    if (filters.empty()) return "No log entries.";
    return "No log entries matching " + joined(filters, " + ") + ".";
  }

  std::string text = fmt::format("App Logs ({}{}):", chosen.size(), screen ? " on " + *screen : "");
  for (const auto* entry : chosen) {
    fmt::format_to(std::back_inserter(text), "\n[{}] [{}] {}{}  ({}:{})", entry->level, entry->category,
                   entry->message, entry->screenName ? " [" + *entry->screenName + "]" : "", entry->file,
                   entry->line);
  }
  return text;
}

std::string websocketLogs(const CacheSnapshot& cache, std::int64_t limit) {
  if (!cache.isConnected) return std::string(kNotConnected);
  if (cache.wsConnections.empty()) return "No WebSocket connections.";
  std::string text = fmt::format("WebSocket Connections ({}):", cache.wsConnections.size());
  for (const auto& connection : cache.wsConnections) {
    fmt::format_to(std::back_inserter(text), "\n[{}] {} — {}", connection.id.shortText(), connection.url,
                   connection.status);
    for (const auto& frame : lastItems(connection.frames, limit)) {
      fmt::format_to(std::back_inserter(text), "\n  {} [{}] {}", frame.direction == "Sent" ? "→" : "←",
                     frame.frameType, frameText(frame));
    }
  }
  return text;
}

std::string replayRequest(const CacheSnapshot& cache, std::string_view id,
                          const std::function<void(const ReplayRequestCommand&)>& send) {
  if (!cache.isConnected) return std::string(kNotConnected);
  const auto* request = findByIdPrefix(cache.httpRequests, id);
  if (request == nullptr) return "Request not found.";
  send({request->url, request->method, request->requestHeaders, request->requestBody});
  return fmt::format("Replaying: {} {}", request->method, request->url);
}

}  // namespace wyvlet
