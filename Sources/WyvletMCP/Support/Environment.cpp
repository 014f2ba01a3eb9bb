#include "Support/Environment.h"

#include <pwd.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <vector>
#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif

namespace wyvlet {
namespace {

std::string& programDirectoryStorage() {
  static std::string directory = ".";
  return directory;
}

/// The path without its last component: "/usr/bin" for "/usr/bin/x", "." for "x".
std::string parentDirectory(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::optional<std::string> executablePath() {
#if defined(__APPLE__)
  char path[PATH_MAX];
  uint32_t size = sizeof path;
  if (_NSGetExecutablePath(path, &size) != 0) return std::nullopt;
  return std::string(path);
#else
  char path[PATH_MAX];
  const auto length = ::readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return std::nullopt;
  return std::string(path, static_cast<std::size_t>(length));
#endif
}

}  // namespace

std::optional<std::string> environmentVariable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::string homeFromEnvironment() { return environmentVariable("HOME").value_or(""); }

std::string homeDirectory() {
  if (auto home = homeFromEnvironment(); !home.empty()) return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && *found->pw_dir != '\0') {
    return found->pw_dir;
  }
  return "/";
}

std::string programDirectory() { return programDirectoryStorage(); }

void setProgramPath(const char* argv0) {
  if (argv0 == nullptr) return;
  std::string path = argv0;
  if (path.find('/') == std::string::npos) path = executablePath().value_or(path);
  programDirectoryStorage() = parentDirectory(path);
}

}  // namespace wyvlet
