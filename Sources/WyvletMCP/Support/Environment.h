#pragma once

#include <optional>
#include <string>

namespace wyvlet {

/// An environment variable, or nothing when it is not set. The environment is never changed after
/// start-up, so any thread may ask.
std::optional<std::string> environmentVariable(const char* name);

/// `HOME`, or "" when it is missing.
std::string homeFromEnvironment();

/// `HOME` when it is set and not empty, else the home directory of the user database, else "/".
std::string homeDirectory();

/// The directory of the running program: the first process argument without its last component
/// when it has one; for a program started by a bare name through PATH, the directory of the real
/// executable. Set once by main.
std::string programDirectory();
void setProgramPath(const char* argv0);

}  // namespace wyvlet
