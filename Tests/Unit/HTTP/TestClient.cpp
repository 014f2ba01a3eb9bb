#include "Unit/HTTP/TestClient.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace wyvlet::test {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

TestClient::TestClient(std::uint16_t port) : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval patience{30, 0};
  ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  ::setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const auto address = loopback(port);
  EXPECT_EQ(0, ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

TestClient::TestClient(TestClient&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

TestClient::~TestClient() {
  if (fd_ >= 0) ::close(fd_);
}

bool TestClient::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void TestClient::endSending() { ::shutdown(fd_, SHUT_WR); }

std::string TestClient::receiveAll() {
  std::string all;
  std::vector<char> chunk(65536);
  for (;;) {
    const ssize_t count = ::recv(fd_, chunk.data(), chunk.size(), 0);
    if (count == 0) return all;
    if (count < 0) return all + (errno == EAGAIN ? "<timeout>" : "<reset>");
    all.append(chunk.data(), static_cast<std::size_t>(count));
  }
}

std::string TestClient::receive(std::size_t count) {
  std::string bytes(count, '\0');
  const ssize_t received = ::recv(fd_, bytes.data(), count, MSG_WAITALL);
  bytes.resize(received < 0 ? 0 : static_cast<std::size_t>(received));
  return bytes;
}

bool TestClient::hasEndedNow() {
  char byte = 0;
  return ::recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

int listenOnLoopback(std::uint16_t& port, int backlog) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ::fcntl(fd, F_SETFL, O_NONBLOCK);
  auto address = loopback(0);
  EXPECT_EQ(0, ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_EQ(0, ::listen(fd, backlog));
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  port = ntohs(address.sin_port);
  return fd;
}

int openDescriptors() {
  DIR* folder = ::opendir("/dev/fd");
  int count = -3;  // the folder itself, "." and ".."
  while (::readdir(folder) != nullptr) ++count;
  ::closedir(folder);
  return count;
}

}  // namespace wyvlet::test
