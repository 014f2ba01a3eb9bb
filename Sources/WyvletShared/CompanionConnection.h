#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/FrameReader.h"
#include "WyvletShared/Result.h"

namespace wyvlet {

/// The service type under which an app announces itself by DNS-SD.
inline constexpr std::string_view kBonjourType = "_wyvlet._tcp";

/// The port on which an app waits for a server that comes through a USB tunnel.
inline constexpr std::uint16_t kDirectPort = 54321;

/// The app's end of one companion link: a connected TCP socket that carries frames. The app owns
/// it, reads from one thread and may send from several; whole frames never mix. SIGPIPE is never
/// raised.
class CompanionConnection {
 public:
  /// Takes over a connected socket, which is closed with the object. Turns Nagle's algorithm off.
  explicit CompanionConnection(int socket);
  ~CompanionConnection();
  CompanionConnection(const CompanionConnection&) = delete;
  CompanionConnection& operator=(const CompanionConnection&) = delete;

  /// Sends one message as one frame. Blocks until the kernel has taken it; false when the link is
  /// gone.
  bool send(const CompanionMessage& message);
  bool send(const RawMessage& message);

  /// Sends bytes that are already a frame body.
  bool sendBody(std::string_view body);

  /// Sends bytes as they are; for peers that test how a reader bears broken frames.
  bool sendBytes(std::string_view bytes);

  /// Blocks for the next message, however long; nothing when the link has ended. Frames of length 0
  /// and bodies that are no envelope are passed over. Timestamps are read as typed commands have them,
  /// from 2001; those of free-form commands, which count from 1970, come out 31 years late.
  std::optional<ReceivedMessage> receive();

  /// Ends the link: a blocked `receive()` returns, later sends fail. Any thread.
  void shutdown();

 private:
  int socket_;
  std::mutex sendMutex_;
  // Only servers bound what they read. To skip the header of a long command would be to read its body
  // as headers.
  FrameReader reader_{std::numeric_limits<std::uint32_t>::max()};
};

/// Waits for servers on a TCP port of 127.0.0.1 or of every interface. The app owns it.
class CompanionListener {
 public:
  /// Listens on `port` (0 takes a free one).
  static Result<std::unique_ptr<CompanionListener>> listen(std::uint16_t port, bool loopbackOnly = true);
  ~CompanionListener();
  CompanionListener(const CompanionListener&) = delete;
  CompanionListener& operator=(const CompanionListener&) = delete;

  std::uint16_t port() const { return port_; }

  /// Blocks for the next server; null after `shutdown()`.
  std::unique_ptr<CompanionConnection> accept();

  /// A blocked `accept()` returns. Any thread.
  void shutdown();

 private:
  CompanionListener(int socket, int wakeReader, int wakeWriter)
      : socket_(socket), wakeReader_(wakeReader), wakeWriter_(wakeWriter) {}
  int socket_;
  int wakeReader_;  // readable once `shutdown()` was called; closing a socket wakes no accept()
  int wakeWriter_;
  std::uint16_t port_ = 0;
};

}  // namespace wyvlet
