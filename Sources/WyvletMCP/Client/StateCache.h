#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Client/CacheSnapshot.h"
#include "Support/Mutex.h"
#include "WyvletShared/FullSync.h"
#include "WyvletShared/UUID.h"

namespace wyvlet {

/// What is known of the app: replaced by a full sync, added to by events. Written by the client
/// queue, read by any thread. Adding a record costs the same however long the list is: the list that
/// readers share is made anew only when somebody reads after a change.
class StateCache {
 public:
  /// How many requests and how many log entries events may pile up between two syncs.
  static constexpr std::size_t kMaxStreamed = 500;
  /// How much, measured as it came, events may pile up in each of the lists of requests, log entries
  /// and WebSocket connections between two syncs. No app comes near it unless it means harm.
  static constexpr std::size_t kMaxStreamedBytes = std::size_t{256} << 20;

  /// A full sync made ready to take the cache's place at once.
  class Contents;

  StateCache();
  ~StateCache();

  /// Turns a sync into contents, moving every record; the expensive half of a sync, free of locks.
  static std::shared_ptr<Contents> prepare(LenientSyncPayload sync);

  /// Exchanges the contents; afterwards `contents` holds the former ones, to be dropped at leisure.
  void swap(Contents& contents) EXCLUDES(mutex_);

  /// Adds what an event of `bytes` brought; the oldest go when it is one too many or too much.
  void append(TransferableNetworkRequest request, std::size_t bytes) EXCLUDES(mutex_);
  void append(TransferableLogEntry entry, std::size_t bytes) EXCLUDES(mutex_);
  /// Replaces the first connection with the same id in its place, or adds one, however many there are.
  /// False, and nothing changes, when it would be too much.
  [[nodiscard]] bool upsert(TransferableWSConnection connection, std::size_t bytes) EXCLUDES(mutex_);
  void replaceEnvironments(EnvironmentStatePayload state) EXCLUDES(mutex_);
  void replaceQAResults(std::vector<TransferableQAResult> results) EXCLUDES(mutex_);
  void setCurrentScreen(std::string screen) EXCLUDES(mutex_);

  /// Everything but `isConnected`, which is the link's.
  CacheSnapshot snapshot() const EXCLUDES(mutex_);
  std::string currentScreen() const EXCLUDES(mutex_);

 private:
  mutable Mutex mutex_;
  std::unique_ptr<Contents> contents_ GUARDED_BY(mutex_);
};

}  // namespace wyvlet
