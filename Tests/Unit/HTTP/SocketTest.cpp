#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "HTTP/Socket.h"
#include "Unit/HTTP/TestClient.h"

namespace wyvlet {
namespace {

bool isClosedOnExec(int fd) { return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0; }
bool isNonBlocking(int fd) { return (::fcntl(fd, F_GETFL) & O_NONBLOCK) != 0; }
bool isReadable(int fd) {
  pollfd entry{fd, POLLIN, 0};
  return ::poll(&entry, 1, 0) == 1;
}

TEST(Socket, DescriptorClosesOnceAndMoves) {
  int ends[2];
  ASSERT_EQ(0, ::pipe(ends));
  Descriptor writing(ends[1]);
  {
    Descriptor first(ends[0]);
    Descriptor second(std::move(first));
    EXPECT_EQ(ends[0], second.fd());
    Descriptor third;
    EXPECT_FALSE(third);
    third = std::move(second);
    EXPECT_TRUE(third);
  }
  EXPECT_EQ(-1, ::fcntl(ends[0], F_GETFD));
  EXPECT_NE(-1, ::fcntl(ends[1], F_GETFD));
}

TEST(Socket, AddressesOfBothFamiliesAreRead) {
  EXPECT_EQ(AF_INET, ListenAddress::parse(std::nullopt, 1)->family());
  EXPECT_EQ(AF_INET, ListenAddress::parse("127.0.0.1", 1)->family());
  EXPECT_EQ(AF_INET6, ListenAddress::parse("::1", 1)->family());
  for (const char* text : {"", "localhost", "127.0.0", "127.0.0.1 ", "256.0.0.1", "[::1]", "0.0.0.0/0"}) {
    EXPECT_FALSE(ListenAddress::parse(text, 1)) << text;
  }
}

TEST(Socket, AcceptedConnectionsNeitherBlockNorAreInherited) {
  const auto address = ListenAddress::parse("127.0.0.1", 0);
  const auto listening = makeListeningSocket(address->family());
  ASSERT_TRUE(address->bind(listening.fd()));
  ASSERT_EQ(0, ::listen(listening.fd(), 1));
  EXPECT_TRUE(isClosedOnExec(listening.fd()));
  EXPECT_FALSE(acceptConnection(listening.fd()));
  EXPECT_TRUE(errno == EAGAIN || errno == EWOULDBLOCK);

  const test::TestClient client(boundPort(listening.fd()));
  while (!isReadable(listening.fd())) {
  }
  const auto accepted = acceptConnection(listening.fd());
  ASSERT_TRUE(accepted);
  EXPECT_TRUE(isClosedOnExec(accepted.fd()));
  EXPECT_TRUE(isNonBlocking(accepted.fd()));
}

TEST(Socket, TakenPortIsNotBoundAgain) {
  const auto any = ListenAddress::parse(std::nullopt, 0);
  const auto first = makeListeningSocket(any->family());
  ASSERT_TRUE(any->bind(first.fd()));
  ASSERT_EQ(0, ::listen(first.fd(), 1));
  const auto same = ListenAddress::parse(std::nullopt, boundPort(first.fd()));
  EXPECT_FALSE(same->bind(makeListeningSocket(same->family()).fd()));
}

TEST(Socket, SendingToAVanishedPeerIsAnErrorAndNoSignal) {
  int ends[2];
  ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
  const Descriptor left(ends[0]);
  Descriptor(ends[1]).close();
  EXPECT_EQ(-1, sendBeforeEnd(left.fd(), "x"));
  sendInterim(left.fd(), "x");
}

TEST(Socket, WakePipeWakesUntilCleared) {
  const WakePipe pipe;
  EXPECT_TRUE(isClosedOnExec(pipe.readEnd.fd()));
  EXPECT_TRUE(isClosedOnExec(pipe.writeEnd.fd()));
  EXPECT_FALSE(isReadable(pipe.readEnd.fd()));
  for (int i = 0; i < 100'000; ++i) pipe.wake();
  EXPECT_TRUE(isReadable(pipe.readEnd.fd()));
  pipe.clear();
  EXPECT_FALSE(isReadable(pipe.readEnd.fd()));
}

}  // namespace
}  // namespace wyvlet
