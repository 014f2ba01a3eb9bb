#include "Support/TimeText.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>

namespace wyvlet {

std::string timeOfDayText(double secondsSince1970) {
  // Some 285,000 years around 1970: what localtime_r can express, far from any overflow.
  constexpr double kCalendarRange = 9e12;
  tm local{};
  double milliseconds = 0;
  if (std::abs(secondsSince1970) < kCalendarRange) {
    const double rounded = std::round(secondsSince1970 * 1000.0);
    const double whole = std::floor(rounded / 1000.0);
    const auto time = static_cast<time_t>(whole);
    if (::localtime_r(&time, &local) != nullptr) milliseconds = rounded - whole * 1000.0;
  }
  return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                     static_cast<int>(milliseconds));
}

}  // namespace wyvlet
