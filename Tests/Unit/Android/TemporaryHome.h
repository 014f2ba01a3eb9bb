#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace wyvlet::test {

/// A home directory of the test's own, named by HOME as long as the object lives. One at a time, and
/// before the test starts threads.
class TemporaryHome {
 public:
  TemporaryHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "wyvlet-home-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
    setenv("HOME", path_.c_str(), 1);
  }
  ~TemporaryHome() {
    if (earlier_.empty()) {
      unsetenv("HOME");
    } else {
      setenv("HOME", earlier_.c_str(), 1);
    }
    std::filesystem::remove_all(path_);
  }
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string earlier_ = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
  std::string path_;
};

}  // namespace wyvlet::test
