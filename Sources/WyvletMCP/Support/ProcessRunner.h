#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace wyvlet {

/// One external command.
struct ProcessRequest {
  std::vector<std::string>
      arguments;  ///< the program (a path, or a name looked up on PATH) and its arguments
  std::vector<std::pair<std::string, std::string>> environment;  ///< set on top of the inherited ones
  bool mergeErrorOutput = false;                                 ///< standard error goes into `output` too
  double timeoutSeconds = 0;                                     ///< 0 or less: no limit
};

/// How a command ended.
struct ProcessOutcome {
  /// What is kept of each output; the rest is drained and dropped.
  static constexpr std::size_t kMaxOutputBytes = std::size_t{64} << 20;

  std::string
      startFailure;    ///< not empty: the command could not be started, and why ("No such file or directory")
  std::string output;  ///< what it wrote to standard output until it ended or was ended
  std::string errorOutput;  ///< the same for standard error, unless merged
  int exitStatus = -1;      ///< exit code, or 128 plus the signal that ended it
  bool timedOut = false;    ///< it outlived its limit and was ended

  bool started() const { return startFailure.empty(); }
};

/// Runs external commands; the one way by which the server starts a process. Any thread, any number
/// at a time.
///
/// The command gets an empty standard input, a process group of its own and no descriptor but its
/// three; signals are at their defaults. Both outputs are drained while it runs, so that no amount of output
/// can block it. A command that outlives its limit is ended with its whole group, grandchildren included:
/// SIGTERM, then SIGKILL half a second later. After the command itself has ended, output that a process left
/// behind may still write is waited for during a short grace only. The command is always reaped. Blocks the
/// caller until then, so for at most the limit plus a second when there is one: a command that not even
/// SIGKILL ends within that time is reaped later, behind the caller's back, and has the exit status -1.
/// An output that was cut, by its limit or because the command was ended, is cut between UTF-8 characters.
class ProcessRunner {
 public:
  virtual ~ProcessRunner() = default;
  virtual ProcessOutcome run(const ProcessRequest& request) = 0;

  /// The real one; lives as long as the process.
  static ProcessRunner& system();
};

}  // namespace wyvlet
