#include "Unit/Client/LogCapture.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace wyvlet::test {
namespace {

constexpr std::string_view kMark = "\x01\n";

}  // namespace

LogCapture::LogCapture() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) std::abort();
  reader_ = ends[0];
  saved_ = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  ::fcntl(reader_, F_SETFD, FD_CLOEXEC);
  ::dup2(ends[1], STDERR_FILENO);
  ::close(ends[1]);
  thread_ = std::thread([this] { read(); });
}

LogCapture::~LogCapture() {
  // The last writer goes with this, which ends the reader.
  ::dup2(saved_, STDERR_FILENO);
  thread_.join();
  ::close(saved_);
  ::close(reader_);
}

void LogCapture::read() {
  std::string rest;
  std::array<char, 65536> chunk{};
  for (;;) {
    const auto size = ::read(reader_, chunk.data(), chunk.size());
    if (size <= 0) return;
    rest.append(chunk.data(), static_cast<std::size_t>(size));
    const std::lock_guard lock(mutex_);
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = rest.find('\n', begin)) != std::string::npos; begin = end + 1) {
      auto line = rest.substr(begin, end - begin);
      if (line + '\n' == kMark) {
        ++marksRead_;
      } else if (line.starts_with("[wyvlet] ")) {
        lines_.push_back(std::move(line));
      } else {
        line += '\n';
        if (::write(saved_, line.data(), line.size()) < 0) std::abort();
      }
    }
    rest.erase(0, begin);
    grown_.notify_all();
  }
}

bool LogCapture::waitFor(std::string_view line, std::size_t times) {
  std::unique_lock lock(mutex_);
  return grown_.wait_for(lock, std::chrono::duration<double>(kPatience), [&] {
    return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line)) >= times;
  });
}

std::string LogCapture::waitForPrefix(std::string_view prefix) {
  std::unique_lock lock(mutex_);
  std::string found;
  grown_.wait_for(lock, std::chrono::duration<double>(kPatience), [&] {
    const auto at = std::find_if(lines_.begin(), lines_.end(),
                                 [&](const std::string& line) { return line.starts_with(prefix); });
    if (at != lines_.end()) found = *at;
    return at != lines_.end();
  });
  return found;
}

std::vector<std::string> LogCapture::lines() {
  std::unique_lock lock(mutex_);
  const auto mark = ++marksWritten_;
  if (::write(STDERR_FILENO, kMark.data(), kMark.size()) < 0) std::abort();
  grown_.wait_for(lock, std::chrono::duration<double>(kPatience), [&] { return marksRead_ >= mark; });
  return lines_;
}

std::size_t LogCapture::count(std::string_view line) {
  const auto all = lines();
  return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
}

std::size_t LogCapture::countPrefix(std::string_view prefix) {
  const auto all = lines();
  return static_cast<std::size_t>(std::count_if(
      all.begin(), all.end(), [&](const std::string& line) { return line.starts_with(prefix); }));
}

}  // namespace wyvlet::test
