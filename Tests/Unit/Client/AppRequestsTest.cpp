#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "Client/AppRequests.h"
#include "Unit/Client/LogCapture.h"

namespace wyvlet {
namespace {

using test::kPatience;
using test::LogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// How long a request may take that is meant to time out.
constexpr double kShort = 0.05;

/// The requests with a link that records what is sent and answers at once when told to.
class Requests : public ::testing::Test {
 protected:
  /// Answers the next `command`s with `answer`, as if the app had sent it.
  void answers(std::string command, AnswerKind kind, FormattedResponse answer) {
    answers_[std::move(command)] = {kind, std::move(answer)};
  }
  static FormattedResponse text(std::string text) { return {std::move(text), {}, {}}; }
  static FormattedResponse picture(std::string text, std::string image) {
    return {std::move(text), {}, std::move(image)};
  }

  std::vector<std::string> sent() {
    const std::lock_guard lock(mutex_);
    return sent_;
  }
  void waitForSent(std::size_t count) {
    std::unique_lock lock(mutex_);
    ASSERT_TRUE(changed_.wait_for(lock, std::chrono::duration<double>(kPatience),
                                  [&] { return sent_.size() >= count; }));
  }

  bool isConnected_ = true;
  AppRequests requests_{
      {.isConnected = [this] { return isConnected_; },
       .send = [this](std::string_view type,
                      const boost::json::object& payload) { send(std::string(type), payload); }}};

 private:
  struct Answer {
    AnswerKind kind;
    FormattedResponse answer;
  };

  void send(const std::string& type, const boost::json::object& payload) {
    if (const auto answer = answers_.find(type); answer != answers_.end()) {
      requests_.store(answer->second.kind, answer->second.answer);
    }
    const std::lock_guard lock(mutex_);
    sent_.push_back(type + " " + boost::json::serialize(payload));
    changed_.notify_all();
  }

  std::map<std::string, Answer> answers_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> sent_;
};

TEST_F(Requests, SendTheirCommandsAndReturnTheAnswers) {
  answers("command.findElement", AnswerKind::Find, text("found"));
  answers("command.typeText", AnswerKind::Input, text("typed"));
  answers("command.screenText", AnswerKind::ScreenText, text("lines"));
  answers("command.screenHTML", AnswerKind::ScreenHTML, text("<p>"));
  answers("command.perfSnapshot", AnswerKind::PerfSnapshot, text("fps"));
  answers("command.accessibilityAudit", AnswerKind::AccessibilityAudit, text("audit"));
  answers("command.getWebViewConsole", AnswerKind::WebViewConsole, text("console"));
  answers("command.requestScreenshot", AnswerKind::Screenshot, picture("shot", "aW1n"));
  const LogCapture log;
  EXPECT_EQ(requests_.findElement("Pay \"now\"", false, kPatience), "found");
  EXPECT_EQ(requests_.findElement("Pay", true, kPatience), "found");
  EXPECT_EQ(requests_.typeText("grüße", kPatience), "typed");
  EXPECT_EQ(requests_.screenText(kPatience), "lines");
  EXPECT_EQ(requests_.screenHTML(kPatience), "<p>");
  EXPECT_EQ(requests_.perfSnapshot(kPatience), "fps");
  EXPECT_EQ(requests_.accessibilityAudit(kPatience), "audit");
  EXPECT_EQ(requests_.webViewConsole(std::nullopt, 50, kPatience), "console");
  EXPECT_EQ(requests_.webViewConsole("error", -1, kPatience), "console");
  const auto shot = requests_.screenshot(kPatience);
  EXPECT_EQ(shot.text, "shot");
  EXPECT_EQ(shot.imageBase64, "aW1n");
  EXPECT_EQ(shot.ownImageBase64, "aW1n");
  EXPECT_FALSE(shot.endedByLateAnswer);
  EXPECT_THAT(sent(),
              ElementsAre(R"(command.findElement {"text":"Pay \"now\"","exact":false})",
                          R"(command.findElement {"text":"Pay","exact":true})",
                          R"(command.typeText {"text":"grüße"})", "command.screenText {}",
                          "command.screenHTML {}", "command.perfSnapshot {}", "command.accessibilityAudit {}",
                          R"(command.getWebViewConsole {"limit":50})",
                          R"(command.getWebViewConsole {"limit":-1,"level":"error"})",
                          "command.requestScreenshot {}"));
}

