#include "WyvletShared/CompanionConnection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace wyvlet {
namespace {

#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL;
#else
constexpr int kSendFlags = 0;
#endif

void turnOn(int socket, int level, int option) {
  const int on = 1;
  ::setsockopt(socket, level, option, &on, sizeof on);
}

void setFlags(int descriptor, bool nonBlocking) {
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  const int flags = ::fcntl(descriptor, F_GETFL);
  ::fcntl(descriptor, F_SETFL, nonBlocking ? flags | O_NONBLOCK : flags & ~O_NONBLOCK);
}

/// Writes every byte of `parts`, which it consumes.
bool sendAll(int socket, std::span<iovec> parts) {
  while (!parts.empty()) {
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(parts.size());
    const ssize_t sent = ::sendmsg(socket, &message, kSendFlags);
    if (sent < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    auto left = static_cast<std::size_t>(sent);
    while (!parts.empty() && left >= parts.front().iov_len) {
      left -= parts.front().iov_len;
      parts = parts.subspan(1);
    }
    if (!parts.empty()) {
      parts.front().iov_base = static_cast<char*>(parts.front().iov_base) + left;
      parts.front().iov_len -= left;
    }
  }
  return true;
}

Failure systemFailure(const std::string& what) {
  return Failure{what + ": " + std::generic_category().message(errno)};
}

}  // namespace

CompanionConnection::CompanionConnection(int socket) : socket_(socket) {
  setFlags(socket_, false);
  turnOn(socket_, IPPROTO_TCP, TCP_NODELAY);
#ifdef SO_NOSIGPIPE
  turnOn(socket_, SOL_SOCKET, SO_NOSIGPIPE);
#endif
}

CompanionConnection::~CompanionConnection() { ::close(socket_); }

bool CompanionConnection::send(const CompanionMessage& message) { return sendBody(encodeEnvelope(message)); }

bool CompanionConnection::send(const RawMessage& message) { return sendBody(encodeEnvelope(message)); }

bool CompanionConnection::sendBody(std::string_view body) {
  FrameHeader header = frameHeader(body.size());
  std::array<iovec, 2> parts{{{header.data(), header.size()}, {const_cast<char*>(body.data()), body.size()}}};
  const std::lock_guard lock(sendMutex_);
  return sendAll(socket_, parts);
}

bool CompanionConnection::sendBytes(std::string_view bytes) {
  std::array<iovec, 1> parts{{{const_cast<char*>(bytes.data()), bytes.size()}}};
  const std::lock_guard lock(sendMutex_);
  return sendAll(socket_, parts);
}

std::optional<ReceivedMessage> CompanionConnection::receive() {
  for (;;) {
    const FrameReader::Item item = reader_.next();
    if (item.kind == FrameReader::Kind::Frame) {
      ReceivedMessage message = decodeEnvelope(item.body, DateEpoch::Reference2001);
      if (message.registered || message.free) return message;
      continue;
    }
    if (item.kind == FrameReader::Kind::BadLength) continue;
    const std::span<char> space = reader_.writableSpace();
    const ssize_t count = ::recv(socket_, space.data(), space.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    reader_.wrote(static_cast<std::size_t>(count));
  }
}

void CompanionConnection::shutdown() { ::shutdown(socket_, SHUT_RDWR); }

Result<std::unique_ptr<CompanionListener>> CompanionListener::listen(std::uint16_t port, bool loopbackOnly) {
  std::array<int, 2> wake{};
  if (::pipe(wake.data()) != 0) return systemFailure("pipe");
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  std::unique_ptr<CompanionListener> listener(new CompanionListener(socket, wake[0], wake[1]));
  if (socket < 0) return systemFailure("socket");
  setFlags(wake[0], true);
  setFlags(wake[1], true);
  setFlags(socket, true);
  turnOn(socket, SOL_SOCKET, SO_REUSEADDR);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(loopbackOnly ? INADDR_LOOPBACK : INADDR_ANY);
  socklen_t size = sizeof address;
  if (::bind(socket, reinterpret_cast<sockaddr*>(&address), size) != 0) {
    return systemFailure("bind port " + std::to_string(port));
  }
  if (::listen(socket, SOMAXCONN) != 0) return systemFailure("listen on port " + std::to_string(port));
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    return systemFailure("getsockname");
  }
  listener->port_ = ntohs(address.sin_port);
  return listener;
}

CompanionListener::~CompanionListener() {
  if (socket_ >= 0) ::close(socket_);
  ::close(wakeReader_);
  ::close(wakeWriter_);
}

std::unique_ptr<CompanionConnection> CompanionListener::accept() {
  // Without a descriptor to spare every attempt fails at once, so the next one waits a little.
  constexpr int kRetryMilliseconds = 100;
  bool exhausted = false;
  for (;;) {
    std::array<pollfd, 2> waited{{{wakeReader_, POLLIN, 0}, {socket_, POLLIN, 0}}};
    const int ready = ::poll(waited.data(), exhausted ? 1 : 2, exhausted ? kRetryMilliseconds : -1);
    if (ready < 0 && errno != EINTR) return nullptr;
    if (ready > 0 && waited[0].revents != 0) return nullptr;
    const int connected = ::accept(socket_, nullptr, nullptr);
    if (connected >= 0) return std::make_unique<CompanionConnection>(connected);
    exhausted = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
  }
}

void CompanionListener::shutdown() {
  // The byte is never read, so that every later accept() returns as well.
  const ssize_t written = ::write(wakeWriter_, "", 1);
  static_cast<void>(written);
}

}  // namespace wyvlet
