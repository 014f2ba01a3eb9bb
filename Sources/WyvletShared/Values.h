#pragma once

#include <compare>
#include <string>

namespace wyvlet {

/// Raw bytes; base64 text in JSON.
struct Bytes {
  std::string data;
  bool operator==(const Bytes&) const = default;
};

/// A moment; a JSON number of seconds, whose epoch the reader or writer of the message chooses.
struct Date {
  double secondsSince1970 = 0;

  static Date now();
  auto operator<=>(const Date&) const = default;
};

/// The moment from which the dates of a JSON document count.
enum class DateEpoch {
  Unix1970,       ///< every document that the app sends, and the server's free-form commands
  Reference2001,  ///< the envelope of the typed commands
};

/// Seconds from 1970-01-01 to 2001-01-01, both midnight UTC.
inline constexpr double kReference2001 = 978307200.0;

}  // namespace wyvlet
