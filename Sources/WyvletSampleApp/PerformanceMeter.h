#pragma once

#include <cstdint>
#include <deque>
#include <string_view>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {

/// Measures how the app runs: a display tick of 60 a second on the app's own loop, so that a task
/// that blocks the loop shows as dropped frames, and the memory of the process. Loop thread only;
/// the loop must outlive it.
class PerformanceMeter {
 public:
  explicit PerformanceMeter(AppLoop& loop) : loop_(loop) {}

  void start();
  PerfSnapshotResponse snapshot(std::string_view screen) const;

 private:
  void tick();

  AppLoop& loop_;
  double startedAt_ = 0;
  std::uint64_t ticks_ = 0;
  std::deque<double> recent_;  // the ticks of the last second
};

}  // namespace wyvlet::sample
