// GET /status by 64 clients at once, a connection for every request, against the real server and
// against nginx that returns the same body with keep-alive off. Both run at the same time and are
// measured in turn, in blocks, so that a noisy moment hits both.
//
// Usage: HTTPStatusBenchmark SERVER NGINX [blocks]

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "BenchmarkTable.h"

extern char** environ;

namespace {

using namespace wyvlet::bench;
using Clock = std::chrono::steady_clock;

constexpr int kClients = 64;
constexpr int kClientThreads = 2;
constexpr auto kBlock = std::chrono::seconds(2);
constexpr std::string_view kRequest = "GET /status HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";

[[noreturn]] void fail(const std::string& why) {
  std::fprintf(stderr, "HTTPStatusBenchmark: %s\n", why.c_str());
  std::exit(2);
}

/// A program that runs until the benchmark ends; its standard error can be read.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int in[2], errors[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(errors, O_CLOEXEC) != 0) fail("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, errors[1], 2);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    if (::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
      fail("cannot start " + arguments[0]);
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(errors[1]);
    input_ = in[1];
    errors_ = errors[0];
  }
  ~Program() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
    ::close(input_);
    ::close(errors_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// The number that follows `text` on standard error.
  int numberAfter(const std::string& text) const {
    std::string all;
    char byte = 0;
    while (::read(errors_, &byte, 1) == 1) {
      all += byte;
      const auto at = all.find(text);
      if (byte == '\n' && at != std::string::npos) return std::atoi(all.c_str() + at + text.size());
    }
    fail("the server does not listen:\n" + all);
  }

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int errors_ = -1;
};

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int freePort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  auto address = loopback(0);
  socklen_t length = sizeof address;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0) fail("no port");
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

/// One exchange with blocking calls; "" when nobody listens.
std::string askOnce(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto address = loopback(port);
  std::string answer;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    char chunk[4096];
    ssize_t count = ::send(fd, kRequest.data(), kRequest.size(), MSG_NOSIGNAL);
    while (count > 0 && (count = ::recv(fd, chunk, sizeof chunk, 0)) > 0) {
      answer.append(chunk, static_cast<std::size_t>(count));
    }
  }
  ::close(fd);
  return answer;
}

/// One of the 64: connects, asks, reads to the end, closes, and begins again.
class Client {
 public:
  Client(int port, std::size_t expectedBytes) : address_(loopback(port)), expectedBytes_(expectedBytes) {}
  ~Client() {
    if (fd_ >= 0) ::close(fd_);
  }
  Client(Client&& other) noexcept
      : address_(other.address_), expectedBytes_(other.expectedBytes_), fd_(std::exchange(other.fd_, -1)) {}
  Client& operator=(Client&&) = delete;

  void begin() {
    began_ = Clock::now();
    received_ = 0;
    asked_ = false;
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int result = ::connect(fd_, reinterpret_cast<const sockaddr*>(&address_), sizeof address_);
    if (result != 0 && errno != EINPROGRESS) fail(std::string("connect: ") + std::strerror(errno));
    if (result == 0) ask();
  }

  pollfd polled() const { return {fd_, static_cast<short>(asked_ ? POLLIN : POLLOUT), 0}; }

  /// True when an exchange has ended; the next one has begun.
  bool proceed(std::vector<double>& milliseconds) {
    if (!asked_) {
      ask();
      return false;
    }
    char chunk[4096];
    const ssize_t count = ::recv(fd_, chunk, sizeof chunk, 0);
    if (count < 0 && errno == EAGAIN) return false;
    if (count < 0) fail(std::string("recv: ") + std::strerror(errno));
    received_ += static_cast<std::size_t>(count);
    if (count > 0) return false;
    if (received_ != expectedBytes_) fail("an answer of " + std::to_string(received_) + " bytes");
    ::close(fd_);
    milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - began_).count());
    begin();
    return true;
  }

 private:
  void ask() {
    if (::send(fd_, kRequest.data(), kRequest.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(kRequest.size())) {
      fail(std::string("send: ") + std::strerror(errno));
    }
    asked_ = true;
  }

  sockaddr_in address_;
  std::size_t expectedBytes_;
  int fd_ = -1;
  bool asked_ = false;
  std::size_t received_ = 0;
  Clock::time_point began_;
};

struct Measurement {
  std::vector<double> requestsPerSecond;  // one for each block
  std::vector<double> milliseconds;       // one for each request
  double serverSeconds = 0;               // of processor time
};

/// The processor time that a process and its children have used so far.
double processorSeconds(pid_t pid) {
  const auto folder = "/proc/" + std::to_string(pid);
  std::ifstream stat(folder + "/stat");
  std::string field;
  double ticks = 0;
  for (int i = 1; i <= 15 && stat >> field; ++i) {
    if (i >= 14) ticks += std::atof(field.c_str());
  }
  double seconds = ticks / static_cast<double>(::sysconf(_SC_CLK_TCK));
  std::ifstream children(folder + "/task/" + std::to_string(pid) + "/children");
  for (pid_t child = 0; children >> child;) seconds += processorSeconds(child);
  return seconds;
}

