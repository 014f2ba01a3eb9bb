// Start-up, round trips and a listing on stdio, each beside a bare C program that answers the same
// bytes, measured in turn in one run. Also the resident memory of the idle server.
//
// Usage: StdioBenchmark SERVER ECHO [rounds]

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BenchmarkTable.h"
#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/FullSync.h"

extern char** environ;

namespace {

using namespace wyvlet;
using namespace wyvlet::bench;
using Clock = std::chrono::steady_clock;

double microsecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

/// Keeps this program on one processor and what it starts meanwhile on another. Left alone the kernel
/// sometimes puts both ends of a pipe on one processor, where a round trip takes a third of the time, and
/// the two sides of a comparison need not meet with the same luck.
class OnTwoProcessors {
 public:
#if defined(__linux__)
  OnTwoProcessors() {
    ::sched_getaffinity(0, sizeof all_, &all_);
    for (int i = 0; i < CPU_SETSIZE && theirs_ < 0; ++i) {
      if (CPU_ISSET(i, &all_)) (ours_ < 0 ? ours_ : theirs_) = i;
    }
  }
  ~OnTwoProcessors() { ::sched_setaffinity(0, sizeof all_, &all_); }

  /// Runs `start` where its children belong, and goes on on the other processor.
  template <class Start>
  auto starting(Start start) const {
    moveTo(theirs_);
    auto started = start();
    moveTo(ours_);
    return started;
  }

 private:
  void moveTo(int processor) const {
    if (theirs_ < 0) return;  // there is but one
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    ::sched_setaffinity(0, sizeof set, &set);
  }

  cpu_set_t all_{};
  int ours_ = -1;
  int theirs_ = -1;
#else
  template <class Start>
  auto starting(Start start) const {
    return start();
  }
#endif
};

/// A program behind two pipes, driven by blocking calls so that nothing of ours is measured with it.
class Child {
 public:
  explicit Child(std::vector<std::string> arguments) {
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    if (::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
      std::fprintf(stderr, "cannot start %s\n", argv[0]);
      std::exit(2);
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
  }
  ~Child() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    ::close(input_);
    ::close(output_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Sends a line and reads the line that answers it.
  const std::string& ask(const std::string& line) {
    if (::write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
    answer_.clear();
    static char chunk[1 << 16];
    do {
      const ssize_t count = ::read(output_, chunk, sizeof chunk);
      if (count <= 0) std::abort();
      answer_.append(chunk, static_cast<std::size_t>(count));
    } while (answer_.back() != '\n');
    return answer_;
  }

  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string answer_;
};

const std::string kInitialize =
    R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2024-11-05","capabilities":{}}})"
    "\n";
const std::string kPing = R"({"jsonrpc":"2.0","id":1,"method":"ping"})"
                          "\n";
const std::string kList = R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})"
                          "\n";
const std::string kListing =
    R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"wyvlet_get_network_logs","arguments":{}}})"
    "\n";

struct Programs {
  std::string server;
  std::string echo;
  std::string folder;

  std::unique_ptr<Child> newServer() const {
    return std::make_unique<Child>(std::vector<std::string>{server});
  }

  /// A fresh echo program that answers with `answer`.
  std::unique_ptr<Child> echoOf(const std::string& answer) const {
    const auto file = folder + "/answer";
    std::ofstream(file) << answer;
    return std::make_unique<Child>(std::vector<std::string>{echo, file});
  }
};

void measureStart(const Programs& programs, int rounds) {
  const std::string answer = Child({programs.server}).ask(kInitialize);
  std::vector<double> ours, theirs;
  for (int i = 0; i < rounds; ++i) {
    for (const bool server : {true, false}) {
      if (!server) std::ofstream(programs.folder + "/answer") << answer;
      const auto begin = Clock::now();
      if (server) {
        Child child({programs.server});
        child.ask(kInitialize);
        ours.push_back(microsecondsSince(begin));
      } else {
        Child child({programs.echo, programs.folder + "/answer"});
        child.ask(kInitialize);
        theirs.push_back(microsecondsSince(begin));
      }
    }
  }
  const double ratio = percentile(ours, 0.5) / percentile(theirs, 0.5);
  printRow("start to the initialize answer, p50", number(percentile(ours, 0.5), 0, " us"),
           number(percentile(theirs, 0.5), 0, " us (bare C)"), number(ratio, 2, "x"), "at most 2x",
           ratio <= 2);
}

