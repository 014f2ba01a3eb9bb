#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/SampleApp.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet::sample {

/// A wait in these tests ends in a failure after this long.
inline constexpr timeval kPatience{20, 0};

/// The whole app on a thread of its own, on a free port and in a directory of its own.
class RunningApp {
 public:
  explicit RunningApp(Options options = {}) : app_(inside(std::move(options))) {
    const std::string reason = app_.start();
    EXPECT_EQ(reason, "");
    thread_ = std::thread([this] { app_.run(); });
  }
  ~RunningApp() { end(); }
  RunningApp(const RunningApp&) = delete;
  RunningApp& operator=(const RunningApp&) = delete;

  void end() {
    app_.stop();
    if (thread_.joinable()) thread_.join();
  }
  /// Returns when the app has ended by itself.
  void waitForEnd() { thread_.join(); }

  std::uint16_t port() const { return app_.port(); }
  const std::string& controlPath() const { return app_.controlPath(); }
  std::string file(const std::string& name) const { return directory_.file(name); }
  AppLoop& loop() { return app_.loop(); }

 private:
  Options inside(Options options) const {
    options.port = 0;
    options.announce = false;
    options.marker = directory_.file("ready");
    options.control = directory_.file("control.sock");
    options.crashDirectory = directory_.path();
    return options;
  }

  TemporaryDirectory directory_;
  SampleApp app_;
  std::thread thread_;
};

/// A message as a server reads it.
struct Message {
  std::string type;
  std::string payload;
};

/// A server's end of a link.
class Peer {
 public:
  explicit Peer(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    connection_ = std::make_unique<CompanionConnection>(socket);
  }

  /// The next message of any type; an empty one when the link has ended.
  Message next() {
    const auto message = connection_->receive();
    if (!message) return {};
    if (message->registered) {
      return {std::string(rawString(message->registered->type)), message->registered->payload.data};
    }
    return {message->free->type, message->free->payload.data};
  }

  /// The next message of `type`; the others before it are passed over.
  std::string next(std::string_view type) {
    for (Message message = next(); !message.type.empty(); message = next()) {
      if (message.type == type) return message.payload;
    }
    ADD_FAILURE() << "no " << type;
    return {};
  }

  template <class Record>
  Record next(std::string_view type) {
    const auto record = decodeRecord<Record>(next(type));
    EXPECT_TRUE(record) << record.reason();
    return record ? *record : Record{};
  }

  LenientSyncPayload sync() { return next<LenientSyncPayload>("sync.full"); }

  void sends(const std::string& type, const std::string& payload = "") {
    EXPECT_TRUE(connection_->send(RawMessage{type, Bytes{payload}, Date::now()}));
  }

  /// Whether the app has ended the link (what it sent before is passed over).
  bool isOver() {
    while (!next().type.empty()) {
    }
    return true;
  }

  CompanionConnection& connection() { return *connection_; }

 private:
  std::unique_ptr<CompanionConnection> connection_;
};

/// A client of the control channel.
class ControlPeer {
 public:
  explicit ControlPeer(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
    std::signal(SIGPIPE, SIG_IGN);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), std::min(path.size(), sizeof address.sun_path - 1));
    isConnected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  }
  ~ControlPeer() { ::close(socket_); }
  ControlPeer(const ControlPeer&) = delete;
  ControlPeer& operator=(const ControlPeer&) = delete;

  bool isConnected() const { return isConnected_; }

  void write(std::string_view bytes) { EXPECT_TRUE(tryToWrite(bytes)); }

  /// False when the app has hung up.
  bool tryToWrite(std::string_view bytes) {
    return ::send(socket_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
  }

  /// The next line, without its end; "" when the channel has ended.
  std::string line() {
    while (buffer_.find('\n') == std::string::npos) {
      char chunk[4096];
      const ssize_t count = ::recv(socket_, chunk, sizeof chunk, 0);
      if (count <= 0) return {};
      buffer_.append(chunk, static_cast<std::size_t>(count));
    }
    const auto end = buffer_.find('\n');
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    return line;
  }

  std::string says(const std::string& command) {
    write(command + "\n");
    return line();
  }

 private:
  int socket_;
  bool isConnected_ = false;
  std::string buffer_;
};

}  // namespace wyvlet::sample
