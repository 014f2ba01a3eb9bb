#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <iterator>
#include <memory>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "Support/Descriptor.h"
#include "Support/Mutex.h"
#include "Support/ProcessRunner.h"
#include "Support/Semaphore.h"
#include "Support/Threads.h"

#if defined(__APPLE__)
extern char** environ;
#endif

namespace wyvlet {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// From SIGTERM to SIGKILL.
constexpr milliseconds kMercy{500};
/// How long a killed command may take to die before it is left to its waiter.
constexpr milliseconds kDeathThroes{400};
/// How long an output that somebody else still holds open is listened to after the command's end.
constexpr milliseconds kGrace{200};
constexpr std::size_t kChunkBytes = std::size_t{64} << 10;
/// No pipe holds more, so this is enough to get what the command wrote just before its end.
constexpr std::size_t kLargestPipeBytes = std::size_t{1} << 20;

struct Pipe {
  Descriptor reader;
  Descriptor writer;
};

/// Opens a pipe that no other child inherits. Returns 0 or the error number.
int openPipe(Pipe& pipe) {
  int ends[2];
#if defined(__linux__)
  if (::pipe2(ends, O_CLOEXEC) != 0) return errno;
#else
  if (::pipe(ends) != 0) return errno;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
  pipe = {Descriptor(ends[0]), Descriptor(ends[1])};
  // An end that took the number of a standard descriptor would be overwritten while the child's own
  // are put in place.
  for (Descriptor* end : {&pipe.reader, &pipe.writer}) {
    if (end->fd() > STDERR_FILENO) continue;
    const int moved = ::fcntl(end->fd(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0) return errno;
    *end = Descriptor(moved);
  }
  return 0;
}

/// Text that was cut off at an arbitrary byte, without the character that the cut went through.
std::string_view withoutCutCharacter(std::string_view text) {
  for (std::size_t back = 1; back <= std::min<std::size_t>(3, text.size()); ++back) {
    const auto byte = static_cast<unsigned char>(text[text.size() - back]);
    if ((byte & 0xC0) == 0x80) continue;
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    if (length > back) text.remove_suffix(back);
    break;
  }
  return text;
}

/// One output of the command while it is being gathered.
class Capture {
 public:
  Capture() = default;
  explicit Capture(Descriptor reader) : reader_(std::move(reader)) {
    ::fcntl(reader_.fd(), F_SETFL, ::fcntl(reader_.fd(), F_GETFL) | O_NONBLOCK);
  }

  int descriptor() const { return reader_.fd(); }
  bool isOpen() const { return static_cast<bool>(reader_); }

  /// Takes a piece of what is there. False when nothing is.
  bool readSome() {
    if (!reader_) return false;
    char chunk[kChunkBytes];
    const ssize_t count = ::read(reader_.fd(), chunk, sizeof chunk);
    if (count > 0) {
      const auto room = ProcessOutcome::kMaxOutputBytes - kept_.size();
      kept_.append(chunk, std::min(static_cast<std::size_t>(count), room));
      cut_ = cut_ || static_cast<std::size_t>(count) > room;
      return true;
    }
    if (count < 0 && errno == EINTR) return true;
    if (count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) reader_.close();
    return false;
  }

  /// What was gathered. `commandWasEnded` tells that it did not choose its last byte itself.
  std::string take(bool commandWasEnded) {
    for (std::size_t read = 0; read < kLargestPipeBytes && readSome(); read += kChunkBytes) {
    }
    if (commandWasEnded || cut_ || reader_) kept_.resize(withoutCutCharacter(kept_).size());
    reader_.close();
    return std::move(kept_);
  }

 private:
  Descriptor reader_;
  std::string kept_;
  bool cut_ = false;
};

/// The strings of an argument vector or environment together with the pointers that exec wants.
class StringVector {
 public:
  void add(std::string text) {
    // No argument can hold a NUL byte; leaving it out keeps the rest.
    std::erase(text, '\0');
    strings_.push_back(std::move(text));
  }

  /// Valid until the next `add`.
  char** pointers() {
    pointers_.clear();
    for (auto& string : strings_) pointers_.push_back(string.data());
    pointers_.push_back(nullptr);
    return pointers_.data();
  }

 private:
  std::vector<std::string> strings_;
  std::vector<char*> pointers_;
};

StringVector environmentWith(const std::vector<std::pair<std::string, std::string>>& changes) {
  StringVector result;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const auto name = text.substr(0, text.find('='));
    const bool replaced =
        std::any_of(changes.begin(), changes.end(), [&](const auto& change) { return change.first == name; });
    if (!replaced) result.add(std::string(text));
  }
  for (const auto& [name, value] : changes) result.add(std::string(name).append("=").append(value));
  return result;
}

/// Starts the command. Returns 0 or the error number.
int spawn(const ProcessRequest& request, const Descriptor& output, const Descriptor& errorOutput,
          pid_t& pid) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.fd(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errorOutput.fd(), STDERR_FILENO);

  short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
  // Ours are close-on-exec, but a library's need not be, and a command that outlives its caller would
  // keep its sockets and files open.
#if defined(__APPLE__)
  flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#elif defined(__GLIBC_PREREQ)
#if __GLIBC_PREREQ(2, 34)
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
#endif
#endif

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setpgroup(&attributes, 0);
  sigset_t signals;
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, flags);

  StringVector arguments;
  for (const auto& argument : request.arguments) arguments.add(argument);
  StringVector environment = environmentWith(request.environment);
  char** argv = arguments.pointers();
  const int error = argv[0] == nullptr
                        ? ENOENT
                        : ::posix_spawnp(&pid, argv[0], &actions, &attributes, argv, environment.pointers());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

