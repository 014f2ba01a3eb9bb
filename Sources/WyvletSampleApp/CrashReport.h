#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wyvlet::sample {

/// What the crash handler leaves behind for the agent.
struct CrashReport {
  std::string type;  // "Signal" or "Exception"
  std::string name;  // "SIGABRT"
  std::string reason;
  std::string screen;       // the screen that was showing
  std::string lastRequest;  // the last API call; "" when there was none
  std::string timestamp;
  std::vector<std::string> stack;
};

/// The report as one JSON object; without "lastRequest" when there was no call.
std::string crashJSON(const CrashReport& report);

/// "DIRECTORY/wyvlet_crash_com_harbor_travel.json": every character of the bundle identifier outside
/// letters, digits, "-" and "_" becomes "_".
std::string crashFilePath(std::string_view directory, std::string_view bundleId);

/// Completes the report with the time and the calling thread's stack, writes it and ends the process
/// by SIGABRT, without a core file.
[[noreturn]] void crashWith(CrashReport report, const std::string& path);

}  // namespace wyvlet::sample
