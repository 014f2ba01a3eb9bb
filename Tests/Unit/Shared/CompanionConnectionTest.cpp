#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <map>
#include <thread>
#include <vector>

#include "WyvletShared/Commands.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet {
namespace {

CompanionMessage heartbeat(std::string payload = "") {
  return {CompanionMessageType::heartbeat, Bytes{std::move(payload)}, Date{1717200000.25}};
}

int connectTo(std::uint16_t port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  return socket;
}

/// An app's connection with the bare socket of its peer.
class CompanionConnectionTest : public testing::Test {
 protected:
  CompanionConnectionTest() {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    peer_ = ends[1];
    app_ = std::make_unique<CompanionConnection>(ends[0]);
  }
  ~CompanionConnectionTest() override { closePeer(); }

  void peerSends(std::string_view bytes) {
    ASSERT_EQ(::send(peer_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  }

  std::string peerReceives(std::size_t count) {
    std::string bytes(count, '\0');
    EXPECT_EQ(::recv(peer_, bytes.data(), count, MSG_WAITALL), static_cast<ssize_t>(count));
    return bytes;
  }

  void closePeer() {
    if (peer_ >= 0) ::close(std::exchange(peer_, -1));
  }

  int peer_ = -1;
  std::unique_ptr<CompanionConnection> app_;
};

TEST_F(CompanionConnectionTest, MessagesLeaveAsFrames) {
  const std::string typed = encodeFrame(R"({"type":"heartbeat","payload":"e30=","timestamp":738892800.25})");
  EXPECT_TRUE(app_->send(heartbeat("{}")));
  EXPECT_EQ(peerReceives(typed.size()), typed);
  const std::string free = encodeFrame(R"({"type":"response.tap","payload":"","timestamp":1717200000.25})");
  EXPECT_TRUE(app_->send(RawMessage{"response.tap", Bytes{}, Date{1717200000.25}}));
  EXPECT_EQ(peerReceives(free.size()), free);
  EXPECT_TRUE(app_->sendBody("body"));
  EXPECT_EQ(peerReceives(8), encodeFrame("body"));
}

TEST_F(CompanionConnectionTest, MessagesOfBothFormsArrive) {
  peerSends(encodeFrame(encodeEnvelope(heartbeat("{}"))) +
            encodeFrame(encodeEnvelope(RawMessage{"command.typeText", Bytes{"{}"}, Date{5}})));
  const auto first = app_->receive();
  ASSERT_TRUE(first && first->registered);
  EXPECT_EQ(first->registered, heartbeat("{}"));
  const auto second = app_->receive();
  ASSERT_TRUE(second && second->free);
  EXPECT_EQ(second->free->type, "command.typeText");
}

TEST_F(CompanionConnectionTest, MessageSplitOverManySegmentsArrives) {
  std::thread sender([this] {
    for (const char byte : encodeFrame(encodeEnvelope(heartbeat("{}"))))
      peerSends(std::string_view(&byte, 1));
  });
  const auto message = app_->receive();
  sender.join();
  ASSERT_TRUE(message && message->registered);
  EXPECT_EQ(message->registered, heartbeat("{}"));
}

TEST_F(CompanionConnectionTest, EmptyFramesAndBodiesThatAreNoEnvelopeArePassedOver) {
  peerSends(encodeFrame("") + encodeFrame("not JSON") + encodeFrame("{}") + encodeFrame("") +
            encodeFrame(encodeEnvelope(heartbeat())));
  const auto message = app_->receive();
  ASSERT_TRUE(message && message->registered);
  EXPECT_EQ(message->registered, heartbeat());
}

TEST_F(CompanionConnectionTest, EndOfTheLinkIsNoMessage) {
  peerSends(encodeFrame(encodeEnvelope(heartbeat())) + std::string("\0\0\0\x20half", 8));
  closePeer();
  EXPECT_TRUE(app_->receive());
  EXPECT_FALSE(app_->receive());
  EXPECT_FALSE(app_->receive());
}

TEST_F(CompanionConnectionTest, SendingOverABrokenLinkFailsWithoutASignal) {
  closePeer();
  bool sent = true;
  for (int i = 0; i < 10 && sent; ++i) sent = app_->send(heartbeat(std::string(100'000, 'x')));
  EXPECT_FALSE(sent);
}

TEST_F(CompanionConnectionTest, ShutdownEndsABlockedReceive) {
  auto received = std::async(std::launch::async, [this] { return app_->receive(); });
  app_->shutdown();
  EXPECT_FALSE(received.get());
  EXPECT_FALSE(app_->send(heartbeat()));
}

TEST_F(CompanionConnectionTest, ShutdownEndsABlockedSend) {
  // The peer reads nothing, so the send fills the socket's buffers and blocks.
  auto sent = std::async(std::launch::async, [this] { return app_->sendBody(std::string(40'000'000, 'x')); });
  char first = 1;
  EXPECT_EQ(::recv(peer_, &first, 1, MSG_PEEK), 1);
  app_->shutdown();
  EXPECT_FALSE(sent.get());
}

TEST_F(CompanionConnectionTest, SendsFromSeveralThreadsNeverMix) {
  constexpr int kThreads = 4, kMessages = 200;
  CompanionConnection peer(std::exchange(peer_, -1));
  std::vector<std::thread> senders;
  for (int thread = 0; thread < kThreads; ++thread) {
    senders.emplace_back([this, thread] {
      for (int i = 0; i < kMessages; ++i) {
        const std::string filler(static_cast<std::size_t>(i) * 97 % 20'000, static_cast<char>('a' + thread));
        EXPECT_TRUE(
            app_->send(RawMessage{std::to_string(thread), Bytes{std::to_string(i) + filler}, Date{}}));
      }
    });
  }
  std::map<std::string, int> next;
  for (int i = 0; i < kThreads * kMessages; ++i) {
    const auto message = peer.receive();
    ASSERT_TRUE(message && message->free);
    EXPECT_TRUE(message->free->payload.data.starts_with(std::to_string(next[message->free->type]++)));
  }
  for (std::thread& sender : senders) sender.join();
  for (const auto& [thread, count] : next) EXPECT_EQ(count, kMessages) << thread;
}

TEST_F(CompanionConnectionTest, LargeMessageCrosses) {
  const std::string payload(15'000'000, 'p');
  std::thread sender([&] { EXPECT_TRUE(app_->send(heartbeat(payload))); });
  CompanionConnection peer(std::exchange(peer_, -1));
  const auto message = peer.receive();
  sender.join();
  ASSERT_TRUE(message && message->registered);
  EXPECT_EQ(message->registered->payload.data, payload);
}

TEST_F(CompanionConnectionTest, MessageLongerThanAServerWouldReadArrives) {
  const std::string payload(40'000'000, 'p');  // 53 MB as base64
  std::thread sender([&] {
    EXPECT_TRUE(app_->send(heartbeat(payload)) && app_->send(heartbeat("next")));
    app_->shutdown();
  });
  CompanionConnection peer(std::exchange(peer_, -1));
  const auto message = peer.receive();
  const auto next = peer.receive();
  sender.join();
  ASSERT_TRUE(message && message->registered);
  EXPECT_TRUE(message->registered->payload.data == payload);
  ASSERT_TRUE(next && next->registered);
  EXPECT_EQ(next->registered->payload.data, "next");
}

TEST(CompanionListener, TalksToAServerOverLoopback) {
  auto listener = CompanionListener::listen(0);
  ASSERT_TRUE(listener) << listener.reason();
  ASSERT_NE((*listener)->port(), 0);
  CompanionConnection server(connectTo((*listener)->port()));
  const std::unique_ptr<CompanionConnection> app = (*listener)->accept();
  ASSERT_TRUE(app);
  EXPECT_TRUE(app->send(heartbeat("from the app")));
  EXPECT_EQ(server.receive()->registered->payload.data, "from the app");
  EXPECT_TRUE(server.send(CompanionMessage::make(CompanionMessageType::commandFireDeepLink,
                                                 FireDeepLinkCommand{"travel://trips"})));
  const auto command = app->receive();
  ASSERT_TRUE(command && command->registered);
  EXPECT_EQ(command->registered->decodePayload<FireDeepLinkCommand>()->url, "travel://trips");
}

TEST(CompanionListener, ConnectionsTurnOffNagle) {
  auto listener = CompanionListener::listen(0);
  ASSERT_TRUE(listener) << listener.reason();
  const int socket = connectTo((*listener)->port());
  const CompanionConnection server(socket);
  int noDelay = 0;
  socklen_t size = sizeof noDelay;
  ASSERT_EQ(::getsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &noDelay, &size), 0);
  EXPECT_NE(noDelay, 0);
}

TEST(CompanionListener, ServersAreAcceptedOneAfterAnother) {
  auto listener = CompanionListener::listen(0, false);
  ASSERT_TRUE(listener) << listener.reason();
  for (int i = 0; i < 20; ++i) {
    CompanionConnection server(connectTo((*listener)->port()));
    const auto app = (*listener)->accept();
    ASSERT_TRUE(app);
    EXPECT_TRUE(server.send(heartbeat(std::to_string(i))));
    EXPECT_EQ(app->receive()->registered->payload.data, std::to_string(i));
  }
}

TEST(CompanionListener, PortInUseIsAFailureWithAReason) {
  auto first = CompanionListener::listen(0);
  ASSERT_TRUE(first) << first.reason();
  const auto second = CompanionListener::listen((*first)->port());
  ASSERT_FALSE(second);
  EXPECT_EQ(second.reason(), "bind port " + std::to_string((*first)->port()) + ": Address already in use");
}

TEST(CompanionListener, ShutdownEndsABlockedAcceptAndEveryLaterOne) {
  auto listener = CompanionListener::listen(0);
  ASSERT_TRUE(listener) << listener.reason();
  auto accepted = std::async(std::launch::async, [&] { return (*listener)->accept(); });
  (*listener)->shutdown();
  EXPECT_EQ(accepted.get(), nullptr);
  EXPECT_EQ((*listener)->accept(), nullptr);
}

}  // namespace
}  // namespace wyvlet
