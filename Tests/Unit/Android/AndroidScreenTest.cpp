#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "Android/AndroidScreen.h"
#include "Unit/Android/RecordingRunner.h"
#include "Unit/Android/TemporaryHome.h"

namespace wyvlet {
namespace {

using std::chrono::milliseconds;
using test::RecordingRunner;
using ::testing::ElementsAre;

bool isRead(const std::string& commandLine) { return commandLine.find(" shell cat ") != std::string::npos; }

class AndroidScreenTest : public ::testing::Test {
 protected:
  /// The label of the only node; "" when the dump could not be read.
  std::string shown(const std::optional<std::string>& serial = "emulator-5554") {
    const auto nodes = screen_.read(serial);
    return nodes ? nodes->at(0).label : "";
  }

  static std::string dumpOf(const std::string& label) {
    return "<hierarchy><node text=\"" + label + "\" class=\"a.B\"/></hierarchy>";
  }

  std::size_t dumps() const { return runner_.requests().size() / 2; }

  test::TemporaryHome home_;
  std::function<ProcessOutcome()> readOutcome_ = [] { return RecordingRunner::succeeded(dumpOf("Home")); };
  RecordingRunner runner_{[this](const std::string& line) {
    return isRead(line) ? readOutcome_() : RecordingRunner::succeeded("UI hierchary dumped to: ...");
  }};
  std::chrono::steady_clock::time_point now_{std::chrono::hours(1)};
  AndroidScreen screen_{runner_, [this] { return now_; }};
};

TEST_F(AndroidScreenTest, IsDumpedAndReadBack) {
  EXPECT_EQ(shown(), "Home");
  const auto adb = "'" + home_.path() + "/Library/Android/sdk/platform-tools/adb' ";
  EXPECT_THAT(runner_.commandLines(),
              ElementsAre(adb + "-s emulator-5554 shell uiautomator dump /sdcard/wyvlet_ui.xml 2>&1",
                          adb + "-s emulator-5554 shell cat /sdcard/wyvlet_ui.xml 2>/dev/null"));
}

TEST_F(AndroidScreenTest, OfTheOnlyDeviceNeedsNoSerial) {
  EXPECT_EQ(shown(std::nullopt), "Home");
  const auto adb = "'" + home_.path() + "/Library/Android/sdk/platform-tools/adb' ";
  EXPECT_THAT(runner_.commandLines(), ElementsAre(adb + " shell uiautomator dump /sdcard/wyvlet_ui.xml 2>&1",
                                                  adb + " shell cat /sdcard/wyvlet_ui.xml 2>/dev/null"));
}

TEST_F(AndroidScreenTest, IsKeptForLessThanThreeSeconds) {
  EXPECT_EQ(shown(), "Home");
  readOutcome_ = [] { return RecordingRunner::succeeded(dumpOf("Cart")); };
  now_ += milliseconds(2999);
  EXPECT_EQ(shown(), "Home");
  EXPECT_EQ(dumps(), 1U);
  now_ += milliseconds(1);
  EXPECT_EQ(shown(), "Cart");
  EXPECT_EQ(dumps(), 2U);
}

TEST_F(AndroidScreenTest, IsKeptForWhateverDevice) {
  EXPECT_EQ(shown("one"), "Home");
  EXPECT_EQ(shown("two"), "Home");
  EXPECT_EQ(dumps(), 1U);
}

TEST_F(AndroidScreenTest, IsAskedForAgainAfterAnInput) {
  EXPECT_EQ(shown(), "Home");
  readOutcome_ = [] { return RecordingRunner::succeeded(dumpOf("Cart")); };
  screen_.forget();
  EXPECT_EQ(shown(), "Cart");
  EXPECT_EQ(shown(), "Cart");
  EXPECT_EQ(dumps(), 2U);
}

TEST_F(AndroidScreenTest, ADumpBegunBeforeAnInputIsNotKept) {
  readOutcome_ = [this] {
    screen_.forget();  // the input comes while the dump is being read
    return RecordingRunner::succeeded(dumpOf("before"));
  };
  EXPECT_EQ(shown(), "before");
  readOutcome_ = [] { return RecordingRunner::succeeded(dumpOf("after")); };
  EXPECT_EQ(shown(), "after");
}

TEST_F(AndroidScreenTest, ADumpThatFailsIsNotKept) {
  for (const auto& failure : {RecordingRunner::failed(1), RecordingRunner::failed(127),
                              RecordingRunner::succeeded("\xFF not UTF-8")}) {
    readOutcome_ = [failure] { return failure; };
    EXPECT_EQ(screen_.read("emulator-5554"), nullptr);
  }
  ProcessOutcome notStarted;
  notStarted.startFailure = "No such file or directory";
  readOutcome_ = [notStarted] { return notStarted; };
  EXPECT_EQ(screen_.read("emulator-5554"), nullptr);
  EXPECT_EQ(dumps(), 4U);
  readOutcome_ = [] { return RecordingRunner::succeeded(dumpOf("Home")); };
  EXPECT_EQ(shown(), "Home");
}

TEST_F(AndroidScreenTest, AReadThatSucceedsWithoutADumpIsAnEmptyScreen) {
  for (const auto& outcome : {RecordingRunner::succeeded(""), RecordingRunner::succeeded("no dump"),
                              RecordingRunner::failed(1, "cat: no such file")}) {
    readOutcome_ = [outcome] { return outcome; };
    const auto nodes = screen_.read("emulator-5554");
    ASSERT_NE(nodes, nullptr);
    EXPECT_TRUE(nodes->empty());
    screen_.forget();
  }
}

TEST_F(AndroidScreenTest, CallersTakeTurnsAndShareADump) {
  std::promise<void> begun;
  std::promise<void> goOn;
  readOutcome_ = [&, first = true]() mutable {
    if (first) {
      begun.set_value();
      goOn.get_future().wait();
    }
    first = false;
    return RecordingRunner::succeeded(dumpOf("Home"));
  };
  auto one = std::async(std::launch::async, [&] { return shown(); });
  begun.get_future().wait();
  auto two = std::async(std::launch::async, [&] { return shown(); });
  goOn.set_value();
  EXPECT_EQ(one.get(), "Home");
  EXPECT_EQ(two.get(), "Home");
  EXPECT_EQ(dumps(), 1U);
}

TEST_F(AndroidScreenTest, AnInputDoesNotWaitForADump) {
  std::promise<void> begun;
  std::promise<void> goOn;
  readOutcome_ = [&] {
    begun.set_value();
    goOn.get_future().wait();
    return RecordingRunner::succeeded(dumpOf("Home"));
  };
  auto reader = std::async(std::launch::async, [&] { return shown(); });
  begun.get_future().wait();
  screen_.forget();
  goOn.set_value();
  EXPECT_EQ(reader.get(), "Home");
}

}  // namespace
}  // namespace wyvlet
