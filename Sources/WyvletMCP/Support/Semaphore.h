#pragma once

#include <chrono>
#include <cstdint>

#include "Support/Mutex.h"

namespace wyvlet {

/// A counting semaphore. A signal that nobody waits for stays counted and satisfies the next wait:
/// the companion protocol relies on it, since an answer that comes too late ends the next wait for one
/// of its kind. Built on a condition variable because timed acquires of libstdc++ 12's semaphore
/// can lose a wake-up. Any thread.
class Semaphore {
 public:
  void signal() EXCLUDES(mutex_);

  /// Blocks until a signal can be taken or `timeoutSeconds` have passed on the steady clock; false
  /// on timeout. A timeout of zero or less only looks.
  bool wait(double timeoutSeconds) EXCLUDES(mutex_);

 private:
  Mutex mutex_;
  Condition signalled_;
  std::uint64_t count_ GUARDED_BY(mutex_) = 0;
};

/// The steady clock's time `seconds` from now, safe for any finite or infinite value.
std::chrono::steady_clock::time_point deadlineAfter(double seconds);

}  // namespace wyvlet
