#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "WyvletShared/FrameReader.h"

namespace wyvlet {
namespace {

using Kind = FrameReader::Kind;

std::string header(std::uint32_t length) {
  const FrameHeader bytes = frameHeader(length);
  return std::string(bytes.data(), bytes.size());
}

/// What came out of a reader, in words: "frame:abc", "bad:0".
class Stream {
 public:
  explicit Stream(std::uint32_t limit = kMaxFrameBytes) : reader_(limit) {}

  Stream& receives(std::string_view bytes) {
    while (!bytes.empty()) {
      const std::span<char> space = reader_.writableSpace();
      EXPECT_FALSE(space.empty());
      const std::size_t count = std::min(space.size(), bytes.size());
      std::memcpy(space.data(), bytes.data(), count);
      reader_.wrote(count);
      bytes.remove_prefix(count);
      drain();
    }
    return *this;
  }

  std::vector<std::string> takeStory() { return std::exchange(story_, {}); }
  FrameReader& reader() { return reader_; }

 private:
  void drain() {
    for (auto item = reader_.next(); item.kind != Kind::NeedMore; item = reader_.next()) {
      story_.push_back(item.kind == Kind::Frame ? "frame:" + std::string(item.body)
                                                : "bad:" + std::to_string(item.length));
    }
  }

  FrameReader reader_;
  std::vector<std::string> story_;
};

using Story = std::vector<std::string>;

TEST(FrameWriter, HeaderIsTheBigEndianLength) {
  EXPECT_EQ(encodeFrame("abc"), std::string("\0\0\0\3abc", 7));
  EXPECT_EQ(encodeFrame(""), std::string("\0\0\0\0", 4));
  EXPECT_EQ(encodeFrame(std::string(0x010203, 'x')).substr(0, 4), std::string("\0\1\2\3", 4));
  EXPECT_EQ(header(0xFFFFFFFF), "\xff\xff\xff\xff");
}

TEST(FrameWriterDeathTest, LengthBeyondTheHeaderEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(frameHeader(0x100000000), "4294967296 bytes");
}

TEST(FrameReader, FrameCutAtEveryPlaceIsJoined) {
  const std::string bytes =
      encodeFrame("first") + encodeFrame("x") + header(0) + encodeFrame(std::string(300, 'y'));
  const Story expected = {"frame:first", "frame:x", "bad:0", "frame:" + std::string(300, 'y')};
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    Stream stream;
    stream.receives(std::string_view(bytes).substr(0, cut)).receives(std::string_view(bytes).substr(cut));
    EXPECT_EQ(stream.takeStory(), expected) << cut;
    EXPECT_FALSE(stream.reader().insideBody());
  }
}

TEST(FrameReader, OneByteAtATime) {
  Stream stream;
  for (const char byte : encodeFrame("hello") + encodeFrame("world"))
    stream.receives(std::string_view(&byte, 1));
  EXPECT_EQ(stream.takeStory(), (Story{"frame:hello", "frame:world"}));
}

TEST(FrameReader, TwoFramesAtOnce) {
  Stream stream;
  EXPECT_EQ(stream.receives(encodeFrame("a") + encodeFrame("bb")).takeStory(),
            (Story{"frame:a", "frame:bb"}));
}

TEST(FrameReader, BodiesKeepEveryByte) {
  std::string body;
  for (int byte = 0; byte < 256; ++byte) body += static_cast<char>(byte);
  EXPECT_EQ(Stream().receives(encodeFrame(body)).takeStory(), Story{"frame:" + body});
}

TEST(FrameReader, RandomCutsGiveTheUncutReading) {
  std::mt19937 random(5);
  for (int round = 0; round < 50; ++round) {
    std::string bytes;
    for (int i = 0; i < 60; ++i) {
      const std::size_t length = random() % 8 == 0 ? random() % 300'000 : random() % 500;
      bytes += length == 0 ? header(random() % 2 == 0 ? 0 : kMaxFrameBytes + 1 + random() % 1000)
                           : encodeFrame(std::string(length, static_cast<char>('a' + i % 26)));
    }
    Stream uncut, cut;
    uncut.receives(bytes);
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t count = random() % 3 == 0 ? 1 + random() % 5 : 1 + random() % 100'000;
      cut.receives(std::string_view(bytes).substr(at, count));
      at += count;
    }
    ASSERT_EQ(cut.takeStory(), uncut.takeStory());
  }
}

