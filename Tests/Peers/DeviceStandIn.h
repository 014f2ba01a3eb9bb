#pragma once

#include <string>
#include <vector>

#include "Peers/StandIns.h"

namespace wyvlet::test {

/// An Android device as the server knows it: a stand-in for adb below a home directory that serves a
/// recorded screen dump. Made before the test starts threads.
class DeviceStandIn {
 public:
  /// Shows nothing yet: dumps are empty.
  explicit DeviceStandIn(const std::string& home);

  /// The dumps from now on are this one of the collection in Tests/Corpora/uidump.
  void show(const std::string& dump);
  /// From now on every call fails, as without a device.
  void disconnect();

  /// The calls of adb so far, each as its arguments.
  std::vector<std::vector<std::string>> calls() const;

 private:
  StandIns standIns_;
};

/// A dump of the collection.
std::string recordedDump(const std::string& name);

}  // namespace wyvlet::test
