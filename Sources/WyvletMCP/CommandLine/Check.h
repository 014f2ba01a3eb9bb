#pragma once

#include <string>
#include <vector>

namespace wyvlet {

/// What the doctor found out about one thing that the server depends on.
struct Check {
  enum class State {
    Fine,
    Note,       ///< something is missing without which part of the tools work
    Failed,     ///< something needed is missing or broken
    NotNeeded,  ///< missing, and of no use on this system or for now
  };
  std::string name;
  State state = State::Fine;
  std::string detail;       ///< what was found
  std::string remedy = {};  ///< what to do about it; empty when there is nothing to do

  bool operator==(const Check&) const = default;
};

/// The report as a person reads it: a line for each check, its remedy behind an arrow, and a summary.
/// Control characters are left out, since details quote what apps and files say. Pure.
std::string formatReport(const std::vector<Check>& checks, bool withColours);

/// The exit status of the doctor: 1 when a check failed, else 0. Pure.
int exitStatus(const std::vector<Check>& checks);

/// Whether a report that goes to a terminal (or not) gets colours, given the variables NO_COLOR and TERM
/// ("" when unset). Pure.
bool usesColours(bool isTerminal, const std::string& noColor, const std::string& term);

}  // namespace wyvlet
