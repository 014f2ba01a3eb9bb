#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/FullSync.h"

namespace wyvlet::test {

/// An app at the other end of a real link: sends one full sync, records every command in order, and
/// answers those that it was given an answer for. One link, on a thread of its own.
class PeerApp {
 public:
  /// `answers` goes from the type of a command to the type and payload of its answer.
  using Answers = std::map<std::string, std::pair<std::string, std::string>>;

  explicit PeerApp(LenientSyncPayload sync, Answers answers = {});
  ~PeerApp();
  PeerApp(const PeerApp&) = delete;
  PeerApp& operator=(const PeerApp&) = delete;

  std::uint16_t port() const { return listener_->port(); }

  /// Waits for the first `count` commands and returns them, each as its type, a space and its payload.
  std::vector<std::string> waitForCommands(std::size_t count);

 private:
  void serve(const LenientSyncPayload& sync, const Answers& answers);

  std::unique_ptr<CompanionListener> listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::shared_ptr<CompanionConnection> link_;
  std::vector<std::string> commands_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace wyvlet::test
