#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "Client/AppLink.h"
#include "Client/ClientQueue.h"
#include "Unit/Client/LogCapture.h"
#include "Unit/Client/RawPeer.h"
#include "WyvletShared/FrameReader.h"

namespace wyvlet {
namespace {

using test::kPatience;
using test::LogCapture;
using test::RawPeer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// Records what a link tells.
class Recorder final : public AppLink::Observer {
 public:
  void linkIsReady(const AppLink&) override {
    note([&] { ++readies_; });
  }
  void linkIsDown(const AppLink&) override {
    note([&] { ++downs_; });
  }
  void frameArrived(const AppLink&, std::string_view body) override {
    note([&] { frames_.emplace_back(body); });
    if (whenFrameArrives) whenFrameArrives();
  }

  bool waitForReady() {
    return wait([&] { return readies_ > 0; });
  }
  bool waitForDown() {
    return wait([&] { return downs_ > 0; });
  }
  bool waitForFrames(std::size_t count) {
    return wait([&] { return frames_.size() >= count; });
  }
  std::vector<std::string> frames() {
    const std::lock_guard lock(mutex_);
    return frames_;
  }
  int downs() {
    const std::lock_guard lock(mutex_);
    return downs_;
  }

  /// Set before the link connects.
  std::function<void()> whenFrameArrives;

 private:
  template <class Change>
  void note(Change change) {
    const std::lock_guard lock(mutex_);
    change();
    changed_.notify_all();
  }
  template <class Check>
  bool wait(Check check) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(kPatience), check);
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  int readies_ = 0;
  int downs_ = 0;
  std::vector<std::string> frames_;
};

class Link : public ::testing::Test {
 protected:
  ~Link() override {
    if (link_) link_->cancel();
  }

  void connect(std::vector<AppAddress> addresses) {
    link_ = AppLink::connect(queue_, recorder_, std::move(addresses));
  }
  void connectToPeer() {
    connect({{"127.0.0.1", peer_.port()}});
    ASSERT_TRUE(peer_.accept());
    ASSERT_TRUE(recorder_.waitForReady());
    ASSERT_TRUE(log_.waitFor("[wyvlet] Connected!"));
  }
  static std::uint16_t refusingPort() {
    RawPeer peer;
    return peer.port();
  }
  static std::string header(std::uint32_t length) {
    return {static_cast<char>(length >> 24), static_cast<char>(length >> 16), static_cast<char>(length >> 8),
            static_cast<char>(length)};
  }

