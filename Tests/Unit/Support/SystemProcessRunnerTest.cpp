#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Support/ProcessRunner.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Clock = std::chrono::steady_clock;

ProcessOutcome run(std::vector<std::string> arguments, double timeoutSeconds = 0) {
  ProcessRequest request;
  request.arguments = std::move(arguments);
  request.timeoutSeconds = timeoutSeconds;
  return ProcessRunner::system().run(request);
}

ProcessOutcome shell(const std::string& command, double timeoutSeconds = 0) {
  return run({"/bin/sh", "-c", command}, timeoutSeconds);
}

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::size_t entriesIn(const char* directory) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

/// What `body` returns when it runs in a process of its own with nothing else in it.
int inOwnProcess(const std::function<int()>& body) {
  const pid_t pid = ::fork();
  if (pid == 0) std::_Exit(body());
  int status = 0;
  EXPECT_EQ(::waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status);
}

/// Whether any child is left, running or not yet reaped. Reaps nothing.
bool hasChildren() {
  siginfo_t info;
  return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// A folder that goes away with the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "runner-test-XXXXXX").string();
    path_ = ::mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// A FIFO whose read end tells whether any process that was given its name for writing still lives.
class LifeLine {
 public:
  explicit LifeLine(const std::string& path) : path_(path) {
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    reader_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_GE(reader_, 0);
  }
  ~LifeLine() { ::close(reader_); }
  LifeLine(const LifeLine&) = delete;
  LifeLine& operator=(const LifeLine&) = delete;

  /// Waits until every holder has ended; false when one still lives after ten seconds.
  bool allEnded() const {
    pollfd waiting{reader_, POLLIN, 0};
    return ::poll(&waiting, 1, 10000) == 1 && (waiting.revents & POLLHUP) != 0;
  }
  bool anyAlive() const {
    pollfd waiting{reader_, POLLIN, 0};
    return ::poll(&waiting, 1, 0) == 0;
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int reader_ = -1;
};

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(SystemProcessRunner, OutputsAreKeptApart) {
  const auto outcome = shell("echo out; echo err >&2; exit 7");
  EXPECT_TRUE(outcome.started());
  EXPECT_EQ(outcome.output, "out\n");
  EXPECT_EQ(outcome.errorOutput, "err\n");
  EXPECT_EQ(outcome.exitStatus, 7);
  EXPECT_FALSE(outcome.timedOut);
}

TEST(SystemProcessRunner, MergedErrorOutputKeepsItsPlace) {
  ProcessRequest request;
  request.arguments = {"/bin/sh", "-c", "echo 1; echo 2 >&2; echo 3"};
  request.mergeErrorOutput = true;
  const auto outcome = ProcessRunner::system().run(request);
  EXPECT_EQ(outcome.output, "1\n2\n3\n");
  EXPECT_EQ(outcome.errorOutput, "");
}

TEST(SystemProcessRunner, ASignalCountsAs128PlusItsNumber) {
  EXPECT_EQ(shell("kill -9 $$").exitStatus, 128 + SIGKILL);
}

TEST(SystemProcessRunner, ArgumentsArriveAsTheyAre) {
  const auto outcome = run({"printf", "<%s>", "", "a b", "$(id)", "it's", "line\nbreak", "*", "\"", "é"});
  EXPECT_EQ(outcome.output, "<><a b><$(id)><it's><line\nbreak><*><\"><é>");
}

TEST(SystemProcessRunner, NULBytesAreLeftOutOfArguments) {
  EXPECT_EQ(run({"printf", "<%s>", std::string("a\0b", 3)}).output, "<ab>");
}

TEST(SystemProcessRunner, BinaryOutputIsUntouched) {
  EXPECT_EQ(shell("printf 'a\\000\\377\\303'").output, std::string("a\0\xFF\xC3", 4));
}

TEST(SystemProcessRunner, StartFailuresSayWhy) {
  const TemporaryFolder folder;
  std::ofstream(folder / "plain") << "text";
  EXPECT_EQ(run({folder / "missing"}).startFailure, "No such file or directory");
  EXPECT_EQ(run({"wyvlet-no-such-program"}).startFailure, "No such file or directory");
  EXPECT_EQ(run({folder / "plain"}).startFailure, "Permission denied");
  EXPECT_EQ(run({""}).startFailure, "No such file or directory");
  EXPECT_EQ(run({}).startFailure, "No such file or directory");
  EXPECT_EQ(run({"echo", std::string(8 << 20, 'x')}).startFailure, "Argument list too long");
  EXPECT_FALSE(run({folder / "missing"}).started());
}

TEST(SystemProcessRunner, EnvironmentIsSetOnTopOfTheInheritedOne) {
  ASSERT_EQ(::setenv("RUNNER_TEST_KEPT", "kept", 1), 0);
  ASSERT_EQ(::setenv("RUNNER_TEST_REPLACED", "old", 1), 0);
  ProcessRequest request;
  request.arguments = {"/bin/sh", "-c", "env | grep '^RUNNER_TEST' | sort"};
  request.environment = {{"RUNNER_TEST_REPLACED", "new value"}, {"RUNNER_TEST_ADDED", "a=b"}};
  EXPECT_EQ(ProcessRunner::system().run(request).output,
            "RUNNER_TEST_ADDED=a=b\nRUNNER_TEST_KEPT=kept\nRUNNER_TEST_REPLACED=new value\n");
}

TEST(SystemProcessRunner, StandardInputIsEmpty) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "for the server\n", 15), 15);
  const int saved = ::dup(STDIN_FILENO);
  ASSERT_GE(::dup2(ends[0], STDIN_FILENO), 0);
  const auto outcome = run({"cat"}, 10);
  if (saved >= 0) ::dup2(saved, STDIN_FILENO);
  for (const int fd : {ends[0], ends[1], saved}) ::close(fd);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_FALSE(outcome.timedOut);
}

