#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Support/Descriptor.h"

namespace wyvlet {

// All descriptors that these functions make are non-blocking, closed on exec and free of SIGPIPE, on
// every platform.

/// Where to listen: all IPv4 interfaces, or one numeric address of either family.
struct ListenAddress {
  /// Nothing when `host` is given and is no address; names are not looked up.
  static std::optional<ListenAddress> parse(const std::optional<std::string_view>& host, std::uint16_t port);

  int family() const;
  bool bind(int fd) const;

  alignas(8) unsigned char storage[28] = {};  // a sockaddr_in or a sockaddr_in6
  unsigned length = 0;
};

/// A TCP socket to listen with; none when the system refuses.
Descriptor makeListeningSocket(int family);

/// The port that a bound socket got.
std::uint16_t boundPort(int fd);

/// The next waiting connection. None when nobody waits or the attempt failed, with errno telling why.
Descriptor acceptConnection(int listeningFd);

/// Sends as much as the connection takes now: the bytes sent, or -1 with errno. The last part of the
/// answer stays back for what follows where the system can do that: the end of the connection then
/// travels in the same segment, and no client takes the connection for one that stays open.
ssize_t sendBeforeEnd(int fd, std::string_view bytes);

/// Sends a short interim message at once.
void sendInterim(int fd, std::string_view bytes);

/// Two descriptors, the second of which makes the first readable.
struct WakePipe {
  Descriptor readEnd;
  Descriptor writeEnd;

  WakePipe();
  void wake() const;
  void clear() const;
};

}  // namespace wyvlet