  LogCapture log_;
  RawPeer peer_;
  Recorder recorder_;
  ClientQueue queue_;
  std::shared_ptr<AppLink> link_;
};

TEST_F(Link, ConnectsAndSaysSo) {
  connectToPeer();
  EXPECT_EQ(link_->state(), AppLink::State::Ready);
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(Link, ReadsFramesThatShareASegment) {
  connectToPeer();
  peer_.send(encodeFrame("one") + encodeFrame("two") + encodeFrame("three"));
  ASSERT_TRUE(recorder_.waitForFrames(3));
  EXPECT_THAT(recorder_.frames(), ElementsAre("one", "two", "three"));
}

TEST_F(Link, ReadsAFrameThatArrivesByteByByte) {
  connectToPeer();
  for (const char byte : encodeFrame("split") + encodeFrame("again")) {
    peer_.send({&byte, 1});
    std::this_thread::yield();
  }
  ASSERT_TRUE(recorder_.waitForFrames(2));
  EXPECT_THAT(recorder_.frames(), ElementsAre("split", "again"));
}

TEST_F(Link, ReadsALargeFrame) {
  connectToPeer();
  const std::string body(20'000'000, 'x');
  peer_.send(encodeFrame(body) + encodeFrame("after"));
  ASSERT_TRUE(recorder_.waitForFrames(2));
  EXPECT_EQ(recorder_.frames()[0], body);
  EXPECT_EQ(recorder_.frames()[1], "after");
}

TEST_F(Link, SkipsTheFourBytesOfABadLength) {
  connectToPeer();
  peer_.send(header(0) + header(50'000'001) + header(0xFFFFFFFF) + encodeFrame("good"));
  ASSERT_TRUE(recorder_.waitForFrames(1));
  EXPECT_THAT(recorder_.frames(), ElementsAre("good"));
  ASSERT_TRUE(log_.waitFor("[wyvlet] Bad length: 4294967295, skipping"));
  EXPECT_THAT(log_.lines(), ElementsAre("[wyvlet] Connected!", "[wyvlet] Bad length: 0, skipping",
                                        "[wyvlet] Bad length: 50000001, skipping",
                                        "[wyvlet] Bad length: 4294967295, skipping"));
  EXPECT_EQ(link_->state(), AppLink::State::Ready);
}

TEST_F(Link, AcceptsTheLargestLength) {
  connectToPeer();
  peer_.send(header(50'000'000) + "the beginning of a body");
  peer_.close();
  EXPECT_TRUE(log_.waitFor("[wyvlet] Body error: End of file"));
  EXPECT_EQ(log_.lines().size(), 2U);
}

TEST_F(Link, AHundredBadLengthsAreLoggedOneByOne) {
  connectToPeer();
  std::string junk;
  for (int i = 0; i < 100; ++i) junk += header(0);
  peer_.send(junk + encodeFrame("good"));
  peer_.close();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Connection closed"));
  EXPECT_EQ(log_.count("[wyvlet] Bad length: 0, skipping"), 100U);
  EXPECT_EQ(log_.lines().size(), 102U);
}

TEST_F(Link, TheRestOfALongRunIsOneLine) {
  connectToPeer();
  std::string junk;
  for (int i = 0; i < 101; ++i) junk += header(0);
  peer_.send(junk + encodeFrame("good") + junk + header(0) + encodeFrame("again") + junk);
  peer_.close();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Connection closed"));
  EXPECT_THAT(recorder_.frames(), ElementsAre("good", "again"));
  EXPECT_EQ(log_.count("[wyvlet] Bad length: 0, skipping"), 300U);
  const auto lines = log_.lines();
  EXPECT_EQ(lines[101], "[wyvlet] Bad length: 1 more in a row, skipped");
  EXPECT_EQ(lines[202], "[wyvlet] Bad length: 2 more in a row, skipped");
  EXPECT_EQ(lines[303], "[wyvlet] Bad length: 1 more in a row, skipped") << "the end of the link ends it too";
}

TEST_F(Link, FindsItsWayThroughMegabytesOfJunk) {
  connectToPeer();
  const std::string junk(1'000'000, '\xEE');
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(peer_.send(junk));
  peer_.send(encodeFrame("good"));
  ASSERT_TRUE(recorder_.waitForFrames(1));
  EXPECT_THAT(recorder_.frames(), ElementsAre("good"));
  ASSERT_TRUE(log_.waitFor("[wyvlet] Bad length: 12499900 more in a row, skipped"));
  EXPECT_EQ(log_.lines().size(), 102U);
}

TEST_F(Link, EndsWhenThePeerClosesBetweenFrames) {
  connectToPeer();
  peer_.send(encodeFrame("last"));
  peer_.close();
  ASSERT_TRUE(recorder_.waitForDown());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Connection closed"));
  EXPECT_THAT(recorder_.frames(), ElementsAre("last"));
  EXPECT_EQ(link_->state(), AppLink::State::Cancelled);
}

TEST_F(Link, EndsWhenThePeerClosesInsideAHeader) {
  connectToPeer();
  peer_.send(header(5).substr(0, 3));
  peer_.close();
  ASSERT_TRUE(recorder_.waitForDown());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Connection closed"));
  EXPECT_EQ(log_.lines().size(), 2U);
}

TEST_F(Link, ABreakInsideABodyFailsWithoutGoingDown) {
  connectToPeer();
  peer_.send(header(5) + "four");
  peer_.close();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Body error: End of file"));
  EXPECT_EQ(link_->state(), AppLink::State::Failed);
  EXPECT_EQ(recorder_.downs(), 0);
  EXPECT_THAT(recorder_.frames(), IsEmpty());
}

TEST_F(Link, AResetBetweenFramesIsAHeaderError) {
  connectToPeer();
  peer_.send(encodeFrame("last"));
  ASSERT_TRUE(recorder_.waitForFrames(1));
  peer_.reset();
  ASSERT_TRUE(recorder_.waitForDown());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Header error: Connection reset by peer"));
  EXPECT_EQ(link_->state(), AppLink::State::Failed);
}

TEST_F(Link, AResetInsideABodyIsABodyError) {
  connectToPeer();
  peer_.send(encodeFrame("last") + header(5) + "four");
  ASSERT_TRUE(recorder_.waitForFrames(1));
  peer_.reset();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Body error: Connection reset by peer"));
  EXPECT_EQ(link_->state(), AppLink::State::Failed);
  EXPECT_EQ(recorder_.downs(), 0);
}

TEST_F(Link, ARefusalIsOneLineAndNoRetry) {
  connect({{"127.0.0.1", refusingPort()}});
  ASSERT_TRUE(recorder_.waitForDown());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Connection failed: Connection refused"));
  EXPECT_EQ(link_->state(), AppLink::State::Failed);
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(Link, TriesEveryAddress) {
  const auto refusing = refusingPort();
  connect({{"127.0.0.1", refusing},
           {"not an address", 1},
           {"::1", refusing},
           {"fe80::1%1", refusing},
           {"127.0.0.1", peer_.port()}});
  ASSERT_TRUE(peer_.accept());
  ASSERT_TRUE(recorder_.waitForReady());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Connected!"));
  EXPECT_EQ(log_.lines().size(), 1U) << "an address that leads nowhere is no news while others are left";
}

TEST_F(Link, FailsOnceWhenNoAddressAnswers) {
  const auto refusing = refusingPort();
  connect({{"127.0.0.1", refusing}, {"127.0.0.1", refusing}, {"127.0.0.1", refusing}});
  ASSERT_TRUE(recorder_.waitForDown());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Connection failed: Connection refused"));
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(Link, WithoutAnAddressFails) {
  connect({});
  ASSERT_TRUE(recorder_.waitForDown());
  EXPECT_THAT(log_.waitForPrefix("[wyvlet] Connection failed: "),
              StartsWith("[wyvlet] Connection failed: H"));
}

TEST_F(Link, ConnectsByName) {
  connect({{"localhost", peer_.port()}});
  ASSERT_TRUE(peer_.accept());
  EXPECT_TRUE(recorder_.waitForReady());
}

TEST_F(Link, ConnectsByIPv6) {
  RawPeer peer(RawPeer::Family::IPv6);
  connect({{"::1", peer.port()}});
  ASSERT_TRUE(peer.accept());
  EXPECT_TRUE(recorder_.waitForReady());
}

TEST_F(Link, AnAddressThatSwallowsPacketsDoesNotHoldUpTheNext) {
  // With the queue of connections full the kernel drops what else knocks.
  RawPeer silent(RawPeer::Family::IPv4, 0);
  Recorder filler;
  const auto filling = AppLink::connect(queue_, filler, {{"127.0.0.1", silent.port()}});
  ASSERT_TRUE(filler.waitForReady());
  connect({{"127.0.0.1", silent.port()}, {"127.0.0.1", peer_.port()}});
  ASSERT_TRUE(peer_.accept());
  EXPECT_TRUE(recorder_.waitForReady());
  filling->cancel();
}

TEST_F(Link, SendsFramesInOrderEvenBeforeItIsReady) {
  connect({{"127.0.0.1", peer_.port()}});
  link_->send(encodeFrame("one"));
  link_->send(encodeFrame("two"));
  ASSERT_TRUE(peer_.accept());
  const auto expected = encodeFrame("one") + encodeFrame("two");
  EXPECT_EQ(peer_.receive(expected.size()), expected);
}

TEST_F(Link, FramesOfSeveralThreadsNeverMix) {
  constexpr int kThreads = 8;
  constexpr int kFrames = 100;
  connectToPeer();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kFrames; ++i) {
        const auto size = static_cast<std::size_t>(1 + (i * 977 + t * 131) % 60'000);
        link_->send(encodeFrame(std::string(size, static_cast<char>('a' + t)) + std::to_string(i)));
      }
    });
  }
  std::vector<int> next(kThreads, 0);
  for (int received = 0; received < kThreads * kFrames; ++received) {
    const auto head = peer_.receive(4);
    ASSERT_EQ(head.size(), 4U);
    std::uint32_t length = 0;
    for (const char byte : head) length = length << 8 | static_cast<unsigned char>(byte);
    const auto body = peer_.receive(length);
    ASSERT_EQ(body.size(), length);
    const auto thread = static_cast<std::size_t>(body[0] - 'a');
    ASSERT_LT(thread, next.size());
    const auto digits = body.find_first_not_of(body[0]);
    ASSERT_EQ(body.substr(digits), std::to_string(next[thread]++));
  }
  for (auto& thread : threads) thread.join();
}

TEST_F(Link, WhatAFailedLinkIsGivenIsReportedAsLost) {
  connectToPeer();
  peer_.send(header(5) + "four");
  peer_.close();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Body error: End of file"));
  link_->send(encodeFrame("lost"));
  link_->send(encodeFrame("lost"));
  EXPECT_TRUE(log_.waitFor("[wyvlet] Send error: " + std::string(std::strerror(ENOTCONN)), 2));
}

TEST_F(Link, WhatWaitsForAConnectionThatFailsIsReportedAsLost) {
  connect({{"127.0.0.1", refusingPort()}});
  link_->send(encodeFrame("lost"));
  EXPECT_FALSE(log_.waitForPrefix("[wyvlet] Send error: ").empty());
}

TEST_F(Link, WhatAClosedLinkIsGivenIsDropped) {
  connectToPeer();
  peer_.close();
  ASSERT_TRUE(recorder_.waitForDown());
  link_->send(encodeFrame("dropped"));
  std::atomic<bool> isDone = false;
  queue_.post([&] {
    isDone = true;
    isDone.notify_all();
  });
  isDone.wait(false);
  EXPECT_EQ(log_.countPrefix("[wyvlet] Send error: "), 0U);
}

TEST_F(Link, APeerThatReadsNothingCostsABoundedQueue) {
  connectToPeer();
  const auto frame = encodeFrame(std::string(1'000'000, 'x'));
  for (int i = 0; i < 100; ++i) link_->send(frame);
  EXPECT_TRUE(log_.waitFor("[wyvlet] Send error: No buffer space available"));
  EXPECT_EQ(link_->state(), AppLink::State::Ready);
}

TEST_F(Link, AFrameLongerThanTheQueueGoesOutWhenNothingWaits) {
  connectToPeer();
  const auto frame = encodeFrame(std::string(70'000'000, 'x'));
  link_->send(frame);
  EXPECT_TRUE(peer_.receive(frame.size()) == frame);
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(Link, CancellingClosesTheConnectionWithoutAWord) {
  connectToPeer();
  link_->cancel();
  EXPECT_EQ(link_->state(), AppLink::State::Cancelled);
  EXPECT_TRUE(peer_.waitForEnd());
  EXPECT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(recorder_.downs(), 0);
}

TEST_F(Link, ACancelledLinkDeliversNothingMore) {
  recorder_.whenFrameArrives = [this] { link_->cancel(); };
  connectToPeer();
  peer_.send(encodeFrame("one") + encodeFrame("two") + encodeFrame("three"));
  EXPECT_TRUE(peer_.waitForEnd());
  EXPECT_THAT(recorder_.frames(), ElementsAre("one"));
}

TEST_F(Link, CancellingDuringTheAttemptIsQuiet) {
  RawPeer silent(RawPeer::Family::IPv4, 0);
  Recorder filler;
  const auto filling = AppLink::connect(queue_, filler, {{"127.0.0.1", silent.port()}});
  ASSERT_TRUE(filler.waitForReady());
  connect({{"127.0.0.1", silent.port()}});
  link_->cancel();
  filling->cancel();
  std::atomic<bool> isDone = false;
  queue_.post([&] {
    isDone = true;
    isDone.notify_all();
  });
  isDone.wait(false);
  EXPECT_EQ(recorder_.downs(), 0);
  EXPECT_EQ(log_.countPrefix("[wyvlet] Connection failed"), 0U);
}

TEST_F(Link, StatesHaveNames) {
  EXPECT_EQ(stateText(AppLink::State::Setup), "setup");
  EXPECT_EQ(stateText(AppLink::State::Preparing), "preparing");
  EXPECT_EQ(stateText(AppLink::State::Ready), "ready");
  EXPECT_EQ(stateText(AppLink::State::Failed), "failed");
  EXPECT_EQ(stateText(AppLink::State::Cancelled), "cancelled");
}

}  // namespace
}  // namespace wyvlet
