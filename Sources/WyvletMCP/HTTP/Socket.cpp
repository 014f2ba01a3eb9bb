#include "HTTP/Socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace wyvlet {
namespace {

#if defined(MSG_NOSIGNAL)
constexpr int kNoSignal = MSG_NOSIGNAL;
#else
constexpr int kNoSignal = 0;
#endif

#if defined(MSG_MORE)
constexpr int kMoreFollows = MSG_MORE;
#else
constexpr int kMoreFollows = 0;
#endif

#if !defined(__linux__)
/// What Linux does in the call that makes the descriptor.
Descriptor prepared(int fd) {
  if (fd < 0) return Descriptor();
  ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  ::fcntl(fd, F_SETFL, O_NONBLOCK);
#if defined(SO_NOSIGPIPE)
  const int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
  return Descriptor(fd);
}
#endif

}  // namespace

std::optional<ListenAddress> ListenAddress::parse(const std::optional<std::string_view>& host,
                                                  std::uint16_t port) {
  ListenAddress address;
  sockaddr_in v4{};
  v4.sin_family = AF_INET;
  v4.sin_port = htons(port);
  sockaddr_in6 v6{};
  v6.sin6_family = AF_INET6;
  v6.sin6_port = htons(port);
  static_assert(sizeof v4 <= sizeof address.storage && sizeof v6 <= sizeof address.storage);

  const std::string text(host.value_or("0.0.0.0"));
  if (::inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
    address.length = sizeof v4;
    std::memcpy(address.storage, &v4, sizeof v4);
  } else if (::inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
    address.length = sizeof v6;
    std::memcpy(address.storage, &v6, sizeof v6);
  } else {
    return std::nullopt;
  }
  return address;
}

int ListenAddress::family() const { return length == sizeof(sockaddr_in) ? AF_INET : AF_INET6; }

bool ListenAddress::bind(int fd) const {
  return ::bind(fd, reinterpret_cast<const sockaddr*>(storage), length) == 0;
}

Descriptor makeListeningSocket(int family) {
#if defined(__linux__)
  Descriptor socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
#else
  Descriptor socket = prepared(::socket(family, SOCK_STREAM, 0));
#endif
  // A restarted server takes over the port at once although old connections linger.
  const int on = 1;
  if (socket) ::setsockopt(socket.fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return socket;
}

std::uint16_t boundPort(int fd) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
  // The port stands at the same place in both families.
  return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

Descriptor acceptConnection(int listeningFd) {
#if defined(__linux__)
  return Descriptor(::accept4(listeningFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
#else
  return prepared(::accept(listeningFd, nullptr, nullptr));
#endif
}

ssize_t sendBeforeEnd(int fd, std::string_view bytes) {
  return ::send(fd, bytes.data(), bytes.size(), kNoSignal | kMoreFollows);
}

void sendInterim(int fd, std::string_view bytes) {
  // Nothing has been sent on the connection before, so the few bytes always fit.
  (void)::send(fd, bytes.data(), bytes.size(), kNoSignal);
}

WakePipe::WakePipe() {
  int ends[2];
#if defined(__linux__)
  if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) return;
  readEnd = Descriptor(ends[0]);
  writeEnd = Descriptor(ends[1]);
#else
  if (::pipe(ends) != 0) return;
  readEnd = prepared(ends[0]);
  writeEnd = prepared(ends[1]);
#endif
}

void WakePipe::wake() const {
  // A full pipe is a wake-up that is already on its way.
  const char byte = 0;
  (void)!::write(writeEnd.fd(), &byte, 1);
}

void WakePipe::clear() const {
  char bytes[64];
  while (::read(readEnd.fd(), bytes, sizeof bytes) == static_cast<ssize_t>(sizeof bytes)) {
  }
}

}  // namespace wyvlet
