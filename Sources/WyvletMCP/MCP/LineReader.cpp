#include "MCP/LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace wyvlet {
namespace {

/// A buffer that one huge line has blown up beyond this is given back.
constexpr std::size_t kKeptBytes = std::size_t{1} << 20;

/// Waits for a descriptor that somebody has made non-blocking.
void waitFor(int descriptor, short events) {
  pollfd ready{descriptor, events, 0};
  ::poll(&ready, 1, -1);
}

/// Reads some bytes into the end of `buffer`; false at the end of input.
bool readMore(int descriptor, std::string& buffer) {
  constexpr std::size_t kChunk = std::size_t{64} << 10;
  char chunk[kChunk];
  for (;;) {
    const ssize_t count = ::read(descriptor, chunk, kChunk);
    if (count > 0) {
      buffer.append(chunk, static_cast<std::size_t>(count));
      return true;
    }
    if (count == 0) return false;
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      waitFor(descriptor, POLLIN);
    } else if (errno != EINTR) {
      return false;
    }
  }
}

}  // namespace

std::optional<std::string> LineReader::next() {
  bool tooLong = false;
  std::size_t searched = begin_;
  for (;;) {
    if (const auto end = buffer_.find('\n', searched); end != std::string::npos) {
      std::string line = buffer_.substr(begin_, end - begin_);
      begin_ = end + 1;
      if (!tooLong && line.size() <= maxLineBytes_) return line;
      tooLong = false;
      searched = begin_;
      continue;
    }
    buffer_.erase(0, begin_);
    begin_ = 0;
    if (buffer_.size() > maxLineBytes_) {
      tooLong = true;
      buffer_.clear();
    }
    if (buffer_.empty() && buffer_.capacity() > kKeptBytes) buffer_.shrink_to_fit();
    searched = buffer_.size();
    if (!readMore(descriptor_, buffer_)) {
      if (buffer_.empty() || tooLong) return std::nullopt;
      return std::exchange(buffer_, {});
    }
  }
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      waitFor(descriptor, POLLOUT);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace wyvlet
