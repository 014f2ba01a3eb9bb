#include <gtest/gtest.h>

#include <chrono>

#include "Devices/Shell.h"
#include "Unit/Android/RecordingRunner.h"

namespace wyvlet {
namespace {

using test::RecordingRunner;

TEST(Shell, RunsTheCommandLineInZshWithErrorsMerged) {
  RecordingRunner runner;
  runShell(runner, "xcrun simctl list", 30);
  ASSERT_EQ(runner.requests().size(), 1u);
  const auto request = runner.requests()[0];
  EXPECT_EQ(request.arguments, (std::vector<std::string>{"/bin/zsh", "-c", "xcrun simctl list"}));
  EXPECT_TRUE(request.environment.empty());
  EXPECT_TRUE(request.mergeErrorOutput);
  EXPECT_EQ(request.timeoutSeconds, 30);
}

TEST(Shell, OutputIsTrimmed) {
  RecordingRunner runner(
      [](const std::string&) { return RecordingRunner::succeeded(" \t\r\n one\n two \n\n"); });
  EXPECT_EQ(runShell(runner, "", 1).output, "one\n two");
}

TEST(Shell, ASilentCommandHasEmptyOutput) {
  RecordingRunner runner;
  EXPECT_EQ(runShell(runner, "", 1).output, "");
}

TEST(Shell, OutputThatIsNotUTF8IsAbsent) {
  RecordingRunner runner([](const std::string&) { return RecordingRunner::succeeded("caf\xE9"); });
  EXPECT_EQ(runShell(runner, "", 1).output, std::nullopt);
}

TEST(Shell, AShellThatCannotBeStartedHasNoOutput) {
  RecordingRunner runner([](const std::string&) {
    ProcessOutcome outcome;
    outcome.startFailure = "No such file or directory";
    return outcome;
  });
  EXPECT_EQ(runShell(runner, "", 1).output, std::nullopt);
}

TEST(Shell, ACommandThatRunsOutOfTimeAnswersWhatItHadWritten) {
  const auto start = std::chrono::steady_clock::now();
  const auto result = runShell(ProcessRunner::system(), "echo before; sleep 60; echo after", 0.3);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.output, "before");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(Shell, MegabytesArriveWhole) {
  const auto result =
      runShell(ProcessRunner::system(), "head -c 5000000 /dev/zero | tr '\\0' x; echo; print -u2 end", 60);
  ASSERT_TRUE(result.output);
  EXPECT_EQ(result.output->size(), 5000004u);
  EXPECT_TRUE(result.output->ends_with("x\nend"));
  EXPECT_EQ(result.exitStatus, 0);
}

}  // namespace
}  // namespace wyvlet
