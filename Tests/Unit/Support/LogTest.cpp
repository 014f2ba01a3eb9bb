#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "Support/Log.h"

namespace wyvlet {
namespace {

/// Puts a pipe or a socket in the place of standard error for the length of a test.
class Log : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = ::dup(STDERR_FILENO);
    ASSERT_EQ(0, ::pipe(ends_));
    ::dup2(ends_[1], STDERR_FILENO);
  }
  void TearDown() override {
    ::dup2(saved_, STDERR_FILENO);
    for (const int fd : {saved_, ends_[0], ends_[1]}) ::close(fd);
  }
  void useSocket() {
    ::close(ends_[0]);
    ::close(ends_[1]);
    ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_));
    ::dup2(ends_[1], STDERR_FILENO);
  }
  /// What has been written and not yet read.
  std::string taken() {
    ::fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    std::string text;
    char chunk[65536];
    for (ssize_t count = 0; (count = ::read(ends_[0], chunk, sizeof chunk)) > 0;) {
      text.append(chunk, static_cast<std::size_t>(count));
    }
    return text;
  }

  int saved_ = -1;
  int ends_[2] = {-1, -1};
};

TEST_F(Log, WritesTagTextAndLineFeed) {
  logLine(kClientTag, "Connected!");
  logLine(kHTTPTag, "Failed to bind port 8686");
  EXPECT_EQ("[wyvlet] Connected!\n[http] Failed to bind port 8686\n", taken());
}

TEST_F(Log, ALineStaysOneLine) {
  logLine(kDevicesTag, "a\nb\r\tc\x7F");
  EXPECT_EQ("[sim-bridge] a b  c \n", taken());
}

TEST_F(Log, LongLinesAreCutBetweenCharacters) {
  std::string text(4086, 'x');
  logLine(kClientTag, text + "€");
  EXPECT_EQ("[wyvlet] " + text + "\n", taken());
  logLine(kClientTag, std::string(100000, 'y'));
  EXPECT_EQ(4096u, taken().size());
}

TEST_F(Log, DropsAndCountsWhenNobodyReads) {
  const std::string text(1000, 'x');
  constexpr int kLines = 10000;
  for (int i = 0; i < kLines; ++i) logLine(kClientTag, text);  // far more than a pipe holds
  const auto kept = taken();
  const auto lines = static_cast<int>(kept.size() / (text.size() + 10));
  ASSERT_LT(lines, kLines);
  logLine(kClientTag, "again");
  EXPECT_EQ("[wyvlet] " + std::to_string(kLines - lines) +
                " log lines were dropped: nobody read standard error\n[wyvlet] again\n",
            taken());
}

TEST_F(Log, ASocketIsNotWaitedForEither) {
  useSocket();
  const std::string text(4000, 'x');
  for (int i = 0; i < 5000; ++i) logLine(kClientTag, text);
  std::string kept = taken();
  EXPECT_NE(std::string::npos, kept.find(text));
  logLine(kClientTag, "again");
  kept += taken();
  EXPECT_TRUE(kept.ends_with("\n[wyvlet] again\n")) << kept.substr(kept.size() - 200);
  EXPECT_NE(std::string::npos, kept.find(" log lines were dropped"));
}

TEST_F(Log, LinesOfSeveralThreadsNeverMix) {
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([letter] {
      for (int i = 0; i < 20; ++i) logLine(kClientTag, std::string(200, letter));
    });
  }
  for (auto& thread : threads) thread.join();
  const auto text = taken();
  std::size_t lines = 0;
  for (std::size_t begin = 0; begin < text.size(); ++lines) {
    const auto end = text.find('\n', begin);
    ASSERT_NE(std::string::npos, end);
    const auto line = text.substr(begin, end - begin);
    ASSERT_EQ("[wyvlet] " + std::string(200, line.back()), line);
    begin = end + 1;
  }
  EXPECT_EQ(80u, lines);
}

}  // namespace
}  // namespace wyvlet
