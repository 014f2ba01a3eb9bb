#include "HTTP/WorkerPool.h"

#include <system_error>
#include <thread>
#include <utility>

#include "Support/Memory.h"
#include "Support/Threads.h"

namespace wyvlet {

WorkerPool::WorkerPool(std::size_t mostThreads, std::chrono::steady_clock::duration idleLife)
    : mostThreads_(mostThreads), idleLife_(idleLife) {}

WorkerPool::~WorkerPool() {
  MutexLock lock(mutex_);
  ending_ = true;
  waiting_.clear();
  workCame_.notifyAll();
  while (threads_ > 0) workerEnded_.wait(mutex_);
}

void WorkerPool::submit(std::function<void()> work) {
  {
    MutexLock lock(mutex_);
    waiting_.push_back(std::move(work));
    if (waiting_.size() <= idle_) {
      workCame_.notifyOne();
      return;
    }
    if (threads_ == mostThreads_) return;
    try {
      // Detached, because they come and go; the count tells the destructor when all are gone.
      std::thread([this] { runWorker(); }).detach();
      ++threads_;
      return;
    } catch (const std::system_error&) {
      if (threads_ > 0) return;
      work = std::move(waiting_.back());
      waiting_.pop_back();
    }
  }
  work();
}

void WorkerPool::runWorker() {
  nameThread("wyvlet-http-job");
  while (const auto work = nextWork()) work();
  returnFreedMemory();
}

std::function<void()> WorkerPool::nextWork() {
  MutexLock lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() + idleLife_;
  ++idle_;
  while (waiting_.empty() && !ending_ && workCame_.waitUntil(mutex_, deadline)) {
  }
  --idle_;
  if (waiting_.empty()) {
    --threads_;
    workerEnded_.notifyAll();
    return nullptr;
  }
  auto work = std::move(waiting_.front());
  waiting_.pop_front();
  return work;
}

}  // namespace wyvlet
