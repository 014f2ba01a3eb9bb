#include <string_view>

#include "Devices/AndroidDevice.h"
#include "Devices/SimulatorBridge.h"
#include "Support/Log.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

constexpr const char* kNoSimulator = "Error: no simulator configured";
constexpr const char* kNoAndroidDevice = "Error: no Android device";

void addSeconds(std::vector<std::string>& arguments, const char* option, std::optional<double> seconds) {
  if (!seconds) return;
  arguments.emplace_back(option);
  arguments.push_back(fixedText(*seconds, 1));
}

}  // namespace

std::string SimulatorBridge::tap(std::optional<long long> x, std::optional<long long> y,
                                 const std::optional<std::string>& label,
                                 const std::optional<std::string>& id,
                                 std::optional<double> postDelay) const {
  const auto session = defaults();
  logLine(kDevicesTag, std::string("tap called. isAndroidMode=") +
                           (session.isAndroidMode() ? "true" : "false") +
                           ", androidSerial=" + session.androidSerial.value_or("nil"));
  if (session.androidSerial) return androidDevice(*session.androidSerial).tap(x, y);
  const auto udid = resolveUDID(session);
  if (!udid) return kNoSimulator;

  std::vector<std::string> arguments = {"tap", "--udid", *udid};
  if (x && y) {
    arguments.insert(arguments.end(), {"-x", std::to_string(*x), "-y", std::to_string(*y)});
  } else if (label) {
    arguments.insert(arguments.end(), {"--label", *label});
  } else if (id) {
    arguments.insert(arguments.end(), {"--id", *id});
  } else {
    return "Error: provide x+y coordinates or label or id";
  }
  addSeconds(arguments, "--post-delay", postDelay);
  return runAxe(arguments);
}

std::string SimulatorBridge::swipe(long long startX, long long startY, long long endX, long long endY,
                                   std::optional<double> duration) const {
  const auto session = defaults();
  if (session.androidSerial) {
    return androidDevice(*session.androidSerial).swipe(startX, startY, endX, endY, duration);
  }
  const auto udid = resolveUDID(session);
  if (!udid) return kNoSimulator;

  std::vector<std::string> arguments = {"swipe",
                                        "--udid",
                                        *udid,
                                        "--start-x",
                                        std::to_string(startX),
                                        "--start-y",
                                        std::to_string(startY),
                                        "--end-x",
                                        std::to_string(endX),
                                        "--end-y",
                                        std::to_string(endY)};
  addSeconds(arguments, "--duration", duration);
  return runAxe(arguments);
}

std::string SimulatorBridge::button(const std::string& name, std::optional<double> duration) const {
  const auto session = defaults();
  if (session.androidSerial) return androidDevice(*session.androidSerial).press(name);
  const auto udid = resolveUDID(session);
  if (!udid) return kNoSimulator;

  std::vector<std::string> arguments = {"button", name, "--udid", *udid};
  addSeconds(arguments, "--duration", duration);
  return runAxe(arguments);
}

DeviceScreenshot SimulatorBridge::screenshot() const {
  const auto session = defaults();
  if (session.androidSerial) return androidDevice(*session.androidSerial).screenshot();
  const auto udid = resolveUDID(session);
  if (!udid) return {kNoSimulator, std::nullopt};

  const std::string failure = "Screenshot failed";
  const ScreenshotFile file("/tmp/wyvlet_screenshot_");
  const auto result = shellResult(
      "xcrun simctl io " + shellWord(*udid) + " screenshot " + file.path() + " 2>&1", kDeviceCommandTimeout);
  // What a command that was ended has left is half a picture.
  if (result.timedOut) return {failure, std::nullopt};
  return file.read(failure);
}

AndroidDevice SimulatorBridge::androidDevice(const std::string& serial) const {
  return {runner_, serial, onAndroidInput_};
}

std::string SimulatorBridge::adbTap(std::optional<long long> x, std::optional<long long> y,
                                    const std::optional<std::string>& /*label*/) const {
  const auto serial = defaults().androidSerial;
  return serial ? androidDevice(*serial).tap(x, y) : kNoAndroidDevice;
}

std::string SimulatorBridge::adbSwipe(long long startX, long long startY, long long endX, long long endY,
                                      std::optional<double> duration) const {
  const auto serial = defaults().androidSerial;
  return serial ? androidDevice(*serial).swipe(startX, startY, endX, endY, duration) : kNoAndroidDevice;
}

std::string SimulatorBridge::adbType(const std::string& text) const {
  const auto serial = defaults().androidSerial;
  return serial ? androidDevice(*serial).type(text) : kNoAndroidDevice;
}

std::string SimulatorBridge::adbButton(const std::string& name) const {
  const auto serial = defaults().androidSerial;
  return serial ? androidDevice(*serial).press(name) : kNoAndroidDevice;
}

DeviceScreenshot SimulatorBridge::adbScreenshot() const {
  const auto serial = defaults().androidSerial;
  return serial ? androidDevice(*serial).screenshot() : DeviceScreenshot{kNoAndroidDevice, std::nullopt};
}

}  // namespace wyvlet
