#include "Support/Log.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>

#include "Support/Mutex.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

constexpr std::size_t kMaxLineBytes = 4096;

/// The one writer of standard error.
class ErrorOutput {
 public:
  void write(std::string_view tag, std::string_view text) EXCLUDES(mutex_) {
    MutexLock lock(mutex_);
    if (!flushRest()) {
      ++dropped_;
      return;
    }
    if (dropped_ > 0) {
      compose(kClientTag, std::to_string(dropped_) + " log lines were dropped: nobody read standard error");
      if (!send()) {
        ++dropped_;
        return;
      }
      dropped_ = 0;
    }
    compose(tag, text);
    if (!send()) ++dropped_;
  }

 private:
  void compose(std::string_view tag, std::string_view text) REQUIRES(mutex_) {
    line_.assign(tag);
    line_ += prefixBytes(text, kMaxLineBytes - 1 - tag.size());
    std::replace_if(
        line_.begin(), line_.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; },
        ' ');
    line_ += '\n';
  }

  /// True when the line is on its way, the rest of it if need be kept for later.
  bool send() REQUIRES(mutex_) {
    const auto written = writeWithoutBlocking(line_);
    if (written <= 0) return false;
    rest_.assign(line_, static_cast<std::size_t>(written));
    return true;
  }

  /// A socket may take part of a line; the rest goes out first, or the next line would be glued to it.
  bool flushRest() REQUIRES(mutex_) {
    if (rest_.empty()) return true;
    const auto written = writeWithoutBlocking(rest_);
    if (written > 0) rest_.erase(0, static_cast<std::size_t>(written));
    return rest_.empty();
  }

  /// Descriptor flags are shared with whoever started us, so O_NONBLOCK is not ours to set. A pipe or
  /// terminal that polls as writable takes at least PIPE_BUF bytes at once; a socket can be told.
  static ssize_t writeWithoutBlocking(std::string_view bytes) {
#if defined(MSG_NOSIGNAL)
    constexpr int kFlags = MSG_DONTWAIT | MSG_NOSIGNAL;
#else
    constexpr int kFlags = MSG_DONTWAIT;
#endif
    const ssize_t sent = ::send(STDERR_FILENO, bytes.data(), bytes.size(), kFlags);
    if (sent >= 0 || errno != ENOTSOCK) return sent;
    pollfd ready{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0) return -1;
    return ::write(STDERR_FILENO, bytes.data(), bytes.size());
  }

  Mutex mutex_;
  std::string line_ GUARDED_BY(mutex_);
  std::string rest_ GUARDED_BY(mutex_);
  std::uint64_t dropped_ GUARDED_BY(mutex_) = 0;
};

}  // namespace

void logLine(std::string_view tag, std::string_view text) {
  // Never destroyed: other threads may still log while the process exits.
  static auto& output = *new ErrorOutput;
  output.write(tag, text);
}

}  // namespace wyvlet
