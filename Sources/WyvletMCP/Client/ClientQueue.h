#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "Support/Mutex.h"

namespace boost::asio {
class io_context;
}

namespace wyvlet {

/// The one serial queue on which every network callback of the client runs and from which alone the
/// cache is written. Its thread, "wyvlet-client", starts with the first piece of work and ends with
/// the object. Work put on it must never block. Any thread may add work, in order.
class ClientQueue {
 public:
  ClientQueue();
  /// Lets the running piece of work finish and forgets the others. Not from the queue itself.
  ~ClientQueue();
  ClientQueue(const ClientQueue&) = delete;
  ClientQueue& operator=(const ClientQueue&) = delete;

  void post(std::function<void()> work);
  /// Adds the work once `wait` is over.
  void postAfter(std::chrono::milliseconds wait, std::function<void()> work);

  /// What sockets and timers of the queue are made with. Their callbacks run once something has
  /// been posted.
  boost::asio::io_context& context() { return *context_; }

 private:
  void run();

  std::unique_ptr<boost::asio::io_context> context_;
  Mutex mutex_;
  std::thread thread_ GUARDED_BY(mutex_);
  bool isEnding_ GUARDED_BY(mutex_) = false;  // the last piece of work may still add some
};

}  // namespace wyvlet
