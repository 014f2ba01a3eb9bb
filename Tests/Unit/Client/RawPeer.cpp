#include "Unit/Client/RawPeer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "Unit/Client/LogCapture.h"

namespace wyvlet::test {
namespace {

#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL;
#else
constexpr int kSendFlags = 0;
#endif

}  // namespace

RawPeer::RawPeer(Family family, int backlog) {
  const bool isV6 = family == Family::IPv6;
  listener_ = ::socket(isV6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
  const timeval patience{static_cast<time_t>(kPatience), 0};
  ::setsockopt(listener_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  sockaddr_in v4{};
  v4.sin_family = AF_INET;
  v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sockaddr_in6 v6{};
  v6.sin6_family = AF_INET6;
  v6.sin6_addr = in6addr_loopback;
  auto* address = isV6 ? reinterpret_cast<sockaddr*>(&v6) : reinterpret_cast<sockaddr*>(&v4);
  socklen_t size = isV6 ? sizeof v6 : sizeof v4;
  if (::bind(listener_, address, size) != 0 || ::listen(listener_, backlog) != 0 ||
      ::getsockname(listener_, address, &size) != 0) {
    throw std::runtime_error("cannot listen on loopback");
  }
  port_ = ntohs(isV6 ? v6.sin6_port : v4.sin_port);
}

RawPeer::~RawPeer() {
  close();
  stopListening();
}

void RawPeer::stopListening() {
  if (listener_ >= 0) ::close(listener_);
  listener_ = -1;
}

bool RawPeer::accept() {
  close();
  link_ = ::accept(listener_, nullptr, nullptr);
  const timeval patience{static_cast<time_t>(kPatience), 0};
  ::setsockopt(link_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  const int on = 1;
  ::setsockopt(link_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return link_ >= 0;
}

bool RawPeer::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sent = ::send(link_, bytes.data(), bytes.size(), kSendFlags);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

void RawPeer::close() {
  if (link_ >= 0) ::close(link_);
  link_ = -1;
}

void RawPeer::reset() {
  const linger atOnce{1, 0};
  ::setsockopt(link_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  close();
}

std::string RawPeer::receive(std::size_t size) {
  std::string bytes(size, '\0');
  std::size_t filled = 0;
  while (filled < size) {
    const auto count = ::recv(link_, bytes.data() + filled, size - filled, 0);
    if (count <= 0) break;
    filled += static_cast<std::size_t>(count);
  }
  bytes.resize(filled);
  return bytes;
}

bool RawPeer::waitForEnd() {
  std::array<char, 65536> chunk{};
  for (;;) {
    const auto count = ::recv(link_, chunk.data(), chunk.size(), 0);
    if (count > 0) continue;
    return count == 0 || errno == ECONNRESET;
  }
}

}  // namespace wyvlet::test
