#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "HTTP/HTTPConnection.h"

namespace wyvlet {
namespace {

using namespace std::chrono_literals;
using Stage = HTTPConnection::Stage;

/// A connection whose client is the other end of a socket pair and whose clock is an argument.
class HTTPConnectionTest : public ::testing::Test {
 protected:
  HTTPConnectionTest() {
    int ends[2];
    EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    for (const int end : ends) ::fcntl(end, F_SETFL, O_NONBLOCK);
    client_ = Descriptor(ends[1]);
    connection.emplace(Descriptor(ends[0]), patience, start);
  }

  void clientSends(std::string_view bytes) {
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
              ::send(client_.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }
  void clientSends(std::string_view bytes, HTTPConnection::Time now) {
    clientSends(bytes);
    connection->proceed(now, buffer_);
  }
  /// What has come; "<end>" follows when the server has ended its side.
  std::string clientReceives() {
    std::string all;
    char chunk[4096];
    for (;;) {
      const ssize_t count = ::recv(client_.fd(), chunk, sizeof chunk, 0);
      if (count < 0) return all;
      if (count == 0) return all + "<end>";
      all.append(chunk, static_cast<std::size_t>(count));
    }
  }
  void clientEndsSending() { ::shutdown(client_.fd(), SHUT_WR); }
  void clientCloses() { client_.close(); }
  void proceedAt(HTTPConnection::Time now) { connection->proceed(now, buffer_); }
  HTTPConnection::Time due() const { return connection->deadline(false); }

  const HTTPPatience patience;
  const HTTPConnection::Time start{1000s};
  std::optional<HTTPConnection> connection;

 private:
  Descriptor client_;
  std::vector<char> buffer_ = std::vector<char>(65536);
};

TEST_F(HTTPConnectionTest, SilentClientIsGivenUpAfterThreeSeconds) {
  EXPECT_EQ(Stage::Reading, connection->stage());
  EXPECT_EQ(POLLIN, connection->awaitedEvents());
  EXPECT_EQ(start + 3s, due());
  connection->expire();
  EXPECT_EQ(Stage::Closed, connection->stage());
  EXPECT_EQ("", clientReceives());
}

TEST_F(HTTPConnectionTest, SilentClientIsGivenUpSoonerWhenOthersNeedItsPlace) {
  EXPECT_EQ(start + 250ms, connection->deadline(true));
  clientSends("G", start + 100ms);
  EXPECT_EQ(start + 1100ms, connection->deadline(true));
}

TEST_F(HTTPConnectionTest, EventWithoutBytesChangesNothing) {
  proceedAt(start + 1s);
  EXPECT_EQ(Stage::Reading, connection->stage());
  EXPECT_EQ(start + 3s, due());
}

TEST_F(HTTPConnectionTest, EachPartOfARequestMayTakeASecondAndAllOfItTen) {
  clientSends("GET", start + 2s);
  EXPECT_EQ(start + 3s, due());
  clientSends(" /status", start + 2900ms);
  EXPECT_EQ(start + 3900ms, due());
  clientSends(" HTTP", start + 9500ms);
  EXPECT_EQ(start + 10s, due());
}

TEST_F(HTTPConnectionTest, CompleteRequestIsAnswered) {
  clientSends("GET /status HTTP/1.1\r\n\r\n", start);
  EXPECT_EQ(Stage::Answering, connection->stage());
  EXPECT_EQ("/status", connection->request().target());
  EXPECT_EQ(HTTPConnection::Time::max(), due());
}

TEST_F(HTTPConnectionTest, UnfinishedRequestIsAnsweredWhenItsTimeIsOver) {
  clientSends("POST /tap HTTP/1.1\r\nContent-Length: 10\r\n\r\n{", start);
  connection->expire();
  EXPECT_EQ(Stage::Answering, connection->stage());
  EXPECT_EQ("{", connection->request().body());
}

TEST_F(HTTPConnectionTest, UnfinishedRequestIsAnsweredWhenTheClientEndsSending) {
  clientSends("GET /status", start);
  clientEndsSending();
  proceedAt(start);
  EXPECT_EQ(Stage::Answering, connection->stage());
  connection->respond("late", start);
  EXPECT_EQ("late<end>", clientReceives());
}

TEST_F(HTTPConnectionTest, ClientThatEndsWithoutAWordGetsNoAnswer) {
  clientEndsSending();
  proceedAt(start);
  EXPECT_EQ(Stage::Closed, connection->stage());
}

TEST_F(HTTPConnectionTest, AnswerIsFollowedByTheEndAndTheClientsOwnEndIsAwaited) {
  clientSends("GET / HTTP/1.1\r\n\r\n", start);
  connection->respond("answer", start + 5s);
  EXPECT_EQ("answer<end>", clientReceives());
  EXPECT_EQ(Stage::Draining, connection->stage());
  EXPECT_EQ(POLLIN, connection->awaitedEvents());
  EXPECT_EQ(start + 6s, due());
  EXPECT_EQ(start + 5250ms, connection->deadline(true));
  clientCloses();
  proceedAt(start + 5s);
  EXPECT_EQ(Stage::Closed, connection->stage());
}

TEST_F(HTTPConnectionTest, WhatTheClientStillSendsIsDrainedForASecond) {
  clientSends("GET / HTTP/1.1\r\n\r\n", start);
  connection->respond("answer", start);
  clientSends("GET /next HTTP/1.1\r\n\r\n", start + 900ms);
  EXPECT_EQ(Stage::Draining, connection->stage());
  EXPECT_EQ(start + 1s, due());
  connection->expire();
  EXPECT_EQ(Stage::Closed, connection->stage());
}

TEST_F(HTTPConnectionTest, LargeAnswerIsSentAsTheClientTakesIt) {
  clientSends("GET / HTTP/1.1\r\n\r\n", start);
  const std::string answer(5'000'000, 'a');
  connection->respond(answer, start);
  EXPECT_EQ(Stage::Sending, connection->stage());
  EXPECT_EQ(POLLOUT, connection->awaitedEvents());
  EXPECT_EQ(start + 5s, due());

  std::string received;
  for (auto now = start + 1s; connection->stage() == Stage::Sending; now += 1ms) {
    received += clientReceives();
    proceedAt(now);
    ASSERT_EQ(connection->stage() == Stage::Sending ? now + 5s : now + 1s, due());
  }
  received += clientReceives();
  EXPECT_TRUE(received == answer + "<end>") << received.size();
}

TEST_F(HTTPConnectionTest, SlowReaderIsGivenUpAfterAMinute) {
  clientSends("GET / HTTP/1.1\r\n\r\n", start);
  connection->respond(std::string(50'000'000, 'a'), start);
  clientReceives();
  proceedAt(start + 58s);
  EXPECT_EQ(Stage::Sending, connection->stage());
  EXPECT_EQ(start + 60s, due());
  connection->expire();
  EXPECT_EQ(Stage::Closed, connection->stage());
}

TEST_F(HTTPConnectionTest, ClientThatVanishesIsNoHarm) {
  clientSends("GET / HTTP/1.1\r\n\r\n", start);
  clientCloses();
  connection->respond("answer", start);
  EXPECT_EQ(Stage::Closed, connection->stage());
}

TEST_F(HTTPConnectionTest, ExpectedContinueIsSentOnce) {
  clientSends("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\n", start);
  EXPECT_EQ("HTTP/1.1 100 Continue\r\n\r\n", clientReceives());
  proceedAt(start);
  EXPECT_EQ("", clientReceives());
  clientSends("body", start);
  EXPECT_EQ(Stage::Answering, connection->stage());
  connection->respond("answer", start);
  EXPECT_EQ("answer<end>", clientReceives());
}

TEST_F(HTTPConnectionTest, ContinueIsNotSentToAClientThatHasBegunItsBody) {
  clientSends("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\nbo", start);
  EXPECT_EQ("", clientReceives());
}

TEST_F(HTTPConnectionTest, LargeRequestGetsItsTimeFromItsTurn) {
  clientSends("POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n", start);
  EXPECT_FALSE(connection->mayBeLarge());
  connection->allowLarge(start + 30s);
  EXPECT_TRUE(connection->mayBeLarge());
  EXPECT_EQ(start + 31s, due());
  connection->respond("answer", start + 30s);
  EXPECT_FALSE(connection->mayBeLarge());
  EXPECT_TRUE(connection->request().isEmpty());
}

}  // namespace
}  // namespace wyvlet
