#include "Peers/StandInADB.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

namespace wyvlet::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kScript = R"(#!/bin/sh
# Called by its full path. The line of a call goes out in one write, so that calls may overlap.
folder=$(dirname "$0")
line=
for argument in "$@"; do line="$line[$argument]"; done
echo "$line" >> "$folder/calls"
if [ -e "$folder/disconnected" ]; then
  echo "error: device not found" >&2
  exit 1
fi
case "$line" in
  *"[uiautomator][dump]["*) cp "$folder/screen.xml" "$folder/dump.xml" ;;
  *"[cat][/sdcard/wyvlet_ui.xml]") cat "$folder/dump.xml" ;;
esac
)";

}  // namespace

StandInADB::StandInADB(const std::string& home) : folder_(home + "/Library/Android/sdk/platform-tools") {
  fs::create_directories(folder_);
  const auto script = folder_ + "/adb";
  std::ofstream(script) << kScript;
  fs::permissions(script, fs::perms::owner_all);
}

void StandInADB::show(std::string_view xml) {
  std::ofstream(folder_ + "/screen.xml", std::ios::binary | std::ios::trunc) << xml;
}

void StandInADB::disconnect() { std::ofstream(folder_ + "/disconnected"); }

std::vector<std::string> StandInADB::calls() const {
  std::vector<std::string> lines;
  std::ifstream file(folder_ + "/calls");
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::string recordedDump(const std::string& name) {
  std::ifstream file(WYVLET_CORPORA "/uidump/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace wyvlet::test