TEST(SystemProcessRunner, OwnProcessGroup) {
  const auto group =
      std::stol(run({"/bin/sh", "-c", "ps -o pgid= -p $$ || cut -d' ' -f5 /proc/$$/stat"}).output);
  EXPECT_NE(group, ::getpgrp());
}

#if defined(__linux__)

TEST(SystemProcessRunner, NoDescriptorButItsThree) {
  std::vector<int> opened;
  for (int number : {100, 700}) opened.push_back(::fcntl(STDERR_FILENO, F_DUPFD, number));
  const auto outcome = shell("for fd in /proc/$$/fd/*; do echo \"[${fd##*/}]\"; done");
  for (const int fd : opened) {
    ASSERT_GE(fd, 0);
    EXPECT_THAT(outcome.output, Not(HasSubstr("[" + std::to_string(fd) + "]")));
    ::close(fd);
  }
  for (const char* expected : {"[0]", "[1]", "[2]"}) EXPECT_THAT(outcome.output, HasSubstr(expected));
}

TEST(SystemProcessRunner, StandardDescriptorsClosedInTheServerAreStillOpenInTheCommand) {
  EXPECT_TRUE(inOwnProcess([] {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(fd);
    const auto outcome = shell("cat; echo out; echo err >&2");
    return outcome.output == "out\n" && outcome.errorOutput == "err\n";
  }));
}

TEST(SystemProcessRunner, SignalsAreAtTheirDefaults) {
  const auto previous = std::signal(SIGPIPE, SIG_IGN);
  sigset_t blocked, old;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &old);
  const auto status = run({"cat", "/proc/self/status"}).output;
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
  std::signal(SIGPIPE, previous);
  const auto mask = [&](const std::string& name) {
    return std::stoull(status.substr(status.find(name + ":\t") + name.size() + 2, 16), nullptr, 16);
  };
  // The C library keeps two signals of its own, 32 and 33, ignored.
  constexpr unsigned long long kLibrarySignals = 0x180000000;
  EXPECT_EQ(mask("SigBlk"), 0u);
  EXPECT_EQ(mask("SigIgn") & ~kLibrarySignals, 0u);
  EXPECT_EQ(mask("SigCgt"), 0u);
}

#endif

TEST(SystemProcessRunner, FloodsOfBothOutputsArriveWhole) {
  constexpr std::size_t kBytes = 8 << 20;
  const auto amount = std::to_string(kBytes);
  const auto outcome = shell("head -c " + amount + " /dev/zero >&2 & head -c " + amount +
                             " /dev/zero | tr '\\0' x; wait; echo end");
  EXPECT_EQ(outcome.output.size(), kBytes + 4);
  EXPECT_TRUE(outcome.output.ends_with("xxend\n"));
  EXPECT_EQ(outcome.errorOutput.size(), kBytes);
}

TEST(SystemProcessRunner, OutputUpToTheLimitIsKept) {
  const auto limit = ProcessOutcome::kMaxOutputBytes;
  const auto outcome = shell("head -c " + std::to_string(limit) + " /dev/zero");
  EXPECT_EQ(outcome.output.size(), limit);
}

