#include "WyvletSampleApp/CrashReport.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <boost/json.hpp>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace wyvlet::sample {
namespace {

std::string timeText() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  std::array<char, 32> buffer{};
  std::strftime(buffer.data(), buffer.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return buffer.data();
}

/// "binary(_ZN3fooEv+0x12) [0x...]" with the name in the form in which it was written.
std::string readable(std::string_view frame) {
  const auto start = frame.find("_Z");
  const auto end = frame.find_first_of("+ )", start);
  if (start == std::string_view::npos || end == std::string_view::npos) return std::string(frame);
  const std::string symbol(frame.substr(start, end - start));
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), std::free);
  if (status != 0 || name == nullptr) return std::string(frame);
  return std::string(frame.substr(0, start)) + name.get() + std::string(frame.substr(end));
}

std::vector<std::string> currentStack() {
  std::array<void*, 64> addresses{};
  const int count = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
  const std::unique_ptr<char*, void (*)(void*)> symbols(::backtrace_symbols(addresses.data(), count),
                                                        std::free);
  std::vector<std::string> stack;
  for (int i = 0; symbols != nullptr && i < count; ++i) stack.push_back(readable(symbols.get()[i]));
  return stack;
}

}  // namespace

std::string crashJSON(const CrashReport& report) {
  boost::json::object object = {
      {"type", report.type}, {"name", report.name}, {"reason", report.reason}, {"screen", report.screen}};
  if (!report.lastRequest.empty()) object["lastRequest"] = report.lastRequest;
  object["timestamp"] = report.timestamp;
  object["stack"] = boost::json::value_from(report.stack);
  return boost::json::serialize(object);
}

std::string crashFilePath(std::string_view directory, std::string_view bundleId) {
  std::string path = std::string(directory) + "/wyvlet_crash_";
  for (char c : bundleId) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) == 0x80) continue;  // inside a character that has got its "_"
    const bool plain = (byte < 0x80 && std::isalnum(byte) != 0) || c == '-' || c == '_';
    path += plain ? c : '_';
  }
  return path + ".json";
}

void crashWith(CrashReport report, const std::string& path) {
  report.timestamp = timeText();
  report.stack = currentStack();
  if (std::FILE* file = std::fopen(path.c_str(), "we")) {
    const std::string json = crashJSON(report);
    std::fwrite(json.data(), 1, json.size(), file);
    std::fclose(file);
  }
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  std::signal(SIGABRT, SIG_DFL);
  std::abort();
}

}  // namespace wyvlet::sample
