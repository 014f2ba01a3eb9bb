#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// Screenshot baselines and the comparison of two screenshots. Stateless; any thread.
namespace VisualDiff {

struct Result {
  double diffPercentage = 0;
  bool passed = false;
  std::int64_t totalPixels = 0;
  std::int64_t diffPixels = 0;
};

/// `HOME` followed by "/.wyvletqa/baselines".
std::string baselinesDir();

/// Where the baseline of an app's screen is kept; never outside `baselinesDir()`.
std::string baselinePath(std::string_view bundleId, std::string_view screen);

/// Whether there is a baseline, even one that cannot be read.
bool hasBaseline(std::string_view bundleId, std::string_view screen);

/// Keeps `png` as the baseline, whole or not at all. False when it could not be written.
bool saveBaseline(std::string_view png, std::string_view bundleId, std::string_view screen);

/// The stored baseline's bytes; nothing when there is none that can be read.
std::optional<std::string> loadBaseline(std::string_view bundleId, std::string_view screen);

/// Compares two PNG images drawn to their common size; nothing when either is undecodable. A pixel
/// differs when red, green or blue differ by more than 10. Passes when the share of differing pixels
/// is at most `threshold` percent. Decodes both at the same time on two threads.
std::optional<Result> compare(std::string_view currentPNG, std::string_view baselinePNG, double threshold);

}  // namespace VisualDiff

}  // namespace wyvlet