TEST(SystemProcessRunner, OutputBeyondTheLimitIsDroppedAndTheCommandFinishes) {
  // One byte, then characters of two bytes: the limit falls inside one.
  const auto outcome = shell("printf x; yes é | tr -d '\\n' | head -c 70000000; exit 3");
  EXPECT_EQ(outcome.exitStatus, 3);
  EXPECT_EQ(outcome.output.size(), ProcessOutcome::kMaxOutputBytes - 1);
  EXPECT_TRUE(outcome.output.ends_with("éé"));
}

TEST(SystemProcessRunner, TimeoutKeepsWhatWasWritten) {
  const auto start = Clock::now();
  const auto outcome = shell("echo before; printf '\\303'; sleep 60; echo after", 0.2);
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_TRUE(outcome.started());
  EXPECT_EQ(outcome.output, "before\n") << "half a character at the cut";
  EXPECT_EQ(outcome.exitStatus, 128 + SIGTERM);
  EXPECT_GE(secondsSince(start), 0.2);
  EXPECT_LT(secondsSince(start), 20.0);
}

TEST(SystemProcessRunner, AFloodTimesOutToo) {
  const auto start = Clock::now();
  const auto outcome = shell("exec yes", 0.3);
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_LE(outcome.output.size(), ProcessOutcome::kMaxOutputBytes);
  EXPECT_TRUE(outcome.output.starts_with("y\ny\n"));
  EXPECT_LT(secondsSince(start), 20.0);
}

TEST(SystemProcessRunner, ACommandThatIgnoresSIGTERMIsKilled) {
  const auto start = Clock::now();
  const auto outcome = shell("trap '' TERM; echo started; sleep 60 & wait; sleep 60", 0.2);
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_EQ(outcome.output, "started\n");
  EXPECT_EQ(outcome.exitStatus, 128 + SIGKILL);
  EXPECT_GE(secondsSince(start), 0.7);
  EXPECT_LT(secondsSince(start), 20.0);
}

TEST(SystemProcessRunner, TimeoutEndsGrandchildrenThatIgnoreSIGTERMAndHaveLetGoOfTheOutput) {
  const TemporaryFolder folder;
  const LifeLine alive(folder / "alive");
  const auto outcome =
      shell("(trap '' TERM; exec sleep 60 >/dev/null 2>&1 3>'" + alive.path() + "') & sleep 60", 0.3);
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_TRUE(alive.allEnded());
}

TEST(SystemProcessRunner, GrandchildrenHaveHalfASecondToTidyUp) {
  const TemporaryFolder folder;
  const auto outcome = shell("(trap 'sleep 0.2; echo tidy > \"" + (folder / "note") +
                                 "\"; exit' TERM; sleep 60 & wait) >/dev/null 2>&1 & exec sleep 60",
                             0.3);
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_EQ(contents(folder / "note"), "tidy\n");
}

TEST(SystemProcessRunner, AProcessLeftBehindLivesOnAndDoesNotHoldTheAnswerUp) {
  const TemporaryFolder folder;
  const LifeLine alive(folder / "alive");
  const auto start = Clock::now();
  const auto outcome = shell("sleep 60 3>'" + alive.path() + "' & echo $!", 30);
  EXPECT_LT(secondsSince(start), 20.0);
  EXPECT_FALSE(outcome.timedOut);
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_TRUE(alive.anyAlive());
  ::kill(std::stoi(outcome.output), SIGKILL);
  EXPECT_TRUE(alive.allEnded());
}

TEST(SystemProcessRunner, AFloodLeftBehindDoesNotHoldTheAnswerUp) {
  const auto start = Clock::now();
  const auto outcome = shell("yes & echo done", 30);
  EXPECT_FALSE(outcome.timedOut);
  EXPECT_LT(secondsSince(start), 20.0);
  EXPECT_THAT(outcome.output, HasSubstr("done\n"));
}

TEST(SystemProcessRunner, WhatAProcessLeftBehindWritesWithinTheGraceIsTaken) {
  EXPECT_EQ(shell("(sleep 0.05; echo late) & echo early").output, "early\nlate\n");
}

TEST(SystemProcessRunner, ACommandThatClosesItsOutputsIsStillWaitedFor) {
  const auto outcome = shell("exec >&- 2>&-; sleep 0.3; exit 9");
  EXPECT_EQ(outcome.exitStatus, 9);
}

TEST(SystemProcessRunner, AnIgnoredSIGCHLDCostsNoExitStatus) {
  EXPECT_EQ(inOwnProcess([] {
              std::signal(SIGCHLD, SIG_IGN);
              return shell("exit 7").exitStatus;
            }),
            7);
}

