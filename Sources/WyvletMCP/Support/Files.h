#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// What tells one state of a file from another. The change time is part of it because anybody can
/// set the modification time back.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modifiedNanoseconds = 0;  // since 1970
  std::int64_t changedNanoseconds = 0;   // since 1970

  bool operator==(const FileStamp&) const = default;
};

/// The stamp of the regular file at `path`; nothing when there is none.
std::optional<FileStamp> fileStamp(const std::string& path);

struct FileContents {
  std::string bytes;
  FileStamp stamp;      ///< of the file when reading began
  bool steady = false;  ///< nobody changed the file while it was read
};

/// The whole regular file at `path`; nothing when there is none, it cannot be read or it holds more
/// than `maxBytes`. Never waits for another process: a FIFO or a device in its place is no file.
std::optional<FileContents> readFile(const std::string& path, std::uint64_t maxBytes);

/// Replaces the file at `path` by one holding `bytes`, so that a reader sees the old or the new
/// content and never half of one. Creates missing folders. False when that fails; then an earlier
/// file is as it was.
bool writeFileAtomically(const std::string& path, std::string_view bytes);

}  // namespace wyvlet
