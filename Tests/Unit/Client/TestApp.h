#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/FullSync.h"

namespace wyvlet::test {

/// A companion app inside the test's process, on a free loopback port. What it sends goes to the
/// newest link.
class TestApp {
 public:
  struct Command {
    std::string type;
    std::string payload;
    std::size_t link = 0;  // which link brought it, counted from 1
  };

  /// Greets every link with `greeting`, or with nothing.
  explicit TestApp(std::optional<LenientSyncPayload> greeting = LenientSyncPayload());
  ~TestApp();
  TestApp(const TestApp&) = delete;
  TestApp& operator=(const TestApp&) = delete;

  std::uint16_t port() const { return listener_->port(); }

  /// Calls `answer` for each command of that type, on the link's thread.
  void onCommand(std::string type, std::function<void()> answer);

  template <class Record>
  bool sends(CompanionMessageType type, const Record& record) {
    return sendsPayload(type, encodeRecord(record));
  }
  bool sendsPayload(CompanionMessageType type, std::string payload);
  /// An envelope with a type outside the registry.
  bool sendsFree(std::string type, std::string payload);
  bool sendsBytes(std::string_view bytes);

  /// Waits for the `count`th link.
  bool waitForLink(std::size_t count = 1);
  /// Waits for the next command of that type that was not yet taken.
  std::optional<Command> waitForCommand(std::string_view type);
  /// What arrived and was not taken.
  std::vector<Command> untaken();
  /// Ends the newest link and waits until its thread has ended.
  void closeLink();
  /// Waits until the other side has ended the `number`th link.
  bool waitForEnd(std::size_t number = 1);

 private:
  struct Link {
    std::unique_ptr<CompanionConnection> connection;
    bool hasEnded = false;
  };

  void accept();
  void serve(std::size_t number, CompanionConnection& connection);
  CompanionConnection* newest();

  std::unique_ptr<CompanionListener> listener_;
  const std::optional<LenientSyncPayload> greeting_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Link> links_;
  std::map<std::string, std::function<void()>> answers_;
  std::vector<Command> commands_;
  std::vector<std::thread> threads_;  // one for each link
  std::thread acceptor_;
};

/// A frame that holds one registered message, as an app sends it.
std::string frameOf(CompanionMessageType type, std::string payload);

/// A record with an identity of its own and a text to know it by.
TransferableNetworkRequest request(const std::string& path);
TransferableLogEntry logEntry(const std::string& message);

}  // namespace wyvlet::test
