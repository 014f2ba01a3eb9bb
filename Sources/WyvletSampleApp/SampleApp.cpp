#include "WyvletSampleApp/SampleApp.h"

#include <utility>

#include "Support/Log.h"

namespace wyvlet::sample {
namespace {

/// The launch, slowest call included, lies in the past when the first server looks.
constexpr double kLaunchSeconds = 3;

}  // namespace

SampleApp::SampleApp(const Options& options)
    : options_(options),
      loop_(kLaunchSeconds),
      probe_(loop_),
      network_(loop_, probe_.environments(), probe_.rules(), {options.latencyFactor, options.holdSeconds},
               [this](TransferableNetworkRequest request) { probe_.capture(std::move(request)); }),
      app_(loop_, probe_, network_),
      meter_(loop_),
      commands_(app_, probe_, meter_, options.scale),
      server_(loop_, probe_, app_, commands_, MarkerFile(options.marker)),
      control_(loop_, app_, probe_, network_, server_,
               {options.bundleId, options.crashDirectory, options.scale}),
      controlServer_(loop_, control_) {}

std::string SampleApp::start() {
  meter_.start();
  app_.launch();
  loop_.advance(kLaunchSeconds);

  if (options_.announce) {
    auto announcer = Announcer::connect();
    if (announcer) {
      announcer_ = std::move(*announcer);
    } else {
      logLine(kSampleTag, "Not announced: " + announcer.reason());
    }
  }
  // Who follows the announcement comes to an address of this machine, not to the loopback's.
  const auto port = server_.listen(options_.port, announcer_ == nullptr);
  if (!port) return port.reason();
  port_ = *port;
  // Last of what can fail: a client whose command no loop will ever run would hold up the end.
  if (options_.control.empty()) options_.control = ControlServer::defaultPath();
  if (std::string reason = controlServer_.listen(options_.control); !reason.empty()) return reason;
  if (announcer_) announcer_->announce(options_.name, port_);
  return "";
}

void SampleApp::run() { loop_.run(); }

void SampleApp::stop() { loop_.stop(); }

}  // namespace wyvlet::sample
