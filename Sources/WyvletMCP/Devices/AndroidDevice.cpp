#include "Devices/AndroidDevice.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Devices/Shell.h"
#include "Support/Environment.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

/// The place where the Android SDK installs adb; PATH is deliberately not searched, because another
/// adb's server would take the devices away from it.
std::string adbPath() { return homeFromEnvironment() + "/Library/Android/sdk/platform-tools/adb"; }

struct Key {
  std::string_view name;
  std::string_view code;
};

constexpr Key kKeys[] = {
    {"home", "3"},       {"back", "4"},         {"menu", "82"},  {"enter", "66"}, {"return", "66"},
    {"volume_up", "24"}, {"volume_down", "25"}, {"power", "26"}, {"lock", "26"},
};

std::string keyCode(std::string_view name) {
  for (const auto& key : kKeys) {
    if (key.name == name) return std::string(key.code);
  }
  const bool isNumber = !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
  if (isNumber) return std::string(name);
  std::string code = "KEYCODE_" + upperCased(name);
  // No key code holds anything else, and the device's shell would take ";" and its like for commands.
  const auto isForeign = [](char c) { return !(c >= 'A' && c <= 'Z') && !(c >= '0' && c <= '9'); };
  std::replace_if(code.begin(), code.end(), isForeign, '_');
  return code;
}

/// The text as the device's input command wants it.
std::string inputText(const std::string& text) {
  return replacedAll(replacedAll(text, " ", "%s"), "'", "\\'");
}

}  // namespace

AndroidDevice::AndroidDevice(ProcessRunner& runner, std::string serial, std::function<void()> onInput)
    : runner_(runner), serial_(std::move(serial)), onInput_(std::move(onInput)) {}

std::string AndroidDevice::command(const std::string& operation) const {
  return "'" + insideSingleQuotes(adbPath()) + "' -s " + shellWord(serial_) + operation;
}

void AndroidDevice::send(const std::string& operation) const {
  runShell(runner_, command(operation), kDeviceCommandTimeout);
  if (onInput_) onInput_();
}

std::string AndroidDevice::tap(std::optional<long long> x, std::optional<long long> y) const {
  if (!x || !y) return "Error: Android tap requires x,y coordinates";
  send(fmt::format(" shell input tap {} {} 2>&1", *x, *y));
  return fmt::format("Tapped ({}, {})", *x, *y);
}

std::string AndroidDevice::swipe(long long startX, long long startY, long long endX, long long endY,
                                 std::optional<double> duration) const {
  const long long milliseconds = duration ? truncatedInteger(*duration * 1000) : 300;
  send(fmt::format(" shell input swipe {} {} {} {} {} 2>&1", startX, startY, endX, endY, milliseconds));
  return fmt::format("Swiped ({}, {}) to ({}, {})", startX, startY, endX, endY);
}

std::string AndroidDevice::type(const std::string& text) const {
  send(" shell input text '" + insideSingleQuotes(inputText(text)) + "' 2>&1");
  return "Typed: " + text;
}

std::string AndroidDevice::press(const std::string& name) const {
  send(" shell input keyevent " + keyCode(name) + " 2>&1");
  return "Pressed: " + name;
}

DeviceScreenshot AndroidDevice::screenshot() const {
  const std::string failure = "Android screenshot failed";
  const ScreenshotFile file("/tmp/wyvlet_android_screenshot_");
  // Nothing may be merged into the picture, so adb's complaints are discarded and its exit status tells.
  const auto result = runShell(runner_, command(" exec-out screencap -p > '" + file.path() + "' 2>/dev/null"),
                               kDeviceCommandTimeout);
  if (result.timedOut || result.exitStatus != 0) return {failure, std::nullopt};
  return file.read(failure);
}

}  // namespace wyvlet
