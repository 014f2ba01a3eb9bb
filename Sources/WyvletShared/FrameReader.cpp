#include "WyvletShared/FrameReader.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace wyvlet {
namespace {

constexpr std::size_t kHeaderBytes = 4;

/// Room kept between frames: enough for a burst of small events in one read.
constexpr std::size_t kIdleCapacity = std::size_t{64} << 10;

/// The most that is reserved for a body of which nothing has arrived yet.
constexpr std::size_t kFirstReservation = std::size_t{256} << 10;

std::uint32_t readLength(const char* header) {
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < kHeaderBytes; ++i) {
    length = (length << 8) | static_cast<unsigned char>(header[i]);
  }
  return length;
}

}  // namespace

FrameHeader frameHeader(std::size_t bodyBytes) {
  if (bodyBytes > std::numeric_limits<std::uint32_t>::max()) {
    std::fprintf(stderr, "[wyvlet] A frame of %zu bytes does not fit its header\n", bodyBytes);
    std::abort();
  }
  return {static_cast<char>(bodyBytes >> 24), static_cast<char>(bodyBytes >> 16),
          static_cast<char>(bodyBytes >> 8), static_cast<char>(bodyBytes)};
}

std::string encodeFrame(std::string_view body) {
  const FrameHeader header = frameHeader(body.size());
  std::string frame;
  frame.reserve(header.size() + body.size());
  frame.append(header.data(), header.size());
  frame += body;
  return frame;
}

FrameReader::FrameReader(std::uint32_t maxBodyBytes) : maxBodyBytes_(maxBodyBytes) {}

std::span<char> FrameReader::writableSpace() {
  const std::size_t kept = end_ - begin_;
  if (begin_ != 0) {
    if (kept != 0) std::memmove(buffer_.get(), buffer_.get() + begin_, kept);
    begin_ = 0;
    end_ = kept;
  }
  std::size_t wanted = std::max(kIdleCapacity, 2 * kept);
  if (insideBody()) {
    // A body on its way gets room as it arrives, so that a header which announces 50 MB and sends
    // nothing costs no more than the first reservation.
    const std::size_t whole = kHeaderBytes + readLength(buffer_.get());
    if (kept < whole) wanted = std::max(kIdleCapacity, std::min(whole, std::max(kFirstReservation, wanted)));
  }
  const bool outgrown = capacity_ > wanted && wanted == kIdleCapacity;
  if (capacity_ < wanted || outgrown) resize(wanted);
  return {buffer_.get() + end_, capacity_ - end_};
}

void FrameReader::resize(std::size_t capacity) {
  void* const resized = std::realloc(buffer_.get(), capacity);
  if (resized == nullptr) throw std::bad_alloc();
  static_cast<void>(buffer_.release());  // NOLINT(bugprone-unused-return-value): realloc took it over
  buffer_.reset(static_cast<char*>(resized));
  capacity_ = capacity;
}

void FrameReader::wrote(std::size_t count) {
  assert(count <= capacity_ - end_);
  end_ += count;
}

FrameReader::Item FrameReader::next() {
  const std::size_t available = end_ - begin_;
  if (available < kHeaderBytes) return {};
  const std::uint32_t length = readLength(buffer_.get() + begin_);
  if (length == 0 || length > maxBodyBytes_) {
    begin_ += kHeaderBytes;
    return {.kind = Kind::BadLength, .body = {}, .length = length};
  }
  if (available - kHeaderBytes < length) return {};
  const std::string_view body(buffer_.get() + begin_ + kHeaderBytes, length);
  begin_ += kHeaderBytes + length;
  return {.kind = Kind::Frame, .body = body, .length = length};
}

bool FrameReader::insideBody() const {
  if (end_ - begin_ < kHeaderBytes) return false;
  const std::uint32_t length = readLength(buffer_.get() + begin_);
  return length != 0 && length <= maxBodyBytes_;
}

}  // namespace wyvlet
