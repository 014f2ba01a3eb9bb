#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Android/UIDump.h"
#include "Support/Mutex.h"
#include "Support/ProcessRunner.h"

namespace wyvlet {

/// What is on the Android device's screen, by the last dump; one for the process, whatever the
/// device. Any thread.
class AndroidScreen {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  using Nodes = std::shared_ptr<const std::vector<UINode>>;

  explicit AndroidScreen(ProcessRunner& runner, Clock clock = &std::chrono::steady_clock::now);

  /// The labelled nodes of a dump made less than three seconds ago and after the last input; null
  /// when the device gave none. Callers take turns, because a device makes one dump at a time: the
  /// next in line mostly gets the dump it waited for. Blocks for two adb commands, without limit.
  Nodes read(const std::optional<std::string>& serial) EXCLUDES(turn_, mutex_);

  /// Makes the next `read` ask the device; a dump that is being made now is not kept.
  void forget() EXCLUDES(mutex_);

 private:
  Nodes dump(const std::optional<std::string>& serial);

  ProcessRunner& runner_;
  Clock clock_;
  Mutex turn_;  // held while the device is asked; taken before `mutex_`
  Mutex mutex_;
  Nodes nodes_ GUARDED_BY(mutex_);
  std::chrono::steady_clock::time_point madeAt_ GUARDED_BY(mutex_);
  std::uint64_t inputs_ GUARDED_BY(mutex_) = 0;
};

}  // namespace wyvlet
