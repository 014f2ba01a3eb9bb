#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// What an answer of the app became: the text for the agent, and what it tells the cache.
struct FormattedResponse {
  std::string text;
  std::optional<std::string> screen;       ///< the new current screen, when the answer names one
  std::optional<std::string> imageBase64;  ///< the picture of a screenshot answer
};

/// Pure functions from an answer's payload to the lines that an agent reads. A payload that does not
/// decode gives the kind's decode-failure text and nothing for the cache.
FormattedResponse formatSnapshotResponse(std::string_view payload);
FormattedResponse formatScreenshotResponse(std::string_view payload);
FormattedResponse formatFindResponse(std::string_view payload);
FormattedResponse formatScreenTextResponse(std::string_view payload);
FormattedResponse formatScreenHTMLResponse(std::string_view payload);
FormattedResponse formatPerfSnapshotResponse(std::string_view payload);
FormattedResponse formatAccessibilityAuditResponse(std::string_view payload);
FormattedResponse formatWebViewConsoleResponse(std::string_view payload);
FormattedResponse formatInputResponse(std::string_view payload);

}  // namespace wyvlet