TEST_F(Requests, WithoutAConnectionSayTheSameAndSendNothing) {
  isConnected_ = false;
  EXPECT_EQ(requests_.findElement("Pay", false, kPatience), "Wyvlet not connected");
  EXPECT_EQ(requests_.typeText("x", kPatience), "Wyvlet not connected");
  EXPECT_EQ(requests_.screenText(kPatience), "Wyvlet not connected");
  EXPECT_EQ(requests_.screenHTML(kPatience), "Wyvlet not connected");
  EXPECT_EQ(requests_.perfSnapshot(kPatience), "Wyvlet not connected");
  EXPECT_EQ(requests_.accessibilityAudit(kPatience), "Wyvlet not connected");
  EXPECT_EQ(requests_.webViewConsole(std::nullopt, 50, kPatience), "Wyvlet not connected");
  const auto shot = requests_.screenshot(kPatience);
  EXPECT_EQ(shot.text, "Wyvlet not connected");
  EXPECT_FALSE(shot.imageBase64);
  EXPECT_FALSE(shot.ownImageBase64);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Requests, WithoutAConnectionKeepTheLastAnswer) {
  requests_.store(AnswerKind::Find, text("earlier"));
  isConnected_ = false;
  EXPECT_EQ(requests_.findElement("Pay", false, kShort), "Wyvlet not connected");
  isConnected_ = true;
  // The counted answer is still there, but this question clears its text first.
  EXPECT_EQ(requests_.findElement("Pay", false, kShort), "No results");
}

TEST_F(Requests, TimeOutInTheirOwnWords) {
  EXPECT_EQ(requests_.findElement("Pay", false, kShort), "Find element timed out");
  EXPECT_EQ(requests_.typeText("x", kShort), "Probe type_text timed out");
  EXPECT_EQ(requests_.screenText(kShort), "Screen text timed out");
  EXPECT_EQ(requests_.perfSnapshot(kShort), "Perf snapshot timed out");
  EXPECT_EQ(requests_.accessibilityAudit(kShort), "Accessibility audit timed out");
  EXPECT_EQ(requests_.webViewConsole(std::nullopt, 50, kShort), "WebView console request timed out");
  const auto shot = requests_.screenshot(kShort);
  EXPECT_EQ(shot.text, "Screenshot timed out");
  EXPECT_FALSE(shot.imageBase64);
  EXPECT_FALSE(shot.ownImageBase64);
  EXPECT_FALSE(shot.endedByLateAnswer);
}

TEST_F(Requests, ASignalWithoutATextIsAnEmptyResult) {
  // An answer that came too late for its question: counted, and its text cleared by the next one.
  for (const auto kind : {AnswerKind::Find, AnswerKind::Input, AnswerKind::ScreenText, AnswerKind::ScreenHTML,
                          AnswerKind::PerfSnapshot, AnswerKind::AccessibilityAudit,
                          AnswerKind::WebViewConsole, AnswerKind::Screenshot}) {
    requests_.store(kind, text("late"));
  }
  const LogCapture log;
  EXPECT_EQ(requests_.findElement("Pay", false, kPatience), "No results");
  EXPECT_EQ(requests_.typeText("x", kPatience), "No type result");
  EXPECT_EQ(requests_.screenText(kPatience), "No text");
  EXPECT_EQ(requests_.screenHTML(kPatience), "No data");
  EXPECT_EQ(requests_.perfSnapshot(kPatience), "No perf data");
  EXPECT_EQ(requests_.accessibilityAudit(kPatience), "No audit data");
  EXPECT_EQ(requests_.webViewConsole(std::nullopt, 50, kPatience), "No WebView console data");
  EXPECT_EQ(requests_.screenshot(kPatience).text, "No screenshot");
}

TEST_F(Requests, EveryLateAnswerServesOneLaterQuestion) {
  requests_.store(AnswerKind::ScreenText, text("late"));
  requests_.store(AnswerKind::ScreenText, text("later"));
  EXPECT_EQ(requests_.screenText(kShort), "No text");
  EXPECT_EQ(requests_.screenText(kShort), "No text");
  EXPECT_EQ(requests_.screenText(kShort), "Screen text timed out");
}

TEST_F(Requests, AfterALateAnswerTheNextOneIsLateInItsTurn) {
  requests_.store(AnswerKind::ScreenText, text("to an earlier question"));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(requests_.screenText(kPatience), "No text");
    requests_.store(AnswerKind::ScreenText, text("to this one"));
  }
}

TEST_F(Requests, AnAnswerThatIsLateForOneQuestionAnswersTheNextThatWaits) {
  EXPECT_EQ(requests_.screenText(kShort), "Screen text timed out");
  auto next = std::async(std::launch::async, [&] { return requests_.screenText(kPatience); });
  waitForSent(2);
  requests_.store(AnswerKind::ScreenText, text("to the one before"));
  EXPECT_EQ(next.get(), "to the one before");
}

