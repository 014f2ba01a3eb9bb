#include "CommandLine/CommandLine.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "CommandLine/Check.h"
#include "CommandLine/Doctor.h"
#include "Support/Environment.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

constexpr int kUsageError = 2;

/// An argument in a message: whatever it holds, the message stays two lines of text.
std::string quoted(std::string_view argument) {
  std::string text = validUTF8(std::string(argument));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; },
      '?');
  return "'" + text + "'";
}

/// 0, or 1 when the text could not be written, as on a full disk.
int print(const std::string& text, std::FILE* stream) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stream) == text.size();
  return std::fflush(stream) == 0 && written ? 0 : 1;
}

int printReport() {
  const auto checks = runDoctor();
  const bool colours = usesColours(::isatty(STDOUT_FILENO) == 1, environmentVariable("NO_COLOR").value_or(""),
                                   environmentVariable("TERM").value_or(""));
  return std::max(print(versionText() + "\n" + formatReport(checks, colours), stdout), exitStatus(checks));
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
  using Action = CommandLine::Action;
  CommandLine line;
  for (const auto& argument : arguments) {
    Action action = Action::Error;
    if (argument == "--help") action = Action::Help;
    if (argument == "--version") action = Action::Version;
    if (argument == "--doctor") action = Action::Doctor;
    if (action == Action::Error) return {Action::Error, "unknown argument " + quoted(argument)};
    if (line.action == Action::Serve) line.action = action;
  }
  return line;
}

std::string helpText() {
  return "WyvletMCP gives an AI coding agent eyes and hands on a mobile app under test.\n"
         "\n"
         "Usage: WyvletMCP [option]\n"
         "\n"
         "Without an option it is a Model Context Protocol server: it reads JSON-RPC from standard\n"
         "input, one message a line, and answers on standard output. Agents start it that way.\n"
         "\n"
         "Options:\n"
         "  --doctor   check everything that the server depends on, with a remedy where something is\n"
         "             missing; exits with 1 when something needed is\n"
         "  --help     print this text\n"
         "  --version  print the version\n"
         "\n"
         "Environment:\n"
         "  WYVLET_PORT       the port of the local HTTP interface (default 8686)\n"
         "  WYVLET_HTTP_HOST  the one address it listens on (default: all IPv4 interfaces)\n"
         "  NO_COLOR          any text: no colours in the report of --doctor\n"
         "\n"
         "An agent's configuration: {\"mcpServers\": {\"wyvlet\": {\"command\": \"WyvletMCP\"}}}\n";
}

std::string versionText() { return "WyvletMCP " WYVLET_VERSION "\n"; }

std::string errorText(std::string_view problem) {
  return "WyvletMCP: " + std::string(problem) + "\nTry 'WyvletMCP --help'.\n";
}

std::optional<int> handleCommandLine(int argc, char** argv) {
  if (argc <= 1) return std::nullopt;
  const auto line = parseCommandLine({argv + 1, argv + argc});
  switch (line.action) {
    case CommandLine::Action::Serve: break;
    case CommandLine::Action::Help: return print(helpText(), stdout);
    case CommandLine::Action::Version: return print(versionText(), stdout);
    case CommandLine::Action::Doctor: setProgramPath(argv[0]); return printReport();
    case CommandLine::Action::Error: print(errorText(line.problem), stderr); return kUsageError;
  }
  return std::nullopt;
}

}  // namespace wyvlet
