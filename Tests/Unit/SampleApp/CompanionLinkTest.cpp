#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <future>
#include <string>

#include "WyvletSampleApp/CompanionLink.h"

namespace wyvlet::sample {
namespace {

std::shared_ptr<const std::string> logBody(std::size_t bytes) {
  return std::make_shared<const std::string>(
      encodeEnvelope(RawMessage{"event.test", Bytes{std::string(bytes, 'x')}, Date::now()}));
}

class CompanionLinkTest : public testing::Test {
 protected:
  CompanionLinkTest() {
    std::array<int, 2> sockets{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
    peer = std::make_unique<CompanionConnection>(sockets[0]);
    CompanionLink::Callbacks callbacks;
    callbacks.received = [this](const ReceivedMessage& message) {
      if (message.free) received.set_value(message.free->type);
    };
    callbacks.ended = [this] { ended.set_value(); };
    link = std::make_unique<CompanionLink>(std::make_unique<CompanionConnection>(sockets[1]), callbacks);
  }

  std::promise<std::string> received;
  std::promise<void> ended;
  std::unique_ptr<CompanionConnection> peer;
  std::unique_ptr<CompanionLink> link;
};

TEST_F(CompanionLinkTest, CarriesMessagesBothWays) {
  link->send(logBody(10));
  const auto message = peer->receive();
  ASSERT_TRUE(message && message->free);
  EXPECT_EQ(message->free->payload.data, "xxxxxxxxxx");
  ASSERT_TRUE(peer->send(RawMessage{"command.test", {}, Date::now()}));
  EXPECT_EQ(received.get_future().get(), "command.test");
}

TEST_F(CompanionLinkTest, ThePeersEndIsReportedOnce) {
  peer.reset();
  ended.get_future().wait();
  link->send(logBody(10));
  link.reset();
}

TEST_F(CompanionLinkTest, EndingItEndsThePeersReading) {
  link->end();
  EXPECT_FALSE(peer->receive());
  ended.get_future().wait();
}

TEST_F(CompanionLinkTest, AServerThatReadsNothingLosesItsLinkAndHoldsUpNobody) {
  const auto body = logBody(4UL * 1024 * 1024);
  auto over = ended.get_future();
  for (int i = 0; i < 40; ++i) link->send(body);
  over.wait();
  EXPECT_TRUE(link->isDrained());
}

TEST_F(CompanionLinkTest, IsDrainedOnceEverythingIsWithTheNetwork) {
  EXPECT_TRUE(link->isDrained());
  const auto body = logBody(8UL * 1024 * 1024);
  link->send(body);
  EXPECT_FALSE(link->isDrained()) << "more than any socket buffer holds";
  link->send(logBody(1));
  ASSERT_TRUE(peer->receive());
  ASSERT_TRUE(peer->receive());
  link.reset();
}

TEST_F(CompanionLinkTest, DestroyingItWhileItWritesDoesNotHang) {
  link->send(logBody(8UL * 1024 * 1024));
  link.reset();
}

}  // namespace
}  // namespace wyvlet::sample