TEST_F(Requests, AnAnswerOfAnotherKindWakesNobody) {
  requests_.store(AnswerKind::Find, text("found"));
  EXPECT_EQ(requests_.screenText(kShort), "Screen text timed out");
}

TEST_F(Requests, AScreenshotWithoutAPictureReturnsTheOneBefore) {
  answers("command.requestScreenshot", AnswerKind::Screenshot, picture("first", "b25l"));
  EXPECT_EQ(requests_.screenshot(kPatience).imageBase64, "b25l");
  answers("command.requestScreenshot", AnswerKind::Screenshot, text("Screenshot decode failed"));
  const auto shot = requests_.screenshot(kPatience);
  EXPECT_EQ(shot.text, "Screenshot decode failed");
  EXPECT_EQ(shot.imageBase64, "b25l");
  EXPECT_FALSE(shot.ownImageBase64) << "a comparison must not take the old picture for the screen of now";
}

TEST_F(Requests, ALatePictureIsTheNewestButNobodysOwn) {
  requests_.store(AnswerKind::Screenshot, picture("late", "bGF0ZQ=="));
  const auto shot = requests_.screenshot(kPatience);
  EXPECT_EQ(shot.text, "No screenshot");
  EXPECT_EQ(shot.imageBase64, "bGF0ZQ==");
  EXPECT_FALSE(shot.ownImageBase64);
  EXPECT_TRUE(shot.endedByLateAnswer);
}

TEST_F(Requests, ScreenHTMLLogsOneTimingLine) {
  answers("command.screenHTML", AnswerKind::ScreenHTML, text("<p>"));
  LogCapture log;
  EXPECT_EQ(requests_.screenHTML(kPatience), "<p>");
  const auto line = log.waitForPrefix("[wyvlet] screen_html ");
  EXPECT_THAT(line, ::testing::MatchesRegex("\\[wyvlet\\] screen_html completed in [0-9]+ms"));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(Requests, ScreenHTMLFallsBackToScreenText) {
  answers("command.screenText", AnswerKind::ScreenText, text("Screen: Home\nVisible text (0 items):"));
  LogCapture log;
  EXPECT_EQ(requests_.screenHTML(kShort), "Screen: Home\nVisible text (0 items):");
  const auto line = log.waitForPrefix("[wyvlet] screen_html ");
  EXPECT_THAT(line, ::testing::MatchesRegex(
                        "\\[wyvlet\\] screen_html timed out after [0-9]+ms — falling back to screen_text"));
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_THAT(sent(), ElementsAre("command.screenHTML {}", "command.screenText {}"));
}

TEST_F(Requests, ScreenHTMLHoldsItsTurnDuringTheFallback) {
  const LogCapture log;
  auto first = std::async(std::launch::async, [&] { return requests_.screenHTML(kShort); });
  waitForSent(2);  // the first question has fallen back to the screen's text
  answers("command.screenHTML", AnswerKind::ScreenHTML, text("<p>"));
  auto second = std::async(std::launch::async, [&] { return requests_.screenHTML(kPatience); });
  requests_.store(AnswerKind::ScreenText, text("lines"));
  EXPECT_EQ(first.get(), "lines");
  EXPECT_EQ(second.get(), "<p>");
  EXPECT_THAT(sent(), ElementsAre("command.screenHTML {}", "command.screenText {}", "command.screenHTML {}"));
}

TEST_F(Requests, QuestionsForElementsTakeTurns) {
  auto first = std::async(std::launch::async, [&] { return requests_.findElement("a", false, kPatience); });
  waitForSent(1);
  auto second = std::async(std::launch::async, [&] { return requests_.findElement("b", false, kPatience); });
  requests_.store(AnswerKind::Find, text("for a"));
  EXPECT_EQ(first.get(), "for a") << "the second question must not have cleared it";
  waitForSent(2);
  requests_.store(AnswerKind::Find, text("for b"));
  EXPECT_EQ(second.get(), "for b");
}

TEST_F(Requests, DifferentKindsDoNotWaitForEachOther) {
  auto find = std::async(std::launch::async, [&] { return requests_.findElement("a", false, kPatience); });
  waitForSent(1);
  answers("command.screenText", AnswerKind::ScreenText, text("lines"));
  EXPECT_EQ(requests_.screenText(kPatience), "lines");
  requests_.store(AnswerKind::Find, text("found"));
  EXPECT_EQ(find.get(), "found");
}

}  // namespace
}  // namespace wyvlet
