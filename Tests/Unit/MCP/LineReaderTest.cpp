#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "MCP/LineReader.h"

namespace wyvlet {
namespace {

class LineReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, ::pipe(ends_)); }
  void TearDown() override {
    if (writer_.joinable()) writer_.join();
    ::close(ends_[0]);
  }
  /// Writes in the background, since a pipe holds less than the longest lines, and ends the input.
  void input(std::string text) {
    writer_ = std::thread([this, text = std::move(text)] {
      writeAll(ends_[1], text);
      ::close(ends_[1]);
    });
  }
  int ends_[2];
  std::thread writer_;
};

TEST_F(LineReaderTest, SplitsAtLineFeeds) {
  input("one\n\ntwo\r\nlast");
  LineReader lines(ends_[0]);
  EXPECT_EQ("one", lines.next());
  EXPECT_EQ("", lines.next());
  EXPECT_EQ("two\r", lines.next());
  EXPECT_EQ("last", lines.next());
  EXPECT_EQ(std::nullopt, lines.next());
}

TEST_F(LineReaderTest, LongLinesArriveWhole) {
  const std::string line(3000000, 'x');
  input(line + "\nnext\n");
  LineReader lines(ends_[0]);
  EXPECT_EQ(line, lines.next());
  EXPECT_EQ("next", lines.next());
  EXPECT_EQ(std::nullopt, lines.next());
}

TEST_F(LineReaderTest, LinesBeyondTheLimitAreLeftOut) {
  const std::string fits(1000, 'a');
  input(std::string(1001, 'b') + "\n" + fits + "\n" + std::string(500000, 'c') + "\nend\n" +
        std::string(200000, 'd'));
  LineReader lines(ends_[0], 1000);
  EXPECT_EQ(fits, lines.next());
  EXPECT_EQ("end", lines.next());
  EXPECT_EQ(std::nullopt, lines.next());
}

TEST_F(LineReaderTest, ANonBlockingInputIsWaitedFor) {
  ASSERT_EQ(0, ::fcntl(ends_[0], F_SETFL, O_NONBLOCK));
  LineReader lines(ends_[0]);
  input("late\n");
  EXPECT_EQ("late", lines.next());
  EXPECT_EQ(std::nullopt, lines.next());
}

TEST(LineReader, AClosedDescriptorIsTheEnd) {
  LineReader lines(-1);
  EXPECT_EQ(std::nullopt, lines.next());
}

}  // namespace
}  // namespace wyvlet
