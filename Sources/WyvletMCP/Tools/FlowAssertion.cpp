#include "Tools/FlowAssertion.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <iterator>
#include <optional>
#include <vector>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"
#include "Tools/JSONAccess.h"

namespace wyvlet {
namespace {

/// The outcome is kept beside the text: a name inside the text may well hold the word PASS.
struct StepVerdict {
  bool passed;
  std::string text;
};

std::string textOrEmpty(const boost::json::object& step, std::string_view key) {
  return textMember(step, key).value_or("");
}

StepVerdict judgeEvent(const CacheSnapshot& cache, const boost::json::object& step) {
  const std::string name = textOrEmpty(step, "event_name");
  const auto count = std::count_if(cache.logEntries.begin(), cache.logEntries.end(),
                                   [&](const auto& entry) { return mentions(entry, name); });
  if (count == 0) {
    return {false, fmt::format("[event] FAIL: Event \"{}\" not found in {} log entries", name,
                               cache.logEntries.size())};
  }
  return {true, fmt::format("[event] PASS: Event \"{}\" fired {} time(s)", name, count)};
}

StepVerdict judgeScreen(const CacheSnapshot& cache, const boost::json::object& step) {
  const std::string name = textOrEmpty(step, "screen_name");
  if (containsIgnoringCase(cache.currentScreen, name)) {
    return {true,
            fmt::format("[screen] PASS: Current screen \"{}\" matches \"{}\"", cache.currentScreen, name)};
  }
  return {false, fmt::format("[screen] FAIL: Current screen \"{}\" does not match \"{}\"",
                             cache.currentScreen, name)};
}

StepVerdict judgeRequest(const CacheSnapshot& cache, const boost::json::object& step) {
  const std::string pattern = textOrEmpty(step, "url_pattern");
  const auto method = textMember(step, "method");
  const auto status = integralMember(step, "status");
  std::vector<const TransferableNetworkRequest*> matches;
  for (const auto& request : cache.httpRequests) {
    if (containsIgnoringCase(request.url, pattern) &&
        (!method || equalIgnoringCase(request.method, *method))) {
      matches.push_back(&request);
    }
  }
  if (matches.empty()) return {false, "[request] FAIL: No requests matching " + pattern};

  const auto newest = std::find_if(matches.rbegin(), matches.rend(), [&](const auto* request) {
    return !status || request->statusCode == status;
  });
  if (newest == matches.rend()) {
    return {false,
            fmt::format("[request] FAIL: Found {} request(s) for {} but none with status {}. Actual: {}",
                        matches.size(), pattern, *status, statusList(matches))};
  }
  return {true, fmt::format("[request] PASS: {} {} {}", (*newest)->method,
                            statusText((*newest)->statusCode, "none"), (*newest)->url)};
}

StepVerdict judge(const CacheSnapshot& cache, const boost::json::object& step) {
  const std::string type = textOrEmpty(step, "type");
  if (type == "request") return judgeRequest(cache, step);
  if (type == "event") return judgeEvent(cache, step);
  if (type == "screen") return judgeScreen(cache, step);
  return {false, fmt::format("[unknown] FAIL: Unknown step type \"{}\". Use: request, event, screen", type)};
}

}  // namespace

std::string assertFlow(const CacheSnapshot& cache, std::string_view stepsJSON) {
  const auto document = parseJSON(stepsJSON);
  const auto* steps = document ? document->if_array() : nullptr;
  if (steps == nullptr ||
      !std::all_of(steps->begin(), steps->end(), [](const auto& step) { return step.is_object(); })) {
    return "FAIL: Invalid JSON in 'steps' parameter. Expected a JSON array of step objects.";
  }
  if (steps->empty()) return "FAIL: No steps provided. Pass a JSON array of steps.";

  std::string text;
  std::size_t passed = 0;
  for (std::size_t index = 0; index < steps->size(); ++index) {
    const auto verdict = judge(cache, (*steps)[index].get_object());
    passed += verdict.passed ? 1 : 0;
    fmt::format_to(std::back_inserter(text), "Step {} {}\n", index + 1, verdict.text);
  }
  const std::size_t failed = steps->size() - passed;
  return text + fmt::format("Assert Flow: {} passed, {} failed — Overall: {}", passed, failed,
                            failed == 0 ? "PASS" : "FAIL");
}

}  // namespace wyvlet
