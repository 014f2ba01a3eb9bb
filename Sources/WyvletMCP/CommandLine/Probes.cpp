#include "CommandLine/Probes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <system_error>

#include "HTTP/Socket.h"
#include "Support/Semaphore.h"
#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/FrameReader.h"
#include "WyvletShared/FullSync.h"

namespace wyvlet {
namespace {

using Deadline = std::chrono::steady_clock::time_point;

std::string errorText(int error) { return std::generic_category().message(error); }

/// Waits until the socket is ready for `events`; false at the deadline.
bool awaitReady(int fd, short events, Deadline deadline) {
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd polled{fd, events, 0};
    const int count = ::poll(&polled, 1, static_cast<int>(std::min<long long>(left.count(), 1'000'000)));
    if (count > 0) return true;
    if (count < 0 && errno != EINTR) return false;
  }
}

/// A non-blocking socket that does not outlive an exec and raises no SIGPIPE.
Descriptor makeSocket(int family) {
  Descriptor socket(::socket(family, SOCK_STREAM, 0));
  if (!socket) return socket;
  ::fcntl(socket.fd(), F_SETFD, FD_CLOEXEC);
  ::fcntl(socket.fd(), F_SETFL, O_NONBLOCK);
#if defined(SO_NOSIGPIPE)
  const int on = 1;
  ::setsockopt(socket.fd(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
  return socket;
}

/// Connects, or gives the errno of why not.
int connectSocket(int fd, const sockaddr* address, socklen_t length, Deadline deadline) {
  if (::connect(fd, address, length) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  if (!awaitReady(fd, POLLOUT, deadline)) return ETIMEDOUT;
  int error = 0;
  socklen_t size = sizeof error;
  ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
  return error;
}

/// A connection to host and port, or the errno of why there is none.
struct Connection {
  Descriptor socket;
  int error = 0;
};

Connection connectTo(const std::string& host, std::uint16_t port, Deadline deadline) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
    return {Descriptor(), EHOSTUNREACH};
  }
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(found, &::freeaddrinfo);
  Connection connection{Descriptor(), EHOSTUNREACH};
  for (const auto* address = found; address != nullptr; address = address->ai_next) {
    auto socket = makeSocket(address->ai_family);
    if (!socket) continue;
    connection.error = connectSocket(socket.fd(), address->ai_addr, address->ai_addrlen, deadline);
    if (connection.error == 0) {
      connection.socket = std::move(socket);
      return connection;
    }
  }
  return connection;
}

/// What arrived: a positive count, 0 at the end of the stream, -1 at the deadline or on an error. A peer
/// that never stops sending meets the deadline like one that never starts.
ssize_t receive(int fd, std::span<char> space, Deadline deadline) {
  while (std::chrono::steady_clock::now() < deadline) {
    const ssize_t count = ::recv(fd, space.data(), space.size(), 0);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return -1;
    if (!awaitReady(fd, POLLIN, deadline)) return -1;
  }
  return -1;
}

/// Who the app says it is, as far as it says so.
std::string describe(const LenientSyncPayload& sync) {
  auto text = sync.appName.value_or("An app");
  if (sync.appVersion) text += " " + *sync.appVersion;
  if (sync.deviceName) text += " on " + *sync.deviceName;
  return text;
}

/// The full sync's outcome when `body` is one; nothing for every other message.
std::optional<AppProbe> readSync(std::string_view body) {
  const auto message = decodeEnvelope(body);
  if (!message.registered || message.registered->type != CompanionMessageType::syncFull) return std::nullopt;
  const auto sync = message.registered->decodePayload<LenientSyncPayload>(DateEpoch::Unix1970);
  if (!sync) return AppProbe{true, false, "its full sync cannot be read: " + sync.reason()};
  return AppProbe{true, true, describe(*sync)};
}

std::string exchange(int fd, std::string_view request, Deadline deadline) {
  // A request of a few bytes fits into the send buffer of a fresh connection at once.
#if defined(MSG_NOSIGNAL)
  constexpr int kFlags = MSG_NOSIGNAL;
#else
  constexpr int kFlags = 0;
#endif
  if (::send(fd, request.data(), request.size(), kFlags) != static_cast<ssize_t>(request.size())) return {};
  constexpr std::size_t kMaxAnswer = 65536;
  std::string answer;
  char chunk[4096];
  for (ssize_t count = 0; answer.size() < kMaxAnswer && (count = receive(fd, chunk, deadline)) > 0;) {
    answer.append(chunk, static_cast<std::size_t>(count));
  }
  return answer;
}

}  // namespace

AppProbe probeApp(const AppAddress& address, double seconds) {
  const auto deadline = deadlineAfter(seconds);
  const auto connection = connectTo(address.host, address.port, deadline);
  if (!connection.socket) return {false, false, errorText(connection.error)};

  FrameReader reader;
  for (;;) {
    const auto space = reader.writableSpace();
    const ssize_t count = receive(connection.socket.fd(), space, deadline);
    if (count == 0) return {true, false, "closed the connection before it sent a full sync"};
    if (count < 0) return {true, false, fmt::format("sent no full sync within {:.0f} s", seconds)};
    reader.wrote(static_cast<std::size_t>(count));
    for (auto item = reader.next(); item.kind != FrameReader::Kind::NeedMore; item = reader.next()) {
      if (item.kind != FrameReader::Kind::Frame) continue;
      if (auto outcome = readSync(item.body)) return *std::move(outcome);
    }
  }
}

HTTPPortProbe statusAnswer(const std::string& response) {
  using State = HTTPPortProbe::State;
  const auto head = response.find("\r\n\r\n");
  if (head == std::string::npos) return {State::Taken};
  boost::system::error_code error;
  const auto body = boost::json::parse(response.substr(head + 4), error);
  const auto* status = error ? nullptr : body.if_object();
  const auto* server = status == nullptr ? nullptr : status->if_contains("server");
  if (server == nullptr || !server->is_string() || server->as_string() != "WyvletMCP") return {State::Taken};
  const auto* connected = status->if_contains("wyvletConnected");
  return {State::OurServer, connected != nullptr && connected->is_bool() && connected->as_bool()};
}

HTTPPortProbe probeHTTPPort(const std::optional<std::string>& host, std::uint16_t port, double seconds) {
  using State = HTTPPortProbe::State;
  const auto address = ListenAddress::parse(host, port);
  if (!address) return {State::Unusable, false, "WYVLET_HTTP_HOST is not an IP address: " + *host};
  const auto listening = makeListeningSocket(address->family());
  if (!listening) return {State::Unusable, false, errorText(errno)};
  if (address->bind(listening.fd())) return {State::Free};
  if (errno != EADDRINUSE) return {State::Unusable, false, errorText(errno)};

  const bool everywhere = !host || *host == "0.0.0.0" || *host == "::";
  const auto deadline = deadlineAfter(seconds);
  const auto connection = connectTo(everywhere ? "127.0.0.1" : *host, port, deadline);
  if (!connection.socket) return {State::Taken};
  return statusAnswer(
      exchange(connection.socket.fd(), "GET /status HTTP/1.1\r\nHost: localhost\r\n\r\n", deadline));
}

bool answersOnSocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const auto socket = makeSocket(AF_UNIX);
  if (!socket) return false;
  const int connected = ::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  // A full backlog is a daemon that is alive but busy.
  return connected == 0 || errno == EAGAIN;
}

}  // namespace wyvlet
