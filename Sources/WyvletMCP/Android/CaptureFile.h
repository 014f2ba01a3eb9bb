#pragma once

#include <boost/json/fwd.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Support/Files.h"
#include "Support/Mutex.h"

namespace wyvlet {

/// A parsed capture, shared with the cache: it never changes and stays valid as long as it is held.
using ParsedCapture = std::shared_ptr<const boost::json::object>;

/// The capture that `text` holds; null for anything but one JSON object. Pure.
ParsedCapture parseCapture(std::string_view text);

/// Reads the bridge's capture, parsing each state of the file once: a capture may hold tens of
/// megabytes and is asked for by every tool call. Any thread; the first of several that find a new
/// state parses it while the others wait for the result.
class CaptureFile {
 public:
  /// A larger file counts as missing.
  static constexpr std::uint64_t kMaxBytes = std::uint64_t{256} << 20;

  /// The capture now at `path`. Null when the file is missing, no regular file or no JSON object; one
  /// caught in the middle of a write is read again by the next call. `now` is the time of the call.
  ParsedCapture read(const std::string& path, std::chrono::system_clock::time_point now) EXCLUDES(mutex_);

  /// How many times a file was parsed.
  std::uint64_t parseCount() const EXCLUDES(mutex_);

 private:
  mutable Mutex mutex_;
  std::string path_ GUARDED_BY(mutex_);                // where the capture below was read
  std::optional<FileStamp> stamp_ GUARDED_BY(mutex_);  // the state it belongs to; absent: read again
  ParsedCapture capture_ GUARDED_BY(mutex_);
  std::uint64_t parseCount_ GUARDED_BY(mutex_) = 0;
};

}  // namespace wyvlet
