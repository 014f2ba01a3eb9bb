#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/AppModel.h"
#include "WyvletSampleApp/NetworkEngine.h"
#include "WyvletSampleApp/Probe.h"
#include "WyvletSampleApp/ScreenAnswers.h"
#include "WyvletShared/CompanionMessage.h"

namespace wyvlet::sample {

/// The app without its links, on a clock that the test moves.
struct World {
  explicit World(NetworkEngine::Settings settings = {})
      : network(loop, probe.environments(), probe.rules(), settings,
                [this](TransferableNetworkRequest request) { probe.capture(std::move(request)); }),
        app(loop, probe, network) {
    probe.connect([this](const CompanionMessage& message) { events.push_back(message); },
                  [this] { ++syncs; });
  }

  void launch() {
    app.launch();
    pass(3);
  }
  void pass(double seconds) { loop.advance(seconds); }

  LenientSyncPayload sync() const { return probe.fullSync(app.screen()); }
  std::vector<TransferableNetworkRequest> requests() const { return *sync().httpRequests; }
  TransferableNetworkRequest newestRequest() const { return requests().back(); }

  /// The newest log message that begins with `start`, or "".
  std::string logged(std::string_view start) const {
    const auto& entries = probe.logEntries();
    const auto found = std::find_if(entries.rbegin(), entries.rend(),
                                    [&](const auto& entry) { return entry.message.starts_with(start); });
    return found == entries.rend() ? "" : found->message;
  }

  std::vector<std::string> texts() const { return screenText(app.screen(), app.elements()).lines; }
  bool shows(std::string_view text) const {
    const auto lines = texts();
    return std::find(lines.begin(), lines.end(), text) != lines.end();
  }

  std::size_t eventCount(CompanionMessageType type) const {
    return static_cast<std::size_t>(std::count_if(events.begin(), events.end(),
                                                  [&](const auto& message) { return message.type == type; }));
  }

  AppLoop loop{3};
  Probe probe{loop};
  NetworkEngine network;
  AppModel app;
  std::vector<CompanionMessage> events;
  int syncs = 0;
};

/// A directory of the test's own, gone with it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "wyvlet-sample-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data()) == nullptr ? "" : pattern;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace wyvlet::sample
