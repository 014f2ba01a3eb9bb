#pragma once

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "Devices/SimulatorBridge.h"
#include "Support/Environment.h"
#include "Unit/Android/RecordingRunner.h"
#include "Unit/Android/TemporaryHome.h"

namespace wyvlet::test {

/// A bridge over recorded commands, with an empty home and program directory.
struct BridgeFixture {
  explicit BridgeFixture(RecordingRunner::Answer answer =
                             [](const std::string&) { return RecordingRunner::succeeded(""); })
      : runner(std::move(answer)),
        bridge((setProgramPath((home.path() + "/bin/server").c_str()), runner), [this] { ++androidInputs; }) {
  }

  void setDefault(std::string_view key, std::string_view value) {
    bridge.setDefaults({{boost::json::string_view(key), boost::json::string_view(value)}});
  }

  TemporaryHome home;
  RecordingRunner runner;
  int androidInputs = 0;
  SimulatorBridge bridge;
};

/// Makes an executable file, with the folders on the way.
inline void makeExecutable(const std::string& path, std::string_view content = "#!/bin/sh\n") {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

inline void makeFile(const std::string& path, std::string_view content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The files of /tmp whose name begins with `prefix`.
inline std::size_t filesInTmp(std::string_view prefix) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    count += entry.path().filename().string().starts_with(prefix) ? 1 : 0;
  }
  return count;
}

}  // namespace wyvlet::test
