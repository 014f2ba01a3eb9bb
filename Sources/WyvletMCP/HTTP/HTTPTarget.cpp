#include "HTTP/HTTPTarget.h"

#include <charconv>

#include "Support/Text.h"

namespace wyvlet {

std::string_view pathOf(std::string_view target) { return target.substr(0, target.find('?')); }

std::optional<std::string> queryValue(std::string_view target, std::string_view key) {
  const auto mark = target.find('?');
  if (mark == std::string_view::npos) return std::nullopt;
  for (const auto pair : split(target.substr(mark + 1), "&")) {
    const auto equals = pair.find('=');
    if (equals == std::string_view::npos || percentDecoded(pair.substr(0, equals)) != key) continue;
    return percentDecoded(pair.substr(equals + 1));
  }
  return std::nullopt;
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const auto high = hexDigit(text[i + 1]);
      const auto low = hexDigit(text[i + 2]);
      if (high && low) {
        decoded += static_cast<char>(*high * 16 + *low);
        i += 2;
        continue;
      }
    }
    decoded += text[i];
  }
  return validUTF8(std::move(decoded));
}

std::optional<std::int64_t> parseDecimal(std::string_view text) {
  // from_chars knows the minus sign only.
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  std::int64_t value = 0;
  const auto* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::optional<int> hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return std::nullopt;
}

}  // namespace wyvlet
