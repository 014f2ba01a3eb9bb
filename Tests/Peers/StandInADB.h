#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wyvlet::test {

/// A script in the place of adb below a home directory: records how it was called and serves a
/// recorded screen dump.
class StandInADB {
 public:
  explicit StandInADB(const std::string& home);

  /// What the device shows from now on; a dump made earlier stays what it was until the next one.
  void show(std::string_view xml);
  /// From now on every call fails, as without a device.
  void disconnect();

  /// The calls so far: every argument in square brackets.
  std::vector<std::string> calls() const;

 private:
  std::string folder_;
};

/// A recorded dump of the collection.
std::string recordedDump(const std::string& name);

}  // namespace wyvlet::test
