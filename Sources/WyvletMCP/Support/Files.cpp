#include "Support/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "Support/Descriptor.h"
#include "WyvletShared/UUID.h"

namespace wyvlet {
namespace {

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

FileStamp stampOf(const struct stat& status) {
  FileStamp stamp;
  stamp.device = static_cast<std::uint64_t>(status.st_dev);
  stamp.inode = static_cast<std::uint64_t>(status.st_ino);
  stamp.size = static_cast<std::uint64_t>(status.st_size);
#if defined(__APPLE__)
  stamp.modifiedNanoseconds = nanoseconds(status.st_mtimespec);
  stamp.changedNanoseconds = nanoseconds(status.st_ctimespec);
#else
  stamp.modifiedNanoseconds = nanoseconds(status.st_mtim);
  stamp.changedNanoseconds = nanoseconds(status.st_ctim);
#endif
  return stamp;
}

std::optional<FileStamp> stampOfOpenFile(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return stampOf(status);
}

/// Reads until the end of the file or until `maxBytes` and one more are there.
bool readToEnd(int fd, std::uint64_t expectedBytes, std::uint64_t maxBytes, std::string& bytes) {
  constexpr std::uint64_t kStep = std::uint64_t{64} << 10;
  std::uint64_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) {
      // One byte more than expected, so that an unchanged file is read and found ended in one buffer.
      const std::uint64_t wanted = std::max(expectedBytes + 1, filled + std::max(kStep, filled / 2));
      bytes.resize(std::min(wanted, maxBytes + 1));
    }
    const ssize_t got = ::read(fd, bytes.data() + filled, bytes.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    filled += static_cast<std::uint64_t>(got);
    if (filled > maxBytes) return false;
  }
  bytes.resize(filled);
  return true;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool writeNewFile(const std::string& path, std::string_view bytes) {
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  return file && writeAll(file.fd(), bytes) && file.close();
}

}  // namespace

std::optional<FileStamp> fileStamp(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return stampOf(status);
}

std::optional<FileContents> readFile(const std::string& path, std::uint64_t maxBytes) {
  // Not blocking, because opening a FIFO waits for its other end otherwise.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return std::nullopt;
  const auto before = stampOfOpenFile(file.fd());
  if (!before || before->size > maxBytes) return std::nullopt;
  FileContents contents;
  contents.stamp = *before;
  if (!readToEnd(file.fd(), before->size, maxBytes, contents.bytes)) return std::nullopt;
  contents.steady = stampOfOpenFile(file.fd()) == before;
  return contents;
}

bool writeFileAtomically(const std::string& path, std::string_view bytes) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code ignored;  // a missing folder shows when the file is opened
  std::filesystem::create_directories(folder, ignored);
  // Not named after the file, whose name may already be as long as a name can be.
  const std::string temporary = (folder / (".wyvlet-" + UUID::random().text())).string();
  if (writeNewFile(temporary, bytes) && ::rename(temporary.c_str(), path.c_str()) == 0) return true;
  ::unlink(temporary.c_str());
  return false;
}

}  // namespace wyvlet