TEST(FrameReader, FramesNobodyTookYetStayInOrder) {
  // More frames than the reader keeps room for, all written before the first is taken.
  FrameReader reader;
  std::string bytes;
  for (int i = 0; i < 50'000; ++i) bytes += encodeFrame(std::to_string(i));
  for (std::string_view left = bytes; !left.empty();) {
    const std::span<char> space = reader.writableSpace();
    ASSERT_FALSE(space.empty());
    const std::size_t count = std::min(space.size(), left.size());
    std::memcpy(space.data(), left.data(), count);
    reader.wrote(count);
    left.remove_prefix(count);
  }
  for (int i = 0; i < 50'000; ++i) ASSERT_EQ(reader.next().body, std::to_string(i));
  EXPECT_EQ(reader.next().kind, Kind::NeedMore);
}

TEST(FrameReader, LengthsAtTheLimits) {
  Stream stream;
  stream.receives(header(0));
  EXPECT_EQ(stream.takeStory(), Story{"bad:0"});
  EXPECT_FALSE(stream.reader().insideBody());
  stream.receives(header(50'000'001));
  EXPECT_EQ(stream.takeStory(), Story{"bad:50000001"});
  EXPECT_FALSE(stream.reader().insideBody());
  stream.receives(header(0xFFFFFFFF));
  EXPECT_EQ(stream.takeStory(), Story{"bad:4294967295"});
  stream.receives(encodeFrame("x"));
  EXPECT_EQ(stream.takeStory(), Story{"frame:x"});
  stream.receives(header(50'000'000));
  EXPECT_EQ(stream.takeStory(), Story{});
  EXPECT_TRUE(stream.reader().insideBody());
  stream.receives(std::string(49'999'999, 'z'));
  EXPECT_EQ(stream.takeStory(), Story{});
  stream.receives("!");
  const Story story = stream.takeStory();
  ASSERT_EQ(story.size(), 1u);
  EXPECT_EQ(story[0].size(), 6u + 50'000'000u);
  EXPECT_EQ(story[0].back(), '!');
}

TEST(FrameReader, OwnLimitIsHeld) {
  Stream stream(3);
  EXPECT_EQ(stream.receives(encodeFrame("abc") + header(4)).takeStory(), (Story{"frame:abc", "bad:4"}));
}

TEST(FrameReader, AfterABadLengthTheNextFourBytesAreAHeader) {
  EXPECT_EQ(Stream().receives(header(60'000'000) + encodeFrame("next")).takeStory(),
            (Story{"bad:60000000", "frame:next"}));
  // "GET " is a length of 1.2 billion, and "/ HT" of 790 million.
  EXPECT_EQ(Stream().receives("GET / HT" + encodeFrame("next")).takeStory(),
            (Story{"bad:1195725856", "bad:790644820", "frame:next"}));
}

TEST(FrameReader, InsideBodyFromTheHeaderToTheLastByte) {
  Stream stream;
  EXPECT_FALSE(stream.reader().insideBody());
  const std::string frame = encodeFrame("abc");
  for (std::size_t i = 0; i < frame.size(); ++i) {
    stream.receives(std::string_view(frame).substr(i, 1));
    EXPECT_EQ(stream.reader().insideBody(), i >= 3 && i + 1 < frame.size()) << i;
  }
}

TEST(FrameReader, LyingHeaderReservesLittle) {
  Stream stream;
  stream.receives(header(50'000'000));
  EXPECT_LE(stream.reader().writableSpace().size(), 1'000'000u);
  stream.receives(std::string(1000, 'x'));
  EXPECT_LE(stream.reader().writableSpace().size(), 1'000'000u);
  // Room grows with what has arrived, and never beyond the body.
  for (std::size_t arrived = 1000; arrived < 49'000'000;) {
    const std::size_t space = stream.reader().writableSpace().size();
    EXPECT_LE(space, std::max<std::size_t>(1'000'000, 2 * arrived));
    EXPECT_LE(arrived + space, 50'000'000u);
    stream.receives(std::string(space, 'x'));
    arrived += space;
  }
}

TEST(FrameReader, ShrinksAfterALargeFrame) {
  Stream stream;
  const std::size_t idle = stream.reader().writableSpace().size();
  stream.receives(encodeFrame(std::string(10'000'000, 'x')));
  EXPECT_EQ(stream.takeStory().size(), 1u);
  EXPECT_EQ(stream.reader().writableSpace().size(), idle);
  EXPECT_EQ(stream.receives(encodeFrame("after")).takeStory(), Story{"frame:after"});
}

TEST(FrameReader, BodyStaysValidUntilTheNextSpaceIsAsked) {
  FrameReader reader;
  const std::string bytes = encodeFrame("one") + encodeFrame("two");
  std::memcpy(reader.writableSpace().data(), bytes.data(), bytes.size());
  reader.wrote(bytes.size());
  const std::string_view one = reader.next().body;
  const std::string_view two = reader.next().body;
  EXPECT_EQ(reader.next().kind, Kind::NeedMore);
  EXPECT_EQ(one, "one");
  EXPECT_EQ(two, "two");
}

TEST(FrameReader, FiftyMegabytesOfJunkAreSkippedAndTheNextFrameRead) {
  // Every four bytes of junk are a bad length; the work has to stay linear for the test to end in time.
  const std::string junk(50'000'000, '\xff');
  Stream stream;
  FrameReader& reader = stream.reader();
  std::size_t bad = 0;
  std::string body;
  const std::string bytes = junk + encodeFrame("next");
  for (std::string_view left = bytes; !left.empty();) {
    const std::span<char> space = reader.writableSpace();
    const std::size_t count = std::min(space.size(), left.size());
    std::memcpy(space.data(), left.data(), count);
    reader.wrote(count);
    left.remove_prefix(count);
    for (auto item = reader.next(); item.kind != Kind::NeedMore; item = reader.next()) {
      if (item.kind == Kind::BadLength) ++bad;
      if (item.kind == Kind::Frame) body = item.body;
    }
  }
  EXPECT_EQ(bad, 12'500'000u);
  EXPECT_EQ(body, "next");
}

}  // namespace
}  // namespace wyvlet
