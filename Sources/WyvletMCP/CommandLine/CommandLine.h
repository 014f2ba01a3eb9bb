#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet {

/// What the program was asked to do.
struct CommandLine {
  enum class Action {
    Serve,    ///< no arguments: answer MCP on standard input and output
    Help,     ///< print how to use it
    Version,  ///< print which one it is
    Doctor,   ///< look at everything it depends on
    Error,    ///< `problem` says what cannot be understood
  };
  Action action = Action::Serve;
  std::string problem = {};

  bool operator==(const CommandLine&) const = default;
};

/// Reads the arguments that follow the program's name. Pure. One argument that is not understood makes
/// the whole line an error: a server started by a misspelt option would wait in silence for requests.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// What the options print, line feeds included. Pure.
std::string helpText();
std::string versionText();
std::string errorText(std::string_view problem);

/// Carries out whatever the arguments ask for besides serving. Returns the exit status when the process is
/// done, and nothing, at once, when it shall serve. Blocks for a few seconds at most, for the doctor. Main
/// calls it before it starts anything.
std::optional<int> handleCommandLine(int argc, char** argv);

}  // namespace wyvlet
