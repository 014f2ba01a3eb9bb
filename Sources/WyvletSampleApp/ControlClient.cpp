// wyvlet-sample-control [--control PATH] COMMAND...
//
// Sends one command to a running sample app and prints its answer: the text of "ok TEXT" on standard
// output, that of "error TEXT" on standard error with status 1. Without --control the path comes from
// WYVLET_SAMPLE_CONTROL.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "WyvletSampleApp/ControlLine.h"

namespace {

int failed(const std::string& why) {
  std::fprintf(stderr, "wyvlet-sample-control: %s\n", why.c_str());
  return 1;
}

int connectTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return -1;
  std::memcpy(address.sun_path, path.data(), path.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (socket < 0) return -1;
  if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
  ::close(socket);
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  const char* fromEnvironment = std::getenv("WYVLET_SAMPLE_CONTROL");
  std::string path = fromEnvironment == nullptr ? "" : fromEnvironment;
  int first = 1;
  if (argc > 2 && std::string_view(argv[1]) == "--control") {
    path = argv[2];
    first = 3;
  }
  if (first >= argc || path.empty())
    return failed("usage: wyvlet-sample-control [--control PATH] COMMAND...");
  std::string command;
  for (int i = first; i < argc; ++i) command += (i > first ? " " : "") + std::string(argv[i]);
  const std::string line = wyvlet::sample::escapedLine(command) + "\n";

  const int socket = connectTo(path);
  if (socket < 0) return failed("nobody listens on " + path);
  if (::write(socket, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    return failed("the command could not be sent");
  }
  std::string answer;
  std::array<char, 4096> chunk{};
  while (answer.find('\n') == std::string::npos) {
    const ssize_t count = ::read(socket, chunk.data(), chunk.size());
    if (count <= 0) return failed("the app went away without an answer");
    answer.append(chunk.data(), static_cast<std::size_t>(count));
  }
  ::close(socket);
  answer = wyvlet::sample::unescapedLine(answer.substr(0, answer.find('\n')));
  if (answer == "ok") return 0;
  if (answer.starts_with("ok ")) {
    std::printf("%s\n", answer.c_str() + 3);
    return 0;
  }
  return failed(answer.starts_with("error ") ? answer.substr(6) : answer);
}
