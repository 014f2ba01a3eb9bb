#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Support/ProcessRunner.h"

namespace wyvlet::test {

/// Answers for external commands what the test wants, and remembers what was asked. Any thread.
class RecordingRunner : public ProcessRunner {
 public:
  using Answer = std::function<ProcessOutcome(const std::string& commandLine)>;

  explicit RecordingRunner(Answer answer = [](const std::string&) { return succeeded(""); })
      : answer_(std::move(answer)) {}

  static ProcessOutcome succeeded(std::string output) {
    ProcessOutcome outcome;
    outcome.output = std::move(output);
    outcome.exitStatus = 0;
    return outcome;
  }
  static ProcessOutcome failed(int exitStatus, std::string output = "") {
    ProcessOutcome outcome;
    outcome.output = std::move(output);
    outcome.exitStatus = exitStatus;
    return outcome;
  }

  ProcessOutcome run(const ProcessRequest& request) override {
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    return answer_(request.arguments.back());
  }

  std::vector<ProcessRequest> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

  /// The command lines, without the shell before them.
  std::vector<std::string> commandLines() const {
    std::vector<std::string> lines;
    for (const auto& request : requests()) lines.push_back(request.arguments.back());
    return lines;
  }

 private:
  Answer answer_;
  mutable std::mutex mutex_;
  std::vector<ProcessRequest> requests_;
};

}  // namespace wyvlet::test
