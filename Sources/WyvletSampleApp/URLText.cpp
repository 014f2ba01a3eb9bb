#include "WyvletSampleApp/URLText.h"

#include <cctype>

#include "Support/Text.h"

namespace wyvlet::sample {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string URLText::origin() const { return scheme + "://" + host + (port.empty() ? "" : ":" + port); }

std::string URLText::text() const { return origin() + path + query; }

std::map<std::string, std::string> URLText::parameters() const {
  std::map<std::string, std::string> result;
  std::string_view rest = query;
  if (rest.starts_with('?')) rest.remove_prefix(1);
  rest = rest.substr(0, rest.find('#'));
  for (std::string_view pair : split(rest, "&")) {
    if (pair.empty()) continue;
    const auto equals = pair.find('=');
    const auto value = equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
    result[percentDecoded(pair.substr(0, equals))] = percentDecoded(value);
  }
  return result;
}

std::optional<URLText> parseURL(std::string_view text) {
  const auto schemeEnd = text.find("://");
  if (schemeEnd == std::string_view::npos || schemeEnd == 0) return {};
  URLText url;
  url.scheme = text.substr(0, schemeEnd);
  std::string_view rest = text.substr(schemeEnd + 3);
  const auto authorityEnd = rest.find_first_of("/?#");
  std::string_view authority = rest.substr(0, authorityEnd);
  rest = authorityEnd == std::string_view::npos ? std::string_view() : rest.substr(authorityEnd);
  const auto colon = authority.rfind(':');
  const auto port = colon == std::string_view::npos ? std::string_view() : authority.substr(colon + 1);
  if (!port.empty() && port.find_first_not_of("0123456789") == std::string_view::npos) {
    url.port = port;
    authority = authority.substr(0, colon);
  }
  if (authority.empty()) return {};
  url.host = authority;
  const auto queryStart = rest.find_first_of("?#");
  url.path = rest.substr(0, queryStart);
  if (queryStart != std::string_view::npos) url.query = rest.substr(queryStart);
  return url;
}

std::string percentEncoded(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x80 && std::isalnum(byte) != 0) || c == '-' || c == '.' || c == '_' || c == '~') {
      result += c;
    } else {
      result += '%';
      result += kDigits[byte >> 4];
      result += kDigits[byte & 15];
    }
  }
  return result;
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0) {
      result += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace wyvlet::sample
