#pragma once

#include <string>
#include <utility>

namespace wyvlet::sample {

/// The file by which a probe says that it listens. Servers wait for it before they look for an app,
/// and delete it when they end a link. Loop thread only.
class MarkerFile {
 public:
  /// No file at all when `path` is empty.
  explicit MarkerFile(std::string path) : path_(std::move(path)) {}
  MarkerFile(MarkerFile&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  MarkerFile(const MarkerFile&) = delete;
  MarkerFile& operator=(const MarkerFile&) = delete;
  /// Deletes the file.
  ~MarkerFile();

  /// Creates the file when it is not there. A failure is tried again with the next call.
  void ensure() const;

 private:
  std::string path_;
};

}  // namespace wyvlet::sample
