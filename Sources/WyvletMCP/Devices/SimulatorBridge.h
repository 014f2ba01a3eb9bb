#pragma once

#include <boost/json/fwd.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Devices/DeviceScreenshot.h"
#include "Devices/Shell.h"
#include "Support/Mutex.h"
#include "Support/ProcessRunner.h"

namespace wyvlet {

class AndroidDevice;

/// Where simulated apps load the probe library from. Always this copy: the original may lie in a folder
/// that they cannot read.
inline constexpr const char* kProbePath = "/tmp/WyvletProbe.dylib";

/// What the session's device commands apply to. An empty text counts as not given.
struct SessionDefaults {
  std::optional<std::string> simulatorId;    // UDID; absent: the first booted simulator
  std::optional<std::string> bundleId;       // the app under test
  std::optional<std::string> scheme;         // for rebuilding
  std::optional<std::string> projectPath;    // for rebuilding
  std::optional<std::string> workspacePath;  // for rebuilding
  std::optional<std::string> androidSerial;  // present: input and screenshots go to this device

  bool isAndroidMode() const { return androidSerial.has_value(); }
};

/// "Defaults updated: [...]": the answer of session_set_defaults.
std::string formatDefaultsSummary(const SessionDefaults& defaults);
/// "Session defaults:" and its lines: the answer of session_show_defaults.
std::string formatDefaultsListing(const SessionDefaults& defaults);

/// Hands and eyes on an iOS simulator (through AXe and simctl) or, once an Android serial is set, on
/// an Android device (through adb). Owned by main; lives as long as the process. Any thread, any
/// number of calls at once: each works on a copy of the defaults taken at its start. Every failure is
/// a sentence for the agent.
class SimulatorBridge {
 public:
  /// Looks for AXe and logs where it is. `runner` outlives the bridge. `onAndroidInput` is called
  /// after every input that went to an Android device, on the thread of the call: what was known of
  /// its screen is out of date then.
  explicit SimulatorBridge(ProcessRunner& runner = ProcessRunner::system(),
                           std::function<void()> onAndroidInput = {});

  /// Stores the given texts of `args` and returns the summary. Nothing can be cleared.
  std::string setDefaults(const boost::json::object& args);
  std::string showDefaults() const;
  SessionDefaults defaults() const;

  /// Where AXe is, looked for again when it was not there; "axe" when it is nowhere.
  std::string axePath() const;
  bool isAxeAvailable() const;

  /// Runs one shell command line and returns its trimmed output, standard error included; nothing
  /// when the shell could not be started or the output is not UTF-8. Blocks for at most
  /// `timeoutSeconds` plus a second; 0 or less is without limit.
  std::optional<std::string> shell(const std::string& command, double timeoutSeconds) const;

  /// The same, but telling a command that ran out of time from one that ended in silence.
  ShellResult shellResult(const std::string& command, double timeoutSeconds) const;

  /// Runs AXe: its trimmed output, "OK" when it said nothing, or "Error: " and why. No time limit.
  std::string runAxe(const std::vector<std::string>& arguments) const;

  /// The simulator that commands go to: the default, else the first booted one. Blocks up to 31 s.
  std::optional<std::string> resolveUDID() const;

  std::string tap(std::optional<long long> x, std::optional<long long> y,
                  const std::optional<std::string>& label, const std::optional<std::string>& id,
                  std::optional<double> postDelay) const;
  std::string swipe(long long startX, long long startY, long long endX, long long endY,
                    std::optional<double> duration) const;
  std::string button(const std::string& name, std::optional<double> duration) const;
  DeviceScreenshot screenshot() const;

  std::string launchApp(const std::string& bundleId, const std::optional<std::string>& udid,
                        bool injectProbe) const;
  std::string stopApp(const std::string& bundleId, const std::optional<std::string>& udid) const;
  std::string boot(const std::optional<std::string>& udid) const;

  /// Puts a signed copy of the probe library at `kProbePath` and returns that path; nothing when there
  /// is no probe anywhere. Signing has no time limit.
  std::optional<std::string> resolveProbePath() const;

  std::string adbTap(std::optional<long long> x, std::optional<long long> y,
                     const std::optional<std::string>& label) const;
  std::string adbSwipe(long long startX, long long startY, long long endX, long long endY,
                       std::optional<double> duration) const;
  std::string adbType(const std::string& text) const;
  std::string adbButton(const std::string& name) const;
  DeviceScreenshot adbScreenshot() const;

 private:
  /// Looks for AXe wherever it may be when it is not where it was; whether it is there now.
  bool findAxeAgain() const REQUIRES(mutex_);

  std::optional<std::string> resolveUDID(const SessionDefaults& session) const;
  AndroidDevice androidDevice(const std::string& serial) const;

  ProcessRunner& runner_;
  const std::function<void()> onAndroidInput_;
  mutable Mutex mutex_;
  SessionDefaults defaults_ GUARDED_BY(mutex_);
  mutable std::string axePath_ GUARDED_BY(mutex_);
};

}  // namespace wyvlet