/// Blocks until the process has ended and leaves it unreaped, so that its number, and the number of
/// its group, can belong to nobody else yet.
void awaitEnd(pid_t pid) {
  siginfo_t info;
  while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
}

int reap(pid_t pid) {
  int status = 0;
  pid_t reaped = 0;
  while ((reaped = ::waitpid(pid, &status, 0)) < 0 && errno == EINTR) {
  }
  if (reaped != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Waits for one command on a thread of its own, since no portable call waits for a process and a
/// pipe at once. Shared by that thread and the caller.
class Waiter {
 public:
  Waiter(pid_t pid, Descriptor endSignal) : pid_(pid), endSignal_(std::move(endSignal)) {}

  /// The thread's whole life.
  void wait() {
    nameThread("wyvlet-command");
    awaitEnd(pid_);
    MutexLock lock(mutex_);
    if (abandoned_) {
      reap(pid_);
    } else {
      ended_ = true;
      endSignal_.close();
    }
  }

  /// Leaves the reaping to the thread. False when the command has ended after all.
  bool abandon() {
    MutexLock lock(mutex_);
    abandoned_ = !ended_;
    return abandoned_;
  }

 private:
  const pid_t pid_;
  Mutex mutex_;
  Descriptor endSignal_ GUARDED_BY(mutex_);  // its closing is what the caller's poll sees
  bool ended_ GUARDED_BY(mutex_) = false;
  bool abandoned_ GUARDED_BY(mutex_) = false;
};

int millisecondsUntil(Clock::time_point time) {
  if (time == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<milliseconds>(time - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

/// What the caller watches of a running command.
struct Watch {
  Descriptor end;  // reads as closed once the command has ended
  Capture output;
  Capture errorOutput;

  bool commandEnded() const { return !end; }
  bool outputsEnded() const { return !output.isOpen() && !errorOutput.isOpen(); }

  /// Gathers output until `done` holds or the deadline has passed.
  template <class Done>
  void drain(Clock::time_point deadline, Done done) {
    while (!done()) {
      const int wait = millisecondsUntil(deadline);
      if (wait == 0) return;
      pollfd ready[] = {
          {end.fd(), POLLIN, 0}, {output.descriptor(), POLLIN, 0}, {errorOutput.descriptor(), POLLIN, 0}};
      if (::poll(ready, std::size(ready), wait) <= 0) continue;
      if (ready[0].revents != 0) end.close();
      if (ready[1].revents != 0) output.readSome();
      if (ready[2].revents != 0) errorOutput.readSome();
    }
  }
};

/// Ends the command's whole group. The command itself is unreaped, so the number is still theirs.
void endGroup(pid_t pid, Watch& watch) {
  // The command may be gone long before its grandchildren have finished tidying up, so the time is
  // given in full.
  ::kill(-pid, SIGTERM);
  watch.drain(Clock::now() + kMercy, [] { return false; });
  ::kill(-pid, SIGKILL);
  watch.drain(Clock::now() + kDeathThroes, [&] { return watch.commandEnded(); });
}

/// A server whose starter ignores SIGCHLD has inherited that, and the kernel would then throw every
/// exit status away.
void keepExitStatuses() {
  struct sigaction current {};
  if (::sigaction(SIGCHLD, nullptr, &current) != 0) return;
  if (current.sa_handler == SIG_IGN || (current.sa_flags & SA_NOCLDWAIT) != 0) std::signal(SIGCHLD, SIG_DFL);
}

std::string errorText(int error) { return std::generic_category().message(error); }

class SystemProcessRunner final : public ProcessRunner {
 public:
  ProcessOutcome run(const ProcessRequest& request) override {
    keepExitStatuses();
    ProcessOutcome outcome;
    Pipe output, errorOutput, end;
    int error = openPipe(output);
    if (error == 0 && !request.mergeErrorOutput) error = openPipe(errorOutput);
    if (error == 0) error = openPipe(end);
    pid_t pid = -1;
    if (error == 0) {
      error =
          spawn(request, output.writer, request.mergeErrorOutput ? output.writer : errorOutput.writer, pid);
    }
    if (error != 0) {
      outcome.startFailure = errorText(error);
      return outcome;
    }
    output.writer.close();
    errorOutput.writer.close();

    const auto waiter = std::make_shared<Waiter>(pid, std::move(end.writer));
    std::thread thread;
    try {
      thread = std::thread([waiter] { waiter->wait(); });
    } catch (const std::system_error& failure) {
      ::kill(-pid, SIGKILL);
      reap(pid);
      outcome.startFailure = errorText(failure.code().value());
      return outcome;
    }

    Watch watch{std::move(end.reader), Capture(std::move(output.reader)),
                request.mergeErrorOutput ? Capture() : Capture(std::move(errorOutput.reader))};
    watch.drain(request.timeoutSeconds > 0 ? deadlineAfter(request.timeoutSeconds) : Clock::time_point::max(),
                [&] { return watch.commandEnded(); });
    if (watch.commandEnded()) {
      watch.drain(Clock::now() + kGrace, [&] { return watch.outputsEnded(); });
    } else {
      outcome.timedOut = true;
      endGroup(pid, watch);
    }

    if (waiter->abandon()) {
      thread.detach();
    } else {
      thread.join();
      outcome.exitStatus = reap(pid);
    }
    outcome.output = watch.output.take(outcome.timedOut);
    outcome.errorOutput = watch.errorOutput.take(outcome.timedOut);
    return outcome;
  }
};

}  // namespace

ProcessRunner& ProcessRunner::system() {
  static SystemProcessRunner runner;
  return runner;
}

}  // namespace wyvlet
