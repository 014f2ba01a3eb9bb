#include "Android/CaptureFile.h"

#include <boost/json.hpp>
#include <utility>

#include "WyvletShared/RecordCodec.h"

namespace wyvlet {
namespace {

namespace json = boost::json;

/// Whether every later write must give the file another stamp. Stamps advance in steps: by the tick
/// of the kernel, or by whole seconds where the file system keeps no fractions. A file read within
/// the step of its last change may change once more without showing it.
bool isSettled(const FileStamp& stamp, std::chrono::system_clock::time_point now) {
  using std::chrono::nanoseconds;
  constexpr nanoseconds kSecond = std::chrono::seconds(1);
  const nanoseconds changed(stamp.changedNanoseconds);
  const bool wholeSeconds = changed % kSecond == nanoseconds(0);
  const nanoseconds step = wholeSeconds ? 2 * kSecond : std::chrono::milliseconds(20);
  return now.time_since_epoch() - changed > step;
}

}  // namespace

ParsedCapture parseCapture(std::string_view text) {
  json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  json::error_code error;
  // One arena for the whole document: it is built and dropped as a whole.
  auto document = std::make_shared<const json::value>(
      json::parse(text, error, json::make_shared_resource<json::monotonic_resource>(), options));
  const auto* capture = error ? nullptr : document->if_object();
  if (capture == nullptr) return nullptr;
  return {std::move(document), capture};
}

ParsedCapture CaptureFile::read(const std::string& path, std::chrono::system_clock::time_point now) {
  const MutexLock lock(mutex_);
  if (stamp_ && path == path_ && fileStamp(path) == stamp_) return capture_;
  stamp_.reset();
  capture_.reset();
  const auto file = readFile(path, kMaxBytes);
  if (!file) return nullptr;
  ++parseCount_;
  auto capture = parseCapture(file->bytes);
  if (file->steady && isSettled(file->stamp, now)) {
    path_ = path;
    stamp_ = file->stamp;
    capture_ = capture;
  }
  return capture;
}

std::uint64_t CaptureFile::parseCount() const {
  const MutexLock lock(mutex_);
  return parseCount_;
}

}  // namespace wyvlet
