#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet::sample {

/// An absolute URL in its pieces. `text()` of what `parseURL` gave is the same URL.
struct URLText {
  std::string scheme;  // "https"
  std::string host;    // without the port
  std::string port;    // "" or the digits
  std::string path;    // "" or from the first "/" on
  std::string query;   // "" or from "?" on, the fragment included

  std::string text() const;
  /// "https://host:port".
  std::string origin() const;
  /// The query's parameters, percent-decoded; the last of several with one name counts.
  std::map<std::string, std::string> parameters() const;
};

/// Nothing when `text` has no "scheme://host".
std::optional<URLText> parseURL(std::string_view text);

/// Everything but letters, digits and "-._~" as %XX.
std::string percentEncoded(std::string_view text);

/// %XX as bytes; a stray "%" stays.
std::string percentDecoded(std::string_view text);

}  // namespace wyvlet::sample
