#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace wyvlet::test {

/// How long a test waits for something that must come; long, because sanitizers are slow.
inline constexpr double kPatience = 30.0;

/// Stands in for standard error while it lives, and reads on so that no line is ever dropped. What
/// does not come from the client, such as a sanitizer's report, is passed on.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Waits until `line` has been written `times` times, whole and without its line feed.
  bool waitFor(std::string_view line, std::size_t times = 1);
  /// Waits until a line that begins so has been written, and returns it; empty when none comes.
  std::string waitForPrefix(std::string_view prefix);

  /// What has been written when the call begins; nothing of that is missing.
  std::vector<std::string> lines();
  std::size_t count(std::string_view line);
  std::size_t countPrefix(std::string_view prefix);

 private:
  void read();

  int saved_ = -1;
  int reader_ = -1;
  std::mutex mutex_;
  std::condition_variable grown_;
  std::vector<std::string> lines_;
  std::size_t marksWritten_ = 0;  // lines by which the capture sees how far it has read
  std::size_t marksRead_ = 0;
  std::thread thread_;
};

}  // namespace wyvlet::test
