#include "Peers/DeviceStandIn.h"

#include <fstream>
#include <iterator>
#include <utility>

namespace wyvlet::test {

DeviceStandIn::DeviceStandIn(const std::string& home) {
  standIns_.installAt(home + "/Library/Android/sdk/platform-tools/adb");
}

void DeviceStandIn::show(const std::string& dump) {
  standIns_.tell(
      "adb", {boost::json::object{{"when", " cat /sdcard/wyvlet_ui.xml"}, {"output", recordedDump(dump)}}});
}

void DeviceStandIn::disconnect() {
  standIns_.tell("adb", {boost::json::object{{"error", "error: device not found\n"}, {"status", 1}}});
}

std::vector<std::vector<std::string>> DeviceStandIn::calls() const {
  std::vector<std::vector<std::string>> result;
  for (auto& call : standIns_.calls("adb")) result.push_back(std::move(call.arguments));
  return result;
}

std::string recordedDump(const std::string& name) {
  std::ifstream file(WYVLET_CORPORA "/uidump/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace wyvlet::test
