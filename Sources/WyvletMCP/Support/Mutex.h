#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define WYVLET_ANNOTATE(x) __attribute__((x))
#else
#define WYVLET_ANNOTATE(x)
#endif

/// Says which mutex guards a member; Clang checks it.
#define GUARDED_BY(mutex) WYVLET_ANNOTATE(guarded_by(mutex))
/// Says that a function must be called with the mutex held.
#define REQUIRES(...) WYVLET_ANNOTATE(requires_capability(__VA_ARGS__))
/// Says that a function must be called without the mutex.
#define EXCLUDES(...) WYVLET_ANNOTATE(locks_excluded(__VA_ARGS__))

namespace wyvlet {

/// A mutex that Clang's thread-safety analysis understands.
class WYVLET_ANNOTATE(capability("mutex")) Mutex {
 public:
  void lock() WYVLET_ANNOTATE(acquire_capability()) { mutex_.lock(); }
  void unlock() WYVLET_ANNOTATE(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a `Mutex` for a scope.
class WYVLET_ANNOTATE(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) WYVLET_ANNOTATE(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~MutexLock() WYVLET_ANNOTATE(release_capability()) { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

/// A condition of a `Mutex`; waits by the steady clock.
class Condition {
 public:
  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

  /// Waits until notified; spurious returns happen, so callers loop over their predicate.
  void wait(Mutex& mutex) REQUIRES(mutex) { condition_.wait(mutex); }

  /// Waits until notified or until `deadline`; false once the deadline has passed.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) REQUIRES(mutex) {
    return condition_.wait_until(mutex, deadline) == std::cv_status::no_timeout;
  }

 private:
  std::condition_variable_any condition_;
};

}  // namespace wyvlet
