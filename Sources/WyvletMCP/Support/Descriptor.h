#pragma once

#include <unistd.h>

#include <utility>

namespace wyvlet {

/// Owns one file descriptor; -1 is none. One thread at a time.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  int fd() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

  /// Is none afterwards. False on an error: some file systems report a failed write only here.
  bool close() { return fd_ < 0 || ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_ = -1;
};

}  // namespace wyvlet
