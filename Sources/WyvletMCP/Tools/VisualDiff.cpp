#include "Tools/VisualDiff.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <span>
#include <system_error>
#include <thread>

#include "Support/Environment.h"
#include "Support/Files.h"
#include "Support/Threads.h"
#include "Tools/PNGImage.h"

namespace wyvlet::VisualDiff {
namespace {

/// Above what any app can send: a frame ends at 50 MB.
constexpr std::uint64_t kMaxBaselineBytes = std::uint64_t{256} << 20;

/// A difference up to this in every channel is what encoders and text smoothing leave.
constexpr int kChannelTolerance = 10;

/// `name` as one component of a path, so that no name from outside leads out of its folder. A NUL
/// would end the path early.
std::string pathComponent(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return "_";
  std::string component(name);
  std::replace(component.begin(), component.end(), '/', '_');
  std::replace(component.begin(), component.end(), '\0', '_');
  return component;
}

struct Pictures {
  std::optional<PNGImage> current;
  std::optional<PNGImage> baseline;
};

Pictures decodeBoth(std::string_view currentPNG, std::string_view baselinePNG) {
  Pictures pictures;
  std::thread other;
  try {
    other = std::thread([&] {
      nameThread("wyvlet-png");
      pictures.baseline = PNGImage::decode(baselinePNG);
    });
  } catch (const std::system_error&) {  // no thread to be had: one after the other, below
  }
  pictures.current = PNGImage::decode(currentPNG);
  if (other.joinable()) {
    other.join();
  } else {
    pictures.baseline = PNGImage::decode(baselinePNG);
  }
  return pictures;
}

/// Draws the picture into the size unless it has that already; false when there is no memory for it.
bool shrink(std::optional<PNGImage>& picture, std::uint32_t width, std::uint32_t height) {
  if (picture->width() != width || picture->height() != height) picture = picture->shrunkTo(width, height);
  return picture.has_value();
}

/// The number of pixels that differ in red, green or blue. Goes by blocks that stay in the cache: in
/// a first loop over bytes, then in one over pixels, since compilers vectorise either but not both
/// in one.
std::int64_t countDifferent(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) {
  constexpr std::size_t kBlockPixels = 1024;
  constexpr std::array<std::uint8_t, 4> kColourBytes = {0xFF, 0xFF, 0xFF, 0};
  std::uint32_t colour;
  std::memcpy(&colour, kColourBytes.data(), sizeof colour);

  std::array<std::uint32_t, kBlockPixels> beyond;
  std::array<std::uint8_t, kBlockPixels * 4> beyondBytes;
  std::int64_t different = 0;
  for (std::size_t start = 0; start < a.size(); start += kBlockPixels * 4) {
    const std::size_t count = std::min(kBlockPixels * 4, a.size() - start);
    const std::uint8_t* left = a.data() + start;
    const std::uint8_t* right = b.data() + start;
    for (std::size_t i = 0; i < count; ++i) {
      const int distance = left[i] > right[i] ? left[i] - right[i] : right[i] - left[i];
      beyondBytes[i] = distance > kChannelTolerance ? 0xFF : 0;
    }
    std::memcpy(beyond.data(), beyondBytes.data(), count);
    std::uint32_t inBlock = 0;
    for (std::size_t i = 0; i < count / 4; ++i) inBlock += (beyond[i] & colour) != 0 ? 1 : 0;
    different += inBlock;
  }
  return different;
}

}  // namespace

std::string baselinesDir() { return homeDirectory() + "/.wyvletqa/baselines"; }

std::string baselinePath(std::string_view bundleId, std::string_view screen) {
  return baselinesDir() + "/" + pathComponent(bundleId) + "/" + pathComponent(screen) + ".png";
}

bool hasBaseline(std::string_view bundleId, std::string_view screen) {
  std::error_code error;
  return std::filesystem::exists(baselinePath(bundleId, screen), error);
}

bool saveBaseline(std::string_view png, std::string_view bundleId, std::string_view screen) {
  return writeFileAtomically(baselinePath(bundleId, screen), png);
}

std::optional<std::string> loadBaseline(std::string_view bundleId, std::string_view screen) {
  auto file = readFile(baselinePath(bundleId, screen), kMaxBaselineBytes);
  if (!file) return std::nullopt;
  return std::move(file->bytes);
}

std::optional<Result> compare(std::string_view currentPNG, std::string_view baselinePNG, double threshold) {
  auto [current, baseline] = decodeBoth(currentPNG, baselinePNG);
  if (!current || !baseline) return std::nullopt;
  const std::uint32_t width = std::min(current->width(), baseline->width());
  const std::uint32_t height = std::min(current->height(), baseline->height());
  if (!shrink(current, width, height) || !shrink(baseline, width, height)) return std::nullopt;

  Result result;
  result.totalPixels = static_cast<std::int64_t>(current->pixelCount());
  result.diffPixels = countDifferent(current->pixels(), baseline->pixels());
  // Multiplied first: both products are exact then and the one rounding is that of the decimal
  // number the caller wrote, so that 7 pixels of 10000 pass at 0.07.
  result.diffPercentage =
      100.0 * static_cast<double>(result.diffPixels) / static_cast<double>(result.totalPixels);
  result.passed = result.diffPercentage <= threshold;
  return result;
}

}  // namespace wyvlet::VisualDiff
