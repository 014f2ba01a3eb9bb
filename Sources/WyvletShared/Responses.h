#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/FieldTable.h"

namespace wyvlet {

/// One element of a snapshot; points.
struct SnapshotElement {
  std::optional<std::string> label;
  std::optional<std::string> identifier;
  std::string type;
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  bool interactive = false;

  static constexpr std::string_view recordName = "SnapshotElement";
  static constexpr auto fields = fieldTable(
      field("label", &SnapshotElement::label), field("identifier", &SnapshotElement::identifier),
      field("type", &SnapshotElement::type), field("x", &SnapshotElement::x), field("y", &SnapshotElement::y),
      field("width", &SnapshotElement::width), field("height", &SnapshotElement::height),
      field("interactive", &SnapshotElement::interactive));
  bool operator==(const SnapshotElement&) const = default;
};

/// "response.snapshot".
struct SnapshotResponse {
  std::string screen;
  std::vector<SnapshotElement> elements;

  static constexpr std::string_view recordName = "SnapshotResponse";
  static constexpr auto fields =
      fieldTable(field("screen", &SnapshotResponse::screen), field("elements", &SnapshotResponse::elements));
  bool operator==(const SnapshotResponse&) const = default;
};

/// "response.screenshot".
struct ScreenshotResponse {
  std::string screen;
  std::string base64PNG;  // a PNG image as base64 text

  static constexpr std::string_view recordName = "ScreenshotResponse";
  static constexpr auto fields = fieldTable(field("screen", &ScreenshotResponse::screen),
                                            field("base64PNG", &ScreenshotResponse::base64PNG));
  bool operator==(const ScreenshotResponse&) const = default;
};

/// One element that a find request matched; points.
struct FoundElement {
  std::string label;
  std::string type;
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t centerX = 0;
  std::int64_t centerY = 0;
  bool isButton = false;

  static constexpr std::string_view recordName = "FoundElement";
  static constexpr auto fields = fieldTable(
      field("label", &FoundElement::label), field("type", &FoundElement::type), field("x", &FoundElement::x),
      field("y", &FoundElement::y), field("width", &FoundElement::width),
      field("height", &FoundElement::height), field("centerX", &FoundElement::centerX),
      field("centerY", &FoundElement::centerY), field("isButton", &FoundElement::isButton));
  bool operator==(const FoundElement&) const = default;
};

/// "response.findElement".
struct FindResponse {
  std::string screen;
  std::string query;
  std::vector<FoundElement> results;

  static constexpr std::string_view recordName = "FindResponse";
  static constexpr auto fields =
      fieldTable(field("screen", &FindResponse::screen), field("query", &FindResponse::query),
                 field("results", &FindResponse::results));
  bool operator==(const FindResponse&) const = default;
};

/// "response.screenText".
struct ScreenTextResponse {
  std::string screen;
  std::vector<std::string> lines;

  static constexpr std::string_view recordName = "ScreenTextResponse";
  static constexpr auto fields =
      fieldTable(field("screen", &ScreenTextResponse::screen), field("lines", &ScreenTextResponse::lines));
  bool operator==(const ScreenTextResponse&) const = default;
};

/// "response.screenHTML".
struct ScreenHTMLResponse {
  std::string screen;
  std::string html;
  std::int64_t elementCount = 0;

  static constexpr std::string_view recordName = "ScreenHTMLResponse";
  static constexpr auto fields =
      fieldTable(field("screen", &ScreenHTMLResponse::screen), field("html", &ScreenHTMLResponse::html),
                 field("elementCount", &ScreenHTMLResponse::elementCount));
  bool operator==(const ScreenHTMLResponse&) const = default;
};

/// "response.perfSnapshot".
struct PerfSnapshotResponse {
  double fps = 0;
  double memoryMB = 0;
  double avgFPS = 0;
  double peakMemoryMB = 0;
  std::string screen;

  static constexpr std::string_view recordName = "PerfSnapshotResponse";
  static constexpr auto fields =
      fieldTable(field("fps", &PerfSnapshotResponse::fps), field("memoryMB", &PerfSnapshotResponse::memoryMB),
                 field("avgFPS", &PerfSnapshotResponse::avgFPS),
                 field("peakMemoryMB", &PerfSnapshotResponse::peakMemoryMB),
                 field("screen", &PerfSnapshotResponse::screen));
  bool operator==(const PerfSnapshotResponse&) const = default;
};

/// One accessibility finding; points.
struct AuditIssue {
  std::string element;
  std::string issue;
  std::string severity;  // "error", "warning" or another word
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;

  static constexpr std::string_view recordName = "AuditIssue";
  static constexpr auto fields = fieldTable(
      field("element", &AuditIssue::element), field("issue", &AuditIssue::issue),
      field("severity", &AuditIssue::severity), field("x", &AuditIssue::x), field("y", &AuditIssue::y),
      field("width", &AuditIssue::width), field("height", &AuditIssue::height));
  bool operator==(const AuditIssue&) const = default;
};

/// "response.accessibilityAudit".
struct AccessibilityAuditResponse {
  std::string screen;
  std::vector<AuditIssue> issues;
  std::int64_t issueCount = 0;  // the app's own count

  static constexpr std::string_view recordName = "AccessibilityAuditResponse";
  static constexpr auto fields = fieldTable(field("screen", &AccessibilityAuditResponse::screen),
                                            field("issues", &AccessibilityAuditResponse::issues),
                                            field("issueCount", &AccessibilityAuditResponse::issueCount));
  bool operator==(const AccessibilityAuditResponse&) const = default;
};

/// One console line of a WebView.
struct ConsoleEntry {
  double timestamp = 0;  // seconds since 1970
  std::string level;
  std::string message;
  std::optional<std::string> url;

  static constexpr std::string_view recordName = "ConsoleEntry";
  static constexpr auto fields =
      fieldTable(field("timestamp", &ConsoleEntry::timestamp), field("level", &ConsoleEntry::level),
                 field("message", &ConsoleEntry::message), field("url", &ConsoleEntry::url));
  bool operator==(const ConsoleEntry&) const = default;
};

/// "response.webViewConsole".
struct WebViewConsoleResponse {
  std::vector<ConsoleEntry> entries;
  std::int64_t totalCount = 0;

  static constexpr std::string_view recordName = "WebViewConsoleResponse";
  static constexpr auto fields = fieldTable(field("entries", &WebViewConsoleResponse::entries),
                                            field("totalCount", &WebViewConsoleResponse::totalCount));
  bool operator==(const WebViewConsoleResponse&) const = default;
};

/// "response.tap", "response.swipe", "response.typeText" and "response.input".
struct InputResult {
  bool success = false;
  std::string message;

  static constexpr std::string_view recordName = "InputResult";
  static constexpr auto fields =
      fieldTable(field("success", &InputResult::success), field("message", &InputResult::message));
  bool operator==(const InputResult&) const = default;
};

}  // namespace wyvlet
