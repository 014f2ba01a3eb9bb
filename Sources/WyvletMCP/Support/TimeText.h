#pragma once

#include <string>

namespace wyvlet {

/// "14:03:07.250": local time of day, rounded to the nearest millisecond. Seconds since 1970; a
/// value outside the calendar's range reads as "00:00:00.000". Any thread.
std::string timeOfDayText(double secondsSince1970);

}  // namespace wyvlet
