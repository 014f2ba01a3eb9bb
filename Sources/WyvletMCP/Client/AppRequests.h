#pragma once

#include <array>
#include <boost/json/fwd.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Client/ResponseFormatters.h"
#include "Client/WyvletClient.h"
#include "Support/Mutex.h"
#include "Support/Semaphore.h"

namespace wyvlet {

/// The kinds of answers that an app gives.
enum class AnswerKind : std::uint8_t {
  Snapshot,
  Screenshot,
  Find,
  ScreenText,
  ScreenHTML,
  PerfSnapshot,
  AccessibilityAudit,
  WebViewConsole,
  Input,
};

inline constexpr std::size_t kAnswerKindCount = 9;

/// The questions to the app: sends the command, waits for the answer, words the outcome. The client
/// queue stores answers; any other thread asks.
///
/// Of each kind the last answer is kept, and every answer is counted by a semaphore. A question clears
/// the answer of its kind, but never the count: an answer that came too late ends the wait of the next
/// question at once, with that question's sentence for no answer, and the answer to that one is then
/// the one too many. Only a question that the app leaves unanswered takes the surplus away. Answers
/// carry nothing by which they could be matched, so the count is the protocol's word on it.
///
/// Questions for elements, screen text and screen HTML hold their turn while they wait; screen HTML
/// may take the turn of screen text while it holds its own, never the other way round. The other
/// kinds take no turns, and two of them at once may each get the other's answer.
class AppRequests {
 public:
  /// What the requests need of the link.
  struct Link {
    std::function<bool()> isConnected;
    std::function<void(std::string_view type, const boost::json::object& payload)> send;
  };

  explicit AppRequests(Link link) : link_(std::move(link)) {}

  /// Keeps an answer and wakes who waits for it.
  void store(AnswerKind kind, FormattedResponse answer);

  /// See WyvletClient.
  ScreenshotAnswer screenshot(double timeoutSeconds);
  std::string findElement(std::string_view text, bool exact, double timeoutSeconds);
  std::string typeText(std::string_view text, double timeoutSeconds);
  std::string screenText(double timeoutSeconds);
  std::string screenHTML(double timeoutSeconds);
  std::string perfSnapshot(double timeoutSeconds);
  std::string accessibilityAudit(double timeoutSeconds);
  std::string webViewConsole(const std::optional<std::string>& level, std::int64_t limit,
                             double timeoutSeconds);

 private:
  struct Question;
  class Slot;

  enum class Ending { NotConnected, TimedOut, Answered };
  struct Outcome {
    Ending ending;
    std::string text;
    std::optional<std::string> imageBase64;  // what this answer brought
    bool endedByLateAnswer = false;
  };

  Slot& slot(AnswerKind kind) { return slots_[static_cast<std::size_t>(kind)]; }
  Outcome ask(const Question& question, const boost::json::object& payload, double timeoutSeconds);

  /// The last answer of one kind.
  class Slot {
   public:
    void store(FormattedResponse answer) EXCLUDES(mutex_);
    void clear() EXCLUDES(mutex_);
    bool wait(double timeoutSeconds) { return answers_.wait(timeoutSeconds); }
    std::optional<FormattedResponse> last() const EXCLUDES(mutex_);

   private:
    Semaphore answers_;
    mutable Mutex mutex_;
    std::optional<FormattedResponse> last_ GUARDED_BY(mutex_);
  };

  const Link link_;
  std::array<Slot, kAnswerKindCount> slots_;
  Mutex findTurn_;
  Mutex screenHTMLTurn_;  // before screenTextTurn_ where both are held
  Mutex screenTextTurn_;
  Mutex imageMutex_;
  std::optional<std::string> newestImage_ GUARDED_BY(imageMutex_);
};

}  // namespace wyvlet
