#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Devices/DeviceScreenshot.h"
#include "Support/ProcessRunner.h"

namespace wyvlet {

/// One Android device or emulator, driven through adb. Made for one call; every operation is one
/// shell command of at most 31 seconds. Input is confirmed whether or not adb managed to deliver it;
/// only a screenshot can tell.
class AndroidDevice {
 public:
  /// `runner` outlives the object; `onInput` (may be empty) is called after every input.
  AndroidDevice(ProcessRunner& runner, std::string serial, std::function<void()> onInput);

  std::string tap(std::optional<long long> x, std::optional<long long> y) const;
  /// 300 ms without a duration (seconds).
  std::string swipe(long long startX, long long startY, long long endX, long long endY,
                    std::optional<double> duration) const;
  /// Only spaces and single quotes are escaped: the rest is read by the device's shell as it stands.
  std::string type(const std::string& text) const;
  /// A name of the key table, a number, or the name of an Android key code without its "KEYCODE_", in
  /// which "_" may be written as any other sign.
  std::string press(const std::string& name) const;
  DeviceScreenshot screenshot() const;

 private:
  /// The adb command line for this device; `operation` begins with a space.
  std::string command(const std::string& operation) const;
  void send(const std::string& operation) const;

  ProcessRunner& runner_;
  std::string serial_;
  std::function<void()> onInput_;
};

}  // namespace wyvlet
