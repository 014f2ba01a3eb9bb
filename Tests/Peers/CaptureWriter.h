#pragma once

#include <boost/json.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace wyvlet::test {

/// Plays the script beside an Android app: writes the capture file below a home directory and answers
/// the command file there. The capture is the test's to fill; any thread.
class CaptureWriter {
 public:
  /// Nothing is written yet; the capture is that of a connected device without traffic.
  explicit CaptureWriter(const std::string& home);
  ~CaptureWriter();  ///< stops keeping the file fresh and leaves it as it is
  CaptureWriter(const CaptureWriter&) = delete;
  CaptureWriter& operator=(const CaptureWriter&) = delete;

  std::string capturePath() const { return folder_ + "/android-capture.json"; }
  std::string commandsPath() const { return folder_ + "/android-commands.json"; }

  /// Sets a member of the capture for the next write.
  void set(std::string_view key, boost::json::value value);
  /// Makes the next write claim to be that old.
  void setAge(std::chrono::milliseconds age);

  /// Writes the capture as a careful script does: beside the file, then renamed.
  void write();
  /// Writes the first half into the file itself, as a careless script has done when it is read in the
  /// middle of its write.
  void writeTorn();
  /// Writes any bytes into the file itself.
  void writeBytes(std::string_view bytes);
  void remove();

  /// From now on writes the capture again and again, with the time of each write, and answers
  /// "read_prefs" commands with these entries.
  void keepFresh(boost::json::array prefsEntries = {});

  /// The command now in the command file; null when there is none.
  boost::json::value command() const;

 private:
  std::string text();
  void answerCommand(const boost::json::array& prefsEntries);

  std::string folder_;
  std::mutex mutex_;
  std::condition_variable ended_;
  boost::json::object capture_;
  std::chrono::milliseconds age_{0};
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace wyvlet::test
