// Stands in for xcrun, axe, adb, xcodebuild, codesign and open, under whichever name a link gives it:
// records how it was called and behaves as the test has told it to. See StandIns.h.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>

namespace {

namespace json = boost::json;

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::string readStandardInput() {
  std::string input;
  char chunk[4096];
  for (ssize_t count = 0; (count = ::read(STDIN_FILENO, chunk, sizeof chunk)) > 0;) {
    input.append(chunk, static_cast<std::size_t>(count));
  }
  return input;
}

json::object describeCall(const std::string& tool, int argc, char** argv) {
  json::array arguments;
  for (int i = 1; i < argc; ++i) arguments.emplace_back(argv[i]);
  json::object environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const auto equals = text.find('=');
    if (equals != std::string_view::npos) environment[text.substr(0, equals)] = text.substr(equals + 1);
  }
  return {{"tool", tool},
          {"arguments", std::move(arguments)},
          {"environment", std::move(environment)},
          {"input", readStandardInput()}};
}

/// One line in one write, so that calls may overlap.
void record(const std::string& folder, const json::object& call) {
  const int file = ::open((folder + "/calls").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  writeAll(file, json::serialize(call) + "\n");
  ::close(file);
}

/// The first behaviour whose "when" occurs in the arguments; an empty one when there is none.
json::object behaviour(const std::string& folder, const std::string& tool, const json::array& arguments) {
  std::ifstream file(folder + "/" + tool + ".json");
  const std::string text(std::istreambuf_iterator<char>(file), {});
  if (text.empty()) return {};
  std::string line;
  for (const auto& argument : arguments) line += std::string(argument.as_string()) + " ";
  auto behaviours = json::parse(text);
  for (auto& candidate : behaviours.as_array()) {
    auto& object = candidate.as_object();
    const auto* when = object.if_contains("when");
    if (when == nullptr || line.find(std::string_view(when->as_string())) != std::string::npos) return object;
  }
  return {};
}

std::string text(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value != nullptr ? std::string(value->as_string()) : "";
}

double number(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value != nullptr ? value->to_number<double>() : 0;
}

bool flag(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  return value != nullptr && value->as_bool();
}

void sleepFor(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

/// A child that lives on with the outputs open, and holds the life line of the test while it does.
void leaveGrandchild(const std::string& folder, double seconds, bool asDaemon) {
  if (::fork() != 0) return;
  if (asDaemon) ::setsid();
  ::open((folder + "/lifeline").c_str(), O_WRONLY | O_NONBLOCK);
  sleepFor(seconds);
  ::_exit(0);
}

void flood(int descriptor, double bytes) {
  const std::string block(1 << 16, 'x');
  for (auto left = static_cast<std::size_t>(bytes); left > 0; left -= std::min(left, block.size())) {
    writeAll(descriptor, std::string_view(block).substr(0, left));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const char* folder = std::getenv("WYVLET_STAND_INS");
  if (folder == nullptr) return 125;
  std::string tool = argv[0];
  tool.erase(0, tool.rfind('/') + 1);
  const auto call = describeCall(tool, argc, argv);
  record(folder, call);

  const auto told = behaviour(folder, tool, call.at("arguments").as_array());
  if (flag(told, "ignoreTerm")) std::signal(SIGTERM, SIG_IGN);
  if (const auto bytes = text(told, "file"); !bytes.empty()) std::ofstream(argv[argc - 1]) << bytes;
  if (told.contains("grandchild")) leaveGrandchild(folder, number(told, "grandchild"), false);
  if (told.contains("daemon")) leaveGrandchild(folder, number(told, "daemon"), true);
  writeAll(STDOUT_FILENO, text(told, "output"));
  writeAll(STDERR_FILENO, text(told, "error"));
  if (const double bytes = number(told, "flood"); bytes > 0) {
    std::thread errors(flood, STDERR_FILENO, bytes);
    flood(STDOUT_FILENO, bytes);
    errors.join();
  }
  sleepFor(number(told, "seconds"));
  return static_cast<int>(number(told, "status"));
}
