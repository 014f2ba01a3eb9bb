#include "Android/AndroidScreen.h"

#include <utility>

#include "Android/AndroidShell.h"
#include "Support/Environment.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

constexpr std::chrono::seconds kLifetime(3);

}  // namespace

AndroidScreen::AndroidScreen(ProcessRunner& runner, Clock clock)
    : runner_(runner), clock_(std::move(clock)) {}

AndroidScreen::Nodes AndroidScreen::read(const std::optional<std::string>& serial) {
  const MutexLock turn(turn_);
  std::uint64_t inputs = 0;
  {
    const MutexLock lock(mutex_);
    if (nodes_ && clock_() - madeAt_ < kLifetime) return nodes_;
    inputs = inputs_;
  }
  auto nodes = dump(serial);
  const MutexLock lock(mutex_);
  if (nodes && inputs == inputs_) {
    nodes_ = nodes;
    madeAt_ = clock_();
  }
  return nodes;
}

void AndroidScreen::forget() {
  const MutexLock lock(mutex_);
  nodes_ = nullptr;
  ++inputs_;
}

AndroidScreen::Nodes AndroidScreen::dump(const std::optional<std::string>& serial) {
  const auto adb = adbInvocation(homeFromEnvironment(), serial);
  // Its words are no measure of success: some devices warn on every dump.
  runAndroidCommand(runner_, adb + " shell uiautomator dump /sdcard/wyvlet_ui.xml 2>&1");
  const auto read = runAndroidCommand(runner_, adb + " shell cat /sdcard/wyvlet_ui.xml 2>/dev/null");
  if (!read.started() || !isValidUTF8(read.output)) return nullptr;
  if (read.exitStatus != 0 && read.output.empty()) return nullptr;
  return std::make_shared<const std::vector<UINode>>(parseUIDump(read.output));
}

}  // namespace wyvlet
