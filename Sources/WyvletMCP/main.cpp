// Starts the server: builds the long-lived objects in order, connects them, starts them and parks.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "Android/AndroidCapture.h"
#include "Client/WyvletClient.h"
#include "CommandLine/CommandLine.h"
#include "Devices/SimulatorBridge.h"
#include "HTTP/HTTPServer.h"
#include "MCP/MCPServer.h"
#include "Support/Environment.h"
#include "Support/Memory.h"

namespace {

constexpr std::uint16_t kDefaultHTTPPort = 8686;

/// A descriptor from 0 to 2 that the starter left closed would be taken by the next file or socket,
/// which would then receive log lines or answers.
void fillStandardDescriptors() {
  for (int fd = ::open("/dev/null", O_RDWR); fd >= 0; fd = ::open("/dev/null", O_RDWR)) {
    if (fd > STDERR_FILENO) {
      ::close(fd);
      return;
    }
  }
}

/// Keeps the stream of answers for the server alone: whatever else writes to standard output lands on
/// standard error. Returns the descriptor of the answers.
int takeStandardOutput() {
  const int answers = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  return answers;
}

/// The signals that end the process. Blocked before the first thread starts, so that only the main
/// thread, which waits for them, ever sees one.
sigset_t blockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

}  // namespace

int main(int argc, char** argv) {
  wyvlet::setProgramPath(argc > 0 ? argv[0] : nullptr);
  if (const auto status = wyvlet::handleCommandLine(argc, argv)) return *status;

  wyvlet::shareOneMemoryPool();
  fillStandardDescriptors();
  const int answers = takeStandardOutput();
  std::signal(SIGPIPE, SIG_IGN);
  const sigset_t endSignals = blockEndSignals();

  // Never destroyed: their threads run until the process ends.
  auto& client = *new wyvlet::WyvletClient;
  auto& sim =
      *new wyvlet::SimulatorBridge(wyvlet::ProcessRunner::system(), wyvlet::AndroidCapture::forgetScreen);
  auto& mcpServer = *new wyvlet::MCPServer(client, sim);
  auto& httpServer = *new wyvlet::HTTPServer(mcpServer, kDefaultHTTPPort);

  httpServer.start();
  mcpServer.run(answers);

  int received = 0;
  sigwait(&endSignals, &received);
#if defined(__SANITIZE_ADDRESS__)
  // The quick exit below skips the leak check, which is half of what this build is for.
  if (__lsan_do_recoverable_leak_check() != 0) _exit(1);
#endif
  _exit(0);
}
