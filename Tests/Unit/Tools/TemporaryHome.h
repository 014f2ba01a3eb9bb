#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "Support/Environment.h"

namespace wyvlet::test {

/// A home directory of its own for as long as the object lives. Made before any thread that might
/// read the environment.
class TemporaryHome {
 public:
  TemporaryHome() : earlier_(environmentVariable("HOME")) {
    char name[] = "/tmp/wyvlet-home-XXXXXX";
    path = ::mkdtemp(name);
    ::setenv("HOME", path.c_str(), 1);
  }
  ~TemporaryHome() {
    if (earlier_) {
      ::setenv("HOME", earlier_->c_str(), 1);
    } else {
      ::unsetenv("HOME");
    }
    std::filesystem::remove_all(path);
  }
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;

  /// Puts a shell script where the Android SDK's tools are looked for first.
  void standInFor(const std::string& program, const std::string& script) const {
    const std::string folder = path + "/Library/Android/sdk/platform-tools";
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/" + program) << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions(folder + "/" + program, std::filesystem::perms::owner_all);
  }

  std::string path;

 private:
  std::optional<std::string> earlier_;
};

}  // namespace wyvlet::test
