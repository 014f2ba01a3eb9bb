#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "Support/Log.h"
#include "Support/Threads.h"
#include "WyvletSampleApp/SampleApp.h"

namespace {

/// The signals that end the app; blocked in every thread and waited for by one.
sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGHUP);
  return signals;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace wyvlet::sample;

  const auto options = parseOptions({argv + 1, argv + argc});
  if (!options) {
    std::fprintf(stderr, "WyvletSampleApp: %s\n", options.reason().c_str());
    return 2;
  }
  if (options->help) {
    std::fputs(std::string(usageText()).c_str(), stdout);
    return 0;
  }

  std::signal(SIGPIPE, SIG_IGN);
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  SampleApp app(*options);
  if (const std::string reason = app.start(); !reason.empty()) {
    wyvlet::logLine(kSampleTag, reason);
    return 1;
  }
  std::printf("ready port=%u control=%s\n", static_cast<unsigned>(app.port()), app.controlPath().c_str());
  std::fflush(stdout);

  std::thread watcher([&] {
    wyvlet::nameThread("sample-signals");
    int received = 0;
    sigwait(&signals, &received);
    app.stop();
  });
  app.run();
  // After "quit" the watcher still waits, with the signal blocked.
  pthread_kill(watcher.native_handle(), SIGTERM);  // NOLINT(bugprone-bad-signal-to-kill-thread)
  watcher.join();
  return 0;
}
