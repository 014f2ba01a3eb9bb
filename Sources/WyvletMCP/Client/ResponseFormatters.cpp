#include "Client/ResponseFormatters.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "Support/Text.h"
#include "Support/TimeText.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/Responses.h"

namespace wyvlet {
namespace {

constexpr std::size_t kMessageCharacters = 300;
constexpr std::size_t kURLCharacters = 60;

template <class... Arguments>
void append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

FormattedResponse failed(std::string_view text) {
  return {.text = std::string(text), .screen = std::nullopt, .imageBase64 = std::nullopt};
}

FormattedResponse answered(std::string text, std::optional<std::string> screen = std::nullopt) {
  return {.text = std::move(text), .screen = std::move(screen), .imageBase64 = std::nullopt};
}

std::string_view nameOf(const SnapshotElement& element) {
  if (element.label) return *element.label;
  if (element.identifier) return *element.identifier;
  return "";
}

}  // namespace

FormattedResponse formatSnapshotResponse(std::string_view payload) {
  const auto answer = decodeRecord<SnapshotResponse>(payload);
  if (!answer) return failed("Failed to decode snapshot");
  auto text = fmt::format("Screen: {}\nElements ({}):", answer->screen, answer->elements.size());
  for (const auto& element : answer->elements) {
    append(text, "\n  {} \"{}\" at ({},{}) {}x{}{}", element.type, nameOf(element), element.x, element.y,
           element.width, element.height, element.interactive ? " [tappable]" : "");
  }
  return answered(std::move(text));
}

FormattedResponse formatScreenshotResponse(std::string_view payload) {
  auto answer = decodeRecord<ScreenshotResponse>(payload);
  if (!answer) return failed("Screenshot decode failed");
  auto formatted = answered(fmt::format("Screen: {}\nScreenshot captured ({} bytes base64)", answer->screen,
                                        characterCount(answer->base64PNG)),
                            answer->screen);
  formatted.imageBase64 = std::move(answer->base64PNG);
  return formatted;
}

FormattedResponse formatFindResponse(std::string_view payload) {
  const auto answer = decodeRecord<FindResponse>(payload);
  if (!answer) return failed("Find decode failed");
  if (answer->results.empty()) {
    return answered(
        fmt::format("Screen: {}\nNo elements found matching \"{}\"", answer->screen, answer->query),
        answer->screen);
  }
  auto text = fmt::format("Screen: {}\nFound {} match(es) for \"{}\":", answer->screen,
                          answer->results.size(), answer->query);
  for (const auto& element : answer->results) {
    append(text, "\n  {} \"{}\" at ({},{}) {}x{} center=({},{}){}", element.type, element.label, element.x,
           element.y, element.width, element.height, element.centerX, element.centerY,
           element.isButton ? " [BUTTON]" : "");
  }
  return answered(std::move(text), answer->screen);
}

FormattedResponse formatScreenTextResponse(std::string_view payload) {
  const auto answer = decodeRecord<ScreenTextResponse>(payload);
  if (!answer) return failed("Screen text decode failed");
  auto text = fmt::format("Screen: {}\nVisible text ({} items):", answer->screen, answer->lines.size());
  for (const auto& line : answer->lines) append(text, "\n  {}", line);
  return answered(std::move(text), answer->screen);
}

FormattedResponse formatScreenHTMLResponse(std::string_view payload) {
  auto answer = decodeRecord<ScreenHTMLResponse>(payload);
  if (!answer) return failed("Screen HTML decode failed");
  return answered(std::move(answer->html), std::move(answer->screen));
}

FormattedResponse formatPerfSnapshotResponse(std::string_view payload) {
  const auto answer = decodeRecord<PerfSnapshotResponse>(payload);
  if (!answer) return failed("Perf snapshot decode failed");
  return answered(
      fmt::format("Screen: {}\nCurrent FPS: {}\nAverage FPS: {}\nMemory: {} MB\nPeak Memory: {} MB",
                  answer->screen, fixedText(answer->fps, 1), fixedText(answer->avgFPS, 1),
                  fixedText(answer->memoryMB, 1), fixedText(answer->peakMemoryMB, 1)),
      answer->screen);
}

FormattedResponse formatAccessibilityAuditResponse(std::string_view payload) {
  const auto answer = decodeRecord<AccessibilityAuditResponse>(payload);
  if (!answer) return failed("Accessibility audit decode failed");
  if (answer->issues.empty()) {
    return answered(fmt::format("Screen: {}\nAccessibility Audit: PASS — No issues found", answer->screen),
                    answer->screen);
  }
  const auto count = [&](std::string_view severity) {
    return std::count_if(answer->issues.begin(), answer->issues.end(),
                         [&](const AuditIssue& issue) { return issue.severity == severity; });
  };
  // The app's own count is shown even where it disagrees with the list, and a severity of neither
  // kind reads as a warning without counting as one: agents compare these lines between versions.
  auto text = fmt::format("Screen: {}\nAccessibility Audit: {} issue(s) — {} error(s), {} warning(s)",
                          answer->screen, answer->issueCount, count("error"), count("warning"));
  for (const auto& issue : answer->issues) {
    append(text, "\n  [{}] {}: {} at ({},{}) {}x{}", issue.severity == "error" ? "ERROR" : "WARN",
           issue.element, issue.issue, issue.x, issue.y, issue.width, issue.height);
  }
  return answered(std::move(text), answer->screen);
}

FormattedResponse formatWebViewConsoleResponse(std::string_view payload) {
  const auto answer = decodeRecord<WebViewConsoleResponse>(payload);
  if (!answer) return failed("WebView console decode failed");
  if (answer->entries.empty()) {
    return answered(
        "No WebView console entries captured.\n"
        "Note: Console capture requires WKWebView instances in the app.");
  }
  auto text = fmt::format("WebView Console ({} of {} entries):", answer->entries.size(), answer->totalCount);
  for (const auto& entry : answer->entries) {
    append(text, "\n  [{}] [{}] {}", timeOfDayText(entry.timestamp), upperCased(entry.level),
           firstCharacters(entry.message, kMessageCharacters));
    if (entry.url) append(text, " ({})", lastCharacters(*entry.url, kURLCharacters));
  }
  return answered(std::move(text));
}

FormattedResponse formatInputResponse(std::string_view payload) {
  const auto answer = decodeRecord<InputResult>(payload);
  if (!answer) return failed("Input response decode failed");
  return answered((answer->success ? "OK: " : "FAILED: ") + answer->message);
}

}  // namespace wyvlet