void measureRoundTrip(const Programs& programs, const std::string& name, const std::string& line,
                      int rounds) {
  const OnTwoProcessors processors;
  const auto server = processors.starting([&] { return programs.newServer(); });
  const std::string answer = server->ask(line);
  const auto echo = processors.starting([&] { return programs.echoOf(answer); });
  std::vector<double> ours, theirs;
  constexpr int kBlock = 50;  // in turn, in blocks: a noisy moment hits both
  for (int i = 0; i < rounds; i += kBlock) {
    for (auto* side : {&ours, &theirs}) {
      Child& child = side == &ours ? *server : *echo;
      child.ask(line);
      for (int k = 0; k < kBlock; ++k) {
        const auto begin = Clock::now();
        child.ask(line);
        side->push_back(microsecondsSince(begin));
      }
    }
  }
  for (const double share : {0.5, 0.99}) {
    const double ratio = percentile(ours, share) / percentile(theirs, share);
    printRow(name + (share == 0.5 ? ", p50" : ", p99"), number(percentile(ours, share), 1, " us"),
             number(percentile(theirs, share), 1, " us (bare C)"), number(ratio, 2, "x"), "at most 1.5x",
             ratio <= 1.5);
  }
}

/// An app with 500 captured requests on the direct port.
class App {
 public:
  App() {
    auto listener = CompanionListener::listen(kDirectPort);
    if (!listener) {
      std::fprintf(stderr, "port %u is taken: %s\n", kDirectPort, listener.reason().c_str());
      std::exit(2);
    }
    listener_ = *std::move(listener);
    thread_ = std::thread([this] {
      LenientSyncPayload sync;
      sync.httpRequests.emplace();
      for (int i = 0; i < 500; ++i) {
        TransferableNetworkRequest request;
        request.id = UUID::random();
        request.url = "https://api.example.com/v1/search?from=HAM&to=LIS&page=" + std::to_string(i);
        request.method = "GET";
        request.statusCode = 200;
        request.duration = 0.120;
        request.screenName = "Results";
        request.responseBody = Bytes{std::string(2000, 'x')};
        sync.httpRequests->push_back(request);
      }
      while ((link_ = listener_->accept())) {
        link_->send(CompanionMessage::make(CompanionMessageType::syncFull, sync, DateEpoch::Unix1970));
        while (link_->receive()) {
        }
      }
    });
  }
  ~App() {
    listener_->shutdown();
    thread_.join();
  }

 private:
  std::unique_ptr<CompanionListener> listener_;
  std::unique_ptr<CompanionConnection> link_;
  std::thread thread_;
};

void measureListing(const Programs& programs, int rounds) {
  App app;
  {
    const OnTwoProcessors processors;
    const auto server = processors.starting([&] { return programs.newServer(); });
    server->ask(
        R"({"id":1,"method":"tools/call","params":{"name":"session_set_defaults","arguments":{"connectMode":"usb"}}})"
        "\n");
    const auto listed = server->ask(kListing);
    if (listed.find("Recent HTTP Requests (20):") == std::string::npos) {
      std::fprintf(stderr, "unexpected listing: %s", listed.c_str());
      std::exit(2);
    }
    std::vector<double> listing, ping;
    for (int i = 0; i < rounds; ++i) {
      auto begin = Clock::now();
      server->ask(kListing);
      listing.push_back(microsecondsSince(begin));
      begin = Clock::now();
      server->ask(kPing);
      ping.push_back(microsecondsSince(begin));
    }
    const double extra = percentile(listing, 0.5) - percentile(ping, 0.5);
    printRow("listing 20 of 500 cached requests, p50", number(percentile(listing, 0.5), 1, " us"),
             number(percentile(ping, 0.5), 1, " us (ping)"), "+" + number(extra, 1, " us"), "at most +100 us",
             extra <= 100);
  }
}

void measureIdleMemory(const Programs& programs) {
  Child server({programs.server});
  server.ask(kInitialize);
  server.ask(kList);
  // Past the warm-up's start, so that the browser has loaded what it loads.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  std::ifstream status("/proc/" + std::to_string(server.pid()) + "/status");
  std::string word;
  double kilobytes = 0;
  while (status >> word) {
    if (word == "VmRSS:") status >> kilobytes;
  }
  printRow("idle resident memory", number(kilobytes / 1024, 1, " MB"), "-", "-", "at most 12 MB",
           kilobytes <= 12288);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: StdioBenchmark SERVER ECHO [rounds]\n");
    return 2;
  }
  char folder[] = "/tmp/wyvlet-bench-XXXXXX";
  if (::mkdtemp(folder) == nullptr) return 2;
  ::setenv("HOME", folder, 1);
  ::setenv("WYVLET_PORT", "0", 1);  // any free one: another server may be running
  std::signal(SIGPIPE, SIG_IGN);
  const Programs programs{argv[1], argv[2], folder};
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 20000;
  measureStart(programs, std::max(rounds / 100, 20));
  measureRoundTrip(programs, "ping round trip", kPing, rounds);
  measureRoundTrip(programs, "tools/list round trip", kList, rounds);
  measureListing(programs, rounds / 4);
  measureIdleMemory(programs);
  ::unlink((std::string(folder) + "/answer").c_str());
  ::rmdir(folder);
  return 0;
}