TEST(SystemProcessRunner, ASlowCommandHoldsNobodyUp) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "gate").c_str(), 0600), 0);
  std::thread slow([&] { EXPECT_EQ(shell("cat '" + (folder / "gate") + "'").output, "opened\n"); });
  EXPECT_EQ(shell("echo quick").output, "quick\n");
  std::ofstream(folder / "gate") << "opened\n";
  slow.join();
}

#if defined(__linux__)

// The counts need quiet: a process with nothing else in it.
TEST(SystemProcessRunner, AThousandCommandsLeaveNothingBehind) {
  EXPECT_TRUE(inOwnProcess([] {
    shell("true");
    const auto descriptors = entriesIn("/proc/self/fd");
    const auto threads = entriesIn("/proc/self/task");
    bool right = true;
    for (int i = 0; i < 1000; ++i) {
      const auto text = std::to_string(i);
      right = right && run({"echo", text}).output == text + "\n";
    }
    for (int i = 0; i < 5; ++i) {
      right = right && !run({"/no/such/program"}).started();
      right = right && shell("sleep 0.4 & true").exitStatus == 0;
    }
    right = right && shell("sleep 60", 0.05).timedOut;
    right = right && entriesIn("/proc/self/fd") == descriptors;
    right = right && entriesIn("/proc/self/task") == threads;
    return right && !hasChildren();
  }));
}

TEST(SystemProcessRunner, ManyAtOnceGetTheirOwnAnswers) {
  EXPECT_TRUE(inOwnProcess([] {
    const auto descriptors = entriesIn("/proc/self/fd");
    std::atomic<int> right = 0;
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 16; ++caller) {
      callers.emplace_back([caller, &right] {
        for (int i = 0; i < 20; ++i) {
          const auto status = (caller * 20 + i) % 100;
          const auto outcome = shell("echo " + std::to_string(caller) + "; exit " + std::to_string(status));
          if (outcome.output == std::to_string(caller) + "\n" && outcome.exitStatus == status) ++right;
        }
      });
    }
    for (auto& caller : callers) caller.join();
    const bool clean = !hasChildren() && entriesIn("/proc/self/fd") == descriptors;
    return right == 320 && clean;
  }));
}

TEST(SystemProcessRunner, RunningOutOfDescriptorsIsAStartFailureAndPasses) {
  EXPECT_TRUE(inOwnProcess([] {
    bool refused = true;
    std::vector<int> hoard;
    const rlimit few{64, 64};
    ::setrlimit(RLIMIT_NOFILE, &few);
    for (int fd = ::dup(0); fd >= 0; fd = ::dup(0)) hoard.push_back(fd);
    // Between none and the six that a command needs.
    for (int i = 0; i < 6; ++i) {
      refused = refused && run({"echo"}).startFailure == "Too many open files";
      ::close(hoard.back());
      hoard.pop_back();
    }
    return refused && run({"echo", "works"}).output == "works\n";
  }));
}

// A tracer that does not collect its tracee's end keeps even a killed process from being waited for,
// as a hung driver would.
TEST(SystemProcessRunner, ACommandThatNotEvenSIGKILLEndsIsGivenUpAndReapedLater) {
  const TemporaryFolder folder;
  for (const char* fifo : {"pid", "go"}) ASSERT_EQ(::mkfifo((folder / fifo).c_str(), 0600), 0);
  const pid_t tracer = ::fork();
  if (tracer == 0) {
    pid_t pid = 0;
    std::ifstream(folder / "pid") >> pid;
    const bool traced = ::ptrace(PTRACE_SEIZE, pid, nullptr, nullptr) == 0;
    std::ofstream(folder / "go") << (traced ? "traced\n" : "this machine forbids tracing\n");
    for (;;) ::pause();
  }
  const auto start = Clock::now();
  const auto outcome = shell("echo $$ > '" + (folder / "pid") + "'; read word < '" + (folder / "go") +
                                 "'; echo $word; exec sleep 60",
                             2.0);
  EXPECT_LT(secondsSince(start), 20.0);
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_EQ(outcome.output, "traced\n");
  EXPECT_EQ(outcome.exitStatus, -1);
  ::kill(tracer, SIGKILL);
  ASSERT_EQ(::waitpid(tracer, nullptr, 0), tracer);
  // The waiter's thread reaps the command as soon as it can.
  while (hasChildren()) std::this_thread::yield();
}

#endif

}  // namespace
}  // namespace wyvlet
