#include "WyvletSampleApp/AppLoop.h"

#include <algorithm>

namespace wyvlet::sample {

AppLoop::AppLoop(double headStart) : startWall_(Date::now().secondsSince1970 - headStart) {}

bool AppLoop::post(Task task) {
  MutexLock lock(mutex_);
  if (stopped_) return false;
  ready_.push_back(std::move(task));
  wakeUp_.notifyOne();
  return true;
}

void AppLoop::after(double seconds, Task task) {
  const double due = now() + std::max(seconds, 0.0);
  MutexLock lock(mutex_);
  if (!stopped_) timers_.emplace(due, std::move(task));
}

double AppLoop::now() const {
  if (!live_) return now_;
  return now_ + std::chrono::duration<double>(Steady::now() - liveSince_).count();
}

Date AppLoop::wallTime() const {
  // The live clock is the wall's own: a laptop that slept would otherwise lag behind for good.
  return live_ ? Date::now() : Date{startWall_ + now_};
}

AppLoop::Steady::time_point AppLoop::steadyTimeOf(double loopTime) const {
  return liveSince_ +
         std::chrono::duration_cast<Steady::duration>(std::chrono::duration<double>(loopTime - now_));
}

void AppLoop::run() {
  liveSince_ = Steady::now();
  live_ = true;
  while (true) {
    Task task;
    {
      MutexLock lock(mutex_);
      while (!task && !stopped_) {
        // Timers first: a flood of posted tasks must not delay an answer that is due.
        if (!timers_.empty() && timers_.begin()->first <= now()) {
          task = std::move(timers_.begin()->second);
          timers_.erase(timers_.begin());
        } else if (!ready_.empty()) {
          task = std::move(ready_.front());
          ready_.pop_front();
        } else if (!timers_.empty()) {
          wakeUp_.waitUntil(mutex_, steadyTimeOf(timers_.begin()->first));
        } else {
          wakeUp_.wait(mutex_);
        }
      }
      if (stopped_) break;
    }
    task();
  }
  std::deque<Task> ready;
  std::multimap<double, Task> timers;
  {
    MutexLock lock(mutex_);
    ready.swap(ready_);
    timers.swap(timers_);
  }
}

void AppLoop::stop() {
  MutexLock lock(mutex_);
  stopped_ = true;
  wakeUp_.notifyAll();
}

void AppLoop::advance(double seconds) {
  const double end = now_ + seconds;
  while (true) {
    Task task;
    {
      MutexLock lock(mutex_);
      if (!ready_.empty()) {
        task = std::move(ready_.front());
        ready_.pop_front();
      } else if (!timers_.empty() && timers_.begin()->first <= end) {
        now_ = std::max(now_, timers_.begin()->first);
        task = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
      }
    }
    if (!task) break;
    task();
  }
  now_ = end;
}

}  // namespace wyvlet::sample