void runClients(int port, std::size_t expectedBytes, int count, std::vector<double>& milliseconds) {
  std::vector<Client> clients;
  for (int i = 0; i < count; ++i) clients.emplace_back(port, expectedBytes);
  for (auto& client : clients) client.begin();
  std::vector<pollfd> polled(clients.size());
  const auto end = Clock::now() + kBlock;
  while (Clock::now() < end) {
    for (std::size_t i = 0; i < clients.size(); ++i) polled[i] = clients[i].polled();
    if (::poll(polled.data(), polled.size(), 100) <= 0) continue;
    for (std::size_t i = 0; i < clients.size(); ++i) {
      if (polled[i].revents != 0) clients[i].proceed(milliseconds);
    }
  }
}

void measureBlock(pid_t server, int port, std::size_t expectedBytes, Measurement& measurement) {
  const double before = processorSeconds(server);
  std::vector<std::vector<double>> milliseconds(kClientThreads);
  std::vector<std::thread> threads;
  const auto begin = Clock::now();
  for (auto& samples : milliseconds) {
    threads.emplace_back([&] { runClients(port, expectedBytes, kClients / kClientThreads, samples); });
  }
  for (auto& thread : threads) thread.join();
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  double requests = 0;
  for (const auto& samples : milliseconds) {
    requests += static_cast<double>(samples.size());
    measurement.milliseconds.insert(measurement.milliseconds.end(), samples.begin(), samples.end());
  }
  measurement.requestsPerSecond.push_back(requests / seconds);
  measurement.serverSeconds += processorSeconds(server) - before;
}

std::string nginxConfiguration(const std::string& folder, int port, const std::string& body) {
  std::ostringstream text;
  text << "daemon off;\nworker_processes auto;\npid " << folder << "/pid;\nerror_log " << folder
       << "/error.log;\nevents { worker_connections 1024; }\nhttp {\n  access_log off;\n"
       << "  keepalive_timeout 0;\n";
  for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
    text << "  " << kind << "_temp_path " << folder << "/" << kind << ";\n";
  }
  text << "  server {\n    listen 127.0.0.1:" << port << ";\n    location / {\n"
       << "      default_type application/json;\n      return 200 '" << body << "';\n    }\n  }\n}\n";
  return text.str();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) fail("usage: HTTPStatusBenchmark SERVER NGINX [blocks]");
  const int blocks = argc > 3 ? std::atoi(argv[3]) : 5;
  char folder[] = "/tmp/wyvlet-bench-XXXXXX";
  if (::mkdtemp(folder) == nullptr) fail("no temporary folder");

  ::setenv("WYVLET_PORT", "0", 1);
  ::setenv("WYVLET_HTTP_HOST", "127.0.0.1", 1);
  ::setenv("HOME", folder, 1);
  {
    const Program server({argv[1]});
    const int serverPort = server.numberAfter("[http] Listening on http://localhost:");
    const auto ourAnswer = askOnce(serverPort);
    const auto bodyAt = ourAnswer.find("\r\n\r\n");
    if (!ourAnswer.starts_with("HTTP/1.1 200 OK\r\n") || bodyAt == std::string::npos) fail("no status");

    const int nginxPort = freePort();
    const auto configuration = std::string(folder) + "/nginx.conf";
    std::ofstream(configuration) << nginxConfiguration(folder, nginxPort, ourAnswer.substr(bodyAt + 4));
    const Program nginx({argv[2], "-p", folder, "-c", configuration});
    std::string nginxAnswer;
    for (int i = 0; i < 500 && nginxAnswer.empty(); ++i) {
      nginxAnswer = askOnce(nginxPort);
      if (nginxAnswer.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (!nginxAnswer.starts_with("HTTP/1.1 200 OK\r\n")) fail("nginx does not answer");

    Measurement ours, theirs;
    for (int i = 0; i < blocks; ++i) {
      measureBlock(server.pid(), serverPort, ourAnswer.size(), ours);
      measureBlock(nginx.pid(), nginxPort, nginxAnswer.size(), theirs);
    }
    for (const auto& [name, measurement] : {std::pair{"ours", &ours}, {"nginx", &theirs}}) {
      std::fprintf(stderr, "%s: %.1f us of the server's processor time a request; ", name,
                   measurement->serverSeconds * 1e6 / static_cast<double>(measurement->milliseconds.size()));
      std::fprintf(stderr, "p50 %.2f ms, p99 %.2f ms, longest %.1f ms; blocks:",
                   percentile(measurement->milliseconds, 0.5), percentile(measurement->milliseconds, 0.99),
                   percentile(measurement->milliseconds, 1));
      for (const double rate : measurement->requestsPerSecond) std::fprintf(stderr, " %.0f", rate);
      std::fprintf(stderr, " requests/s\n");
    }
    const double rate = percentile(ours.requestsPerSecond, 0.5);
    const double peer = percentile(theirs.requestsPerSecond, 0.5);
    printRow("GET /status, 64 clients, a connection each", number(rate, 0, " requests/s"),
             number(peer, 0, " requests/s (nginx)"), number(rate / peer, 2, "x"), "at least 0.7x",
             rate / peer >= 0.7);
  }
  std::filesystem::remove_all(folder);
}
