#include <gtest/gtest.h>

#include "CommandLine/CommandLine.h"

namespace wyvlet {
namespace {

using Action = CommandLine::Action;

TEST(ParseCommandLine, NoArgumentsServe) {
  EXPECT_EQ((CommandLine{Action::Serve, ""}), parseCommandLine({}));
}

TEST(ParseCommandLine, EachOptionHasItsAction) {
  EXPECT_EQ((CommandLine{Action::Help, ""}), parseCommandLine({"--help"}));
  EXPECT_EQ((CommandLine{Action::Version, ""}), parseCommandLine({"--version"}));
  EXPECT_EQ((CommandLine{Action::Doctor, ""}), parseCommandLine({"--doctor"}));
}

TEST(ParseCommandLine, FirstOptionDecides) {
  EXPECT_EQ((CommandLine{Action::Version, ""}), parseCommandLine({"--version", "--doctor"}));
}

TEST(ParseCommandLine, WhatIsNotUnderstoodIsAnErrorWhereverItStands) {
  EXPECT_EQ((CommandLine{Action::Error, "unknown argument '--serve'"}), parseCommandLine({"--serve"}));
  EXPECT_EQ((CommandLine{Action::Error, "unknown argument 'x'"}), parseCommandLine({"--help", "x"}));
  EXPECT_EQ((CommandLine{Action::Error, "unknown argument ''"}), parseCommandLine({""}));
  EXPECT_EQ((CommandLine{Action::Error, "unknown argument '--HELP'"}), parseCommandLine({"--HELP"}));
  EXPECT_EQ((CommandLine{Action::Error, "unknown argument '--help '"}), parseCommandLine({"--help "}));
}

TEST(ParseCommandLine, AnErrorStaysOneLineOfText) {
  EXPECT_EQ((CommandLine{Action::Error, "unknown argument 'a?b?[31m\uFFFD'"}),
            parseCommandLine({"a\nb\033[31m\xFF"}));
}

TEST(CommandLineTexts, Version) { EXPECT_EQ("WyvletMCP 1.0.0\n", versionText()); }

TEST(CommandLineTexts, Error) {
  EXPECT_EQ("WyvletMCP: unknown argument 'x'\nTry 'WyvletMCP --help'.\n", errorText("unknown argument 'x'"));
}

TEST(CommandLineTexts, Help) {
  EXPECT_EQ(
      R"(WyvletMCP gives an AI coding agent eyes and hands on a mobile app under test.

Usage: WyvletMCP [option]

Without an option it is a Model Context Protocol server: it reads JSON-RPC from standard
input, one message a line, and answers on standard output. Agents start it that way.

Options:
  --doctor   check everything that the server depends on, with a remedy where something is
             missing; exits with 1 when something needed is
  --help     print this text
  --version  print the version

Environment:
  WYVLET_PORT       the port of the local HTTP interface (default 8686)
  WYVLET_HTTP_HOST  the one address it listens on (default: all IPv4 interfaces)
  NO_COLOR          any text: no colours in the report of --doctor

An agent's configuration: {"mcpServers": {"wyvlet": {"command": "WyvletMCP"}}}
)",
      helpText());
}

TEST(HandleCommandLine, ServesWithoutArguments) {
  char name[] = "WyvletMCP";
  char* arguments[] = {name, nullptr};
  EXPECT_EQ(std::nullopt, handleCommandLine(1, arguments));
  EXPECT_EQ(std::nullopt, handleCommandLine(0, arguments + 1));
}

TEST(HandleCommandLine, PrintsAndTellsTheExitStatus) {
  char name[] = "WyvletMCP";
  char version[] = "--version";
  char unknown[] = "--serve";
  char* asking[] = {name, version, nullptr};
  char* mistaken[] = {name, unknown, nullptr};

  ::testing::internal::CaptureStdout();
  EXPECT_EQ(0, handleCommandLine(2, asking));
  EXPECT_EQ("WyvletMCP 1.0.0\n", ::testing::internal::GetCapturedStdout());

  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(2, handleCommandLine(2, mistaken));
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("WyvletMCP: unknown argument '--serve'\nTry 'WyvletMCP --help'.\n",
            ::testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace wyvlet
