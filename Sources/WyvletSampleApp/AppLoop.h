#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Support/Mutex.h"
#include "WyvletShared/Values.h"

namespace wyvlet::sample {

/// The app's main thread as an object: it runs tasks and timers one at a time, and everything that
/// makes up the app lives on it without locks. The threads of the links and of the control channel
/// only post to it.
///
/// Time comes from the loop, so that the launch of the app and its tests pass in no time at all:
/// before `run()`, `advance()` moves the clock and runs what falls due; in `run()` the clock is the
/// steady one.
class AppLoop {
 public:
  using Task = std::function<void()>;

  /// `headStart`: by how many seconds the app pretends to have been started earlier. Advancing by
  /// as much before `run()` gives the launch ordinary, past times.
  explicit AppLoop(double headStart = 0);

  /// Runs `task` on the loop, after the tasks posted before. Any thread. False once the loop has
  /// been stopped; the task is then dropped.
  bool post(Task task) EXCLUDES(mutex_);

  /// Runs `task` on the loop `seconds` from now; timers of the same moment run in the order in which
  /// they were set. Loop thread only.
  void after(double seconds, Task task) EXCLUDES(mutex_);

  /// Seconds on the loop's clock. Loop thread only.
  double now() const;

  /// The time of day that belongs to `now()`. Loop thread only.
  Date wallTime() const;

  /// Runs `work` on the loop and waits for its value; nothing when the loop has stopped. Any thread
  /// but the loop's own.
  template <class Work>
  std::optional<std::invoke_result_t<Work>> call(Work work) EXCLUDES(mutex_) {
    using Value = std::invoke_result_t<Work>;
    auto promise = std::make_shared<std::promise<Value>>();
    auto future = promise->get_future();
    if (!post([promise, work = std::move(work)]() mutable { promise->set_value(work()); })) return {};
    promise.reset();
    try {
      return future.get();
    } catch (const std::future_error&) {  // the loop ended and dropped the task, promise and all
      return {};
    }
  }

  /// Runs tasks until `stop()`, then drops what is left. The calling thread is the loop's thread.
  void run() EXCLUDES(mutex_);

  /// Ends `run()` after the task in hand. Any thread.
  void stop() EXCLUDES(mutex_);

  /// Moves the clock by `seconds` and runs everything that falls due on the way. Only while nobody
  /// is in `run()`.
  void advance(double seconds) EXCLUDES(mutex_);

 private:
  using Steady = std::chrono::steady_clock;

  Steady::time_point steadyTimeOf(double loopTime) const;

  mutable Mutex mutex_;
  Condition wakeUp_;
  std::deque<Task> ready_ GUARDED_BY(mutex_);
  std::multimap<double, Task> timers_ GUARDED_BY(mutex_);
  bool stopped_ GUARDED_BY(mutex_) = false;

  // The clock; touched by the loop's thread only.
  double startWall_;
  double now_ = 0;
  bool live_ = false;
  Steady::time_point liveSince_;
};

}  // namespace wyvlet::sample
