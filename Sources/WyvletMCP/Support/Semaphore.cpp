#include "Support/Semaphore.h"

#include <algorithm>
#include <cmath>

namespace wyvlet {

void Semaphore::signal() {
  MutexLock lock(mutex_);
  ++count_;
  signalled_.notifyOne();
}

bool Semaphore::wait(double timeoutSeconds) {
  const auto deadline = deadlineAfter(timeoutSeconds);
  MutexLock lock(mutex_);
  while (count_ == 0) {
    if (!signalled_.waitUntil(mutex_, deadline) && count_ == 0) return false;
  }
  --count_;
  return true;
}

std::chrono::steady_clock::time_point deadlineAfter(double seconds) {
  // A century is as good as for ever and keeps the arithmetic inside the clock's range.
  constexpr double kForever = 100.0 * 365 * 24 * 3600;
  const double bounded = std::isnan(seconds) ? 0.0 : std::clamp(seconds, 0.0, kForever);
  return std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                std::chrono::duration<double>(bounded));
}

}  // namespace wyvlet
