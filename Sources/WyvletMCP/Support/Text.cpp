#include "Support/Text.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace wyvlet {
namespace {

bool isASCII(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

/// One code point of `text` at `at`, or -1 and a length of 1 for a byte that starts no valid sequence.
struct CodePoint {
  utf8proc_int32_t value;
  std::size_t length;
};

CodePoint codePointAt(std::string_view text, std::size_t at) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at;
  utf8proc_int32_t value = -1;
  const auto length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size() - at), &value);
  if (length <= 0) return {-1, 1};
  return {value, static_cast<std::size_t>(length)};
}

void append(std::string& out, utf8proc_int32_t codePoint) {
  utf8proc_uint8_t encoded[4];
  const auto length = utf8proc_encode_char(codePoint, encoded);
  out.append(reinterpret_cast<const char*>(encoded), static_cast<std::size_t>(length));
}

/// Maps every code point; bytes that are no UTF-8 are kept.
template <class Mapping>
std::string mapped(std::string_view text, Mapping mapping) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto point = codePointAt(text, at);
    if (point.value < 0) {
      out += text[at];
    } else {
      mapping(out, point.value);
    }
    at += point.length;
  }
  return out;
}

/// Where the user-perceived character that begins at `at` ends.
std::size_t characterEnd(std::string_view text, std::size_t at) {
  auto point = codePointAt(text, at);
  std::size_t end = at + point.length;
  utf8proc_int32_t state = 0;
  while (end < text.size()) {
    const auto next = codePointAt(text, end);
    if (point.value < 0 || next.value < 0) break;
    // Two ASCII characters never join, save CR LF; this keeps ordinary text off the tables.
    if (point.value < 0x80 && next.value < 0x80 && !(point.value == '\r' && next.value == '\n')) break;
    if (utf8proc_grapheme_break_stateful(point.value, next.value, &state)) break;
    point = next;
    end += next.length;
  }
  return end;
}

bool isWhiteSpace(utf8proc_int32_t codePoint) {
  if ((codePoint >= 0x09 && codePoint <= 0x0D) || codePoint == 0x85) return true;
  const auto category = utf8proc_category(codePoint);
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string lowerCased(std::string_view text) {
  if (isASCII(text)) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), asciiLower);
    return out;
  }
  return mapped(text, [](std::string& out, utf8proc_int32_t codePoint) {
    if (codePoint == 0x130) {  // the one letter whose lower case is two code points
      out += "i\u0307";
    } else {
      append(out, utf8proc_tolower(codePoint));
    }
  });
}

std::string upperCased(std::string_view text) {
  return mapped(text, [](std::string& out, utf8proc_int32_t codePoint) {
    if (codePoint == 0xDF) {  // sharp s has no single capital in ordinary writing
      out += "SS";
    } else {
      append(out, utf8proc_toupper(codePoint));
    }
  });
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
  if (part.empty()) return true;
  if (isASCII(part) && isASCII(text)) {
    const auto same = [](char a, char b) { return asciiLower(a) == asciiLower(b); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
  }
  return lowerCased(text).find(lowerCased(part)) != std::string::npos;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) { return lowerCased(a) == lowerCased(b); }

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); at = characterEnd(text, at)) ++count;
  return count;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;  // a character has at least one byte
  std::size_t end = 0;
  for (std::size_t taken = 0; taken < count && end < text.size(); ++taken) end = characterEnd(text, end);
  return text.substr(0, end);
}

std::string_view lastCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  const std::size_t total = characterCount(text);
  std::size_t begin = 0;
  for (std::size_t skipped = 0; skipped + count < total; ++skipped) begin = characterEnd(text, begin);
  return text.substr(begin);
}

bool isValidUTF8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      ++at;
      continue;
    }
    const auto point = codePointAt(text, at);
    if (point.value < 0) return false;
    at += point.length;
  }
  return true;
}

std::string validUTF8(std::string text) {
  if (isValidUTF8(text)) return text;
  std::string out;
  out.reserve(text.size() + 16);
  for (std::size_t at = 0; at < text.size();) {
    const auto point = codePointAt(text, at);
    if (point.value < 0) {
      out += "\uFFFD";
    } else {
      out.append(text, at, point.length);
    }
    at += point.length;
  }
  return out;
}

std::string_view prefixBytes(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = maxBytes;
  // A sequence is at most four bytes long; more continuation bytes than that are no UTF-8 anyway.
  for (int stepped = 0; stepped < 3 && end > 0 && isContinuation(text[end]); ++stepped) --end;
  return text.substr(0, isContinuation(text[end]) ? maxBytes : end);
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty()) {
    const auto point = codePointAt(text, 0);
    if (point.value < 0 || !isWhiteSpace(point.value)) break;
    text.remove_prefix(point.length);
  }
  while (!text.empty()) {
    std::size_t start = text.size() - 1;
    while (start > 0 && text.size() - start < 4 && isContinuation(text[start])) --start;
    const auto point = codePointAt(text, start);
    if (point.value < 0 || start + point.length != text.size() || !isWhiteSpace(point.value)) break;
    text.remove_suffix(point.length);
  }
  return text;
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const auto at = separator.empty() ? std::string_view::npos : text.find(separator);
    if (at == std::string_view::npos) break;
    parts.push_back(text.substr(0, at));
    text.remove_prefix(at + separator.size());
  }
  parts.push_back(text);
  return parts;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::size_t size = 0;
  for (const auto& part : parts) size += part.size() + separator.size();
  std::string out;
  out.reserve(size);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) out += separator;
    out += parts[i];
  }
  return out;
}

std::string replacedAll(std::string_view text, std::string_view what, std::string_view with) {
  if (what.empty()) return std::string(text);
  std::string out;
  for (std::size_t at = text.find(what); at != std::string_view::npos; at = text.find(what)) {
    out.append(text.substr(0, at)).append(with);
    text.remove_prefix(at + what.size());
  }
  return out.append(text);
}

std::string fixedText(double value, int decimals) { return fmt::format("{:.{}f}", value, decimals); }

long long truncatedInteger(double value) {
  // The limits as doubles: 2^63 itself is out of range, -2^63 is in it.
  constexpr double kLimit = 9223372036854775808.0;
  if (std::isnan(value)) return 0;
  if (value >= kLimit) return std::numeric_limits<long long>::max();
  if (value < -kLimit) return std::numeric_limits<long long>::min();
  return static_cast<long long>(value);
}

std::string insideSingleQuotes(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else if (c != '\0') {
      out += c;
    }
  }
  return out;
}

std::string shellWord(std::string_view text) {
  constexpr std::string_view kBare =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._:/@%+=,-";
  // zsh puts the path of the command ls in the place of the word =ls.
  const bool bare =
      !text.empty() && text[0] != '=' && text.find_first_not_of(kBare) == std::string_view::npos;
  if (bare) return std::string(text);
  return "'" + insideSingleQuotes(text) + "'";
}

}  // namespace wyvlet
