#include "Client/AppRequests.h"

#include <boost/json.hpp>
#include <chrono>
#include <utility>

#include "Support/Log.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

/// How long the screen's text may take when it stands in for its HTML.
constexpr double kFallbackTimeout = 3.0;

}  // namespace

/// One kind of question: what is sent, and the sentences of its failures.
struct AppRequests::Question {
  AnswerKind kind;
  std::string_view command;
  std::string_view timedOut;
  std::string_view empty;
};

void AppRequests::Slot::store(FormattedResponse answer) {
  {
    MutexLock lock(mutex_);
    last_ = std::move(answer);
  }
  answers_.signal();
}

void AppRequests::Slot::clear() {
  MutexLock lock(mutex_);
  last_.reset();
}

std::optional<FormattedResponse> AppRequests::Slot::last() const {
  MutexLock lock(mutex_);
  return last_;
}

void AppRequests::store(AnswerKind kind, FormattedResponse answer) {
  if (answer.imageBase64) {
    MutexLock lock(imageMutex_);
    newestImage_ = answer.imageBase64;
  }
  slot(kind).store(std::move(answer));
}

AppRequests::Outcome AppRequests::ask(const Question& question, const boost::json::object& payload,
                                      double timeoutSeconds) {
  if (!link_.isConnected()) return {Ending::NotConnected, std::string(kNotConnected), {}, false};
  auto& slot = this->slot(question.kind);
  slot.clear();
  link_.send(question.command, payload);
  if (!slot.wait(timeoutSeconds)) return {Ending::TimedOut, std::string(question.timedOut), {}, false};
  auto answer = slot.last();
  if (!answer) return {Ending::Answered, std::string(question.empty), {}, true};
  return {Ending::Answered, std::move(answer->text), std::move(answer->imageBase64), false};
}

ScreenshotAnswer AppRequests::screenshot(double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::Screenshot, "command.requestScreenshot",
                                      "Screenshot timed out", "No screenshot"};
  auto outcome = ask(kQuestion, {}, timeoutSeconds);
  ScreenshotAnswer answer{.text = std::move(outcome.text),
                          .imageBase64 = {},
                          .ownImageBase64 = {},
                          .endedByLateAnswer = outcome.endedByLateAnswer};
  if (outcome.ending != Ending::Answered) return answer;
  answer.ownImageBase64 = std::move(outcome.imageBase64);
  MutexLock lock(imageMutex_);
  answer.imageBase64 = newestImage_;
  return answer;
}

std::string AppRequests::findElement(std::string_view text, bool exact, double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::Find, "command.findElement", "Find element timed out",
                                      "No results"};
  MutexLock turn(findTurn_);
  return ask(kQuestion, {{"text", text}, {"exact", exact}}, timeoutSeconds).text;
}

std::string AppRequests::typeText(std::string_view text, double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::Input, "command.typeText", "Probe type_text timed out",
                                      "No type result"};
  return ask(kQuestion, {{"text", text}}, timeoutSeconds).text;
}

std::string AppRequests::screenText(double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::ScreenText, "command.screenText", "Screen text timed out",
                                      "No text"};
  MutexLock turn(screenTextTurn_);
  return ask(kQuestion, {}, timeoutSeconds).text;
}

std::string AppRequests::screenHTML(double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::ScreenHTML, "command.screenHTML", "", "No data"};
  MutexLock turn(screenHTMLTurn_);
  const auto start = std::chrono::steady_clock::now();
  auto outcome = ask(kQuestion, {}, timeoutSeconds);
  const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
  const auto duration = fixedText(elapsed.count(), 0) + "ms";
  if (outcome.ending == Ending::NotConnected) return std::move(outcome.text);
  if (outcome.ending == Ending::TimedOut) {
    logLine(kClientTag, "screen_html timed out after " + duration + " — falling back to screen_text");
    return screenText(kFallbackTimeout);
  }
  logLine(kClientTag, "screen_html completed in " + duration);
  return std::move(outcome.text);
}

std::string AppRequests::perfSnapshot(double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::PerfSnapshot, "command.perfSnapshot",
                                      "Perf snapshot timed out", "No perf data"};
  return ask(kQuestion, {}, timeoutSeconds).text;
}

std::string AppRequests::accessibilityAudit(double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::AccessibilityAudit, "command.accessibilityAudit",
                                      "Accessibility audit timed out", "No audit data"};
  return ask(kQuestion, {}, timeoutSeconds).text;
}

std::string AppRequests::webViewConsole(const std::optional<std::string>& level, std::int64_t limit,
                                        double timeoutSeconds) {
  static constexpr Question kQuestion{AnswerKind::WebViewConsole, "command.getWebViewConsole",
                                      "WebView console request timed out", "No WebView console data"};
  boost::json::object payload{{"limit", limit}};
  if (level) payload["level"] = *level;
  return ask(kQuestion, payload, timeoutSeconds).text;
}

}  // namespace wyvlet
