#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "WyvletSampleApp/Announcer.h"
#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/AppModel.h"
#include "WyvletSampleApp/CommandHandler.h"
#include "WyvletSampleApp/CompanionServer.h"
#include "WyvletSampleApp/ControlHandler.h"
#include "WyvletSampleApp/ControlServer.h"
#include "WyvletSampleApp/NetworkEngine.h"
#include "WyvletSampleApp/Options.h"
#include "WyvletSampleApp/PerformanceMeter.h"
#include "WyvletSampleApp/Probe.h"

namespace wyvlet::sample {

/// The whole sample app: made and connected here, started, then run by the thread that owns it.
///
///     SampleApp app(options);
///     if (std::string reason = app.start(); reason.empty()) app.run();
class SampleApp {
 public:
  explicit SampleApp(const Options& options);

  /// Plays the launch of the app and starts to listen; "" or why it cannot. Blocks only for the
  /// DNS-SD daemon, when announcing.
  std::string start();

  /// Lives until `stop()`.
  void run();

  /// Ends `run()`. Any thread.
  void stop();

  /// Where it listens, once started.
  std::uint16_t port() const { return port_; }
  const std::string& controlPath() const { return options_.control; }

  AppLoop& loop() { return loop_; }

 private:
  Options options_;
  std::uint16_t port_ = 0;
  AppLoop loop_;
  Probe probe_;
  NetworkEngine network_;
  AppModel app_;
  PerformanceMeter meter_;
  CommandHandler commands_;
  CompanionServer server_;
  ControlHandler control_;
  ControlServer controlServer_;
  std::unique_ptr<Announcer> announcer_;
};

}  // namespace wyvlet::sample
