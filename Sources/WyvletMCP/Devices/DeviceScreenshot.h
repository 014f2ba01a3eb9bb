#pragma once

#include <optional>
#include <string>

namespace wyvlet {

/// A device screenshot: the sentence, and the picture as base64 PNG when there is one.
struct DeviceScreenshot {
  std::string text;
  std::optional<std::string> imageBase64;
};

/// A fresh file in /tmp for one screenshot, gone with the object.
class ScreenshotFile {
 public:
  /// `prefix` is the path up to the fresh UUID.
  explicit ScreenshotFile(const std::string& prefix);
  ~ScreenshotFile();
  ScreenshotFile(const ScreenshotFile&) = delete;
  ScreenshotFile& operator=(const ScreenshotFile&) = delete;

  const std::string& path() const { return path_; }

  /// The picture that a tool has put there; `failure` without one when the file is missing or empty.
  DeviceScreenshot read(const std::string& failure) const;

 private:
  std::string path_;
};

}  // namespace wyvlet
