#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/Result.h"

namespace wyvlet::sample {

/// How a sample app is started.
struct Options {
  std::uint16_t port = kDirectPort;  ///< 0 takes a free one
  bool announce = true;              ///< by DNS-SD, where a daemon runs
  std::string name = "Harbor Travel";
  std::string marker = "/tmp/wyvletprobe_ready";  ///< "" for none
  std::string control;                            ///< "" for a fresh path
  std::string bundleId = "com.harbor.travel";
  std::string crashDirectory = "/tmp";
  double holdSeconds = 30;   ///< how long an intercept rule holds a call
  double latencyFactor = 1;  ///< by how much the backend's times are stretched
  int scale = 1;             ///< pixels of a screenshot to a point, 1 to 3
  bool help = false;
};

/// Reads the command line, without the program's name. The failure is the line to show.
Result<Options> parseOptions(const std::vector<std::string>& arguments);

/// What --help prints.
std::string_view usageText();

}  // namespace wyvlet::sample
