#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Support/Mutex.h"
#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/CompanionMessage.h"

namespace wyvlet::sample {

/// The app's link to one server: a thread that reads and one that writes, so that a server which
/// stops reading never holds up the app. Owned by the companion server.
class CompanionLink {
 public:
  struct Callbacks {
    /// A message came in. Called on the reading thread; the next one waits until it returns.
    std::function<void(ReceivedMessage)> received;
    /// The link is over and nothing more will be received. The last call, on the reading thread.
    std::function<void()> ended;
  };

  CompanionLink(std::unique_ptr<CompanionConnection> connection, Callbacks callbacks);

  /// Ends the link and waits for its threads, so for a call to `received` as well.
  ~CompanionLink();
  CompanionLink(const CompanionLink&) = delete;
  CompanionLink& operator=(const CompanionLink&) = delete;

  /// Queues a frame body; shared, because one event goes to every server. Never blocks. A server
  /// that leaves 64 MiB unread loses its link. Any thread.
  void send(std::shared_ptr<const std::string> body) EXCLUDES(mutex_);

  /// Ends the link; `ended` follows. Returns at once. Any thread.
  void end() EXCLUDES(mutex_);

  /// Whether everything queued has been handed to the network. Any thread.
  bool isDrained() const EXCLUDES(mutex_);

 private:
  void read();
  void write() EXCLUDES(mutex_);

  const std::unique_ptr<CompanionConnection> connection_;
  const Callbacks callbacks_;
  mutable Mutex mutex_;
  Condition changed_;
  std::deque<std::shared_ptr<const std::string>> queue_ GUARDED_BY(mutex_);
  std::size_t queuedBytes_ GUARDED_BY(mutex_) = 0;  // the body now being written included
  bool ending_ GUARDED_BY(mutex_) = false;
  std::thread reader_;
  std::thread writer_;
};

}  // namespace wyvlet::sample
