#include "WyvletShared/TrafficRecords.h"

#include <array>
#include <charconv>
#include <cmath>

namespace wyvlet {
namespace {

/// As "%.1f" and the like write it, whatever the locale.
std::string fixed(double value, int decimals) {
  std::array<char, 400> text;  // the longest double has 309 digits before the point
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
  return std::string(text.data(), end);
}

/// As the app's own byte counter does it, decimals that are zero are left out: "1 MB", "1.5 MB".
std::string upToDecimals(double value, int decimals) {
  std::string text = fixed(value, decimals);
  if (decimals == 0) return text;
  while (text.ends_with('0')) text.pop_back();
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string byteCountText(std::uint64_t count) {
  struct Unit {
    std::string_view name;
    int decimals;
  };
  static constexpr std::array<Unit, 4> kUnits = {{{"KB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}}};
  if (count == 0) return "Zero KB";
  if (count == 1) return "1 byte";
  if (count < 1024) return std::to_string(count) + " bytes";
  double value = static_cast<double>(count);
  for (const Unit& unit : kUnits) {
    value /= 1024;
    // The unit is chosen by the rounded value, so that "1024 KB" never appears for "1 MB".
    const double scale = std::pow(10, unit.decimals);
    if (std::round(value * scale) / scale < 1024 || &unit == &kUnits.back()) {
      return upToDecimals(value, unit.decimals) + " " + std::string(unit.name);
    }
  }
  return {};
}

}  // namespace

bool TransferableNetworkRequest::isSuccess() const {
  return statusCode && *statusCode >= 200 && *statusCode <= 299;
}

std::string TransferableNetworkRequest::durationText() const {
  const double milliseconds = duration * 1000;
  if (milliseconds < 1000) return fixed(milliseconds, 0) + "ms";
  return fixed(duration, 1) + "s";
}

std::string TransferableNetworkRequest::responseSizeText() const {
  if (!responseBody) return "0 B";
  return byteCountText(responseBody->data.size());
}

}  // namespace wyvlet
