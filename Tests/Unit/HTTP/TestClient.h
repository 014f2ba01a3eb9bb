#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wyvlet::test {

/// A client on loopback TCP that does exactly what it is told. Receiving waits for up to 30 seconds.
class TestClient {
 public:
  explicit TestClient(std::uint16_t port);
  ~TestClient();
  TestClient(TestClient&& other) noexcept;
  TestClient& operator=(TestClient&&) = delete;

  /// Sends all; false when the server has cut the connection.
  bool send(std::string_view bytes);
  void endSending();

  /// What the server sends until it ends the connection; a reset adds "<reset>", silence "<timeout>".
  std::string receiveAll();
  /// The next `count` bytes.
  std::string receive(std::size_t count);
  /// Whether the connection is known to be over at this moment, without waiting.
  bool hasEndedNow();

  int fd() const { return fd_; }

 private:
  int fd_;
};

/// A listening socket on loopback with a port of the system's choice.
int listenOnLoopback(std::uint16_t& port, int backlog = 128);

/// How many descriptors this process has open.
int openDescriptors();

}  // namespace wyvlet::test
