#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "WyvletShared/CompanionConnection.h"

namespace wyvlet::test {

/// A TCP peer that can also misbehave: it sends any bytes, stops half-way, resets. The calling
/// thread does everything; sockets give up after the tests' patience.
class RawPeer {
 public:
  enum class Family { IPv4, IPv6 };

  explicit RawPeer(Family family = Family::IPv4, int backlog = 16);
  ~RawPeer();
  RawPeer(const RawPeer&) = delete;
  RawPeer& operator=(const RawPeer&) = delete;

  std::uint16_t port() const { return port_; }
  /// Stops listening, so that the port refuses.
  void stopListening();

  bool accept();
  bool send(std::string_view bytes);
  /// Ends the stream in good order; what was sent before still arrives.
  void close();
  /// Ends the stream by a reset, after the other side has taken what was sent.
  void reset();
  /// The next `size` bytes, fewer when the stream ends.
  std::string receive(std::size_t size);
  /// Whether the other side has ended the stream, once everything it sent is read.
  bool waitForEnd();

 private:
  int listener_ = -1;
  int link_ = -1;
  std::uint16_t port_ = 0;
};

}  // namespace wyvlet::test
