#include "Devices/DeviceScreenshot.h"

#include <unistd.h>

#include <cstdint>

#include "Support/Files.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/UUID.h"

namespace wyvlet {
namespace {

constexpr std::uint64_t kMaxPictureBytes = std::uint64_t{64} << 20;

}  // namespace

ScreenshotFile::ScreenshotFile(const std::string& prefix) : path_(prefix + UUID::random().text() + ".png") {}

ScreenshotFile::~ScreenshotFile() { ::unlink(path_.c_str()); }

DeviceScreenshot ScreenshotFile::read(const std::string& failure) const {
  const auto file = readFile(path_, kMaxPictureBytes);
  if (!file || file->bytes.empty()) return {failure, std::nullopt};
  return {"Screenshot captured (" + std::to_string(file->bytes.size()) + " bytes)",
          encodeBase64(file->bytes)};
}

}  // namespace wyvlet
