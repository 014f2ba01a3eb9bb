#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>

#include "Support/Mutex.h"

namespace wyvlet {

/// Threads that run blocking work: one more whenever none is free, up to a limit; beyond it the work
/// waits its turn. A thread without work ends after a while, so that a quiet server keeps none. Any
/// thread may submit.
class WorkerPool {
 public:
  WorkerPool(std::size_t mostThreads, std::chrono::steady_clock::duration idleLife);
  /// Drops the work that has not begun and waits for the rest.
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// `work` must not throw. Runs it on the caller's own thread only when there is no worker at all and
  /// the system refuses to make one.
  void submit(std::function<void()> work) EXCLUDES(mutex_);

 private:
  void runWorker() EXCLUDES(mutex_);
  /// The next piece of work for a worker; nothing when the worker shall end, which is then noted.
  std::function<void()> nextWork() EXCLUDES(mutex_);

  const std::size_t mostThreads_;
  const std::chrono::steady_clock::duration idleLife_;
  Mutex mutex_;
  Condition workCame_;
  Condition workerEnded_;
  std::deque<std::function<void()>> waiting_ GUARDED_BY(mutex_);
  std::size_t threads_ GUARDED_BY(mutex_) = 0;
  std::size_t idle_ GUARDED_BY(mutex_) = 0;
  bool ending_ GUARDED_BY(mutex_) = false;
};

}  // namespace wyvlet
