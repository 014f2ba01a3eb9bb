#include "WyvletShared/JSONWriter.h"

#include <array>
#include <charconv>
#include <cmath>

#include "WyvletShared/UTF8.h"

namespace wyvlet {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// What a byte needs: nothing, a short or long escape, or a look at the sequence it begins.
enum class Need : std::uint8_t { Nothing, Escape, Sequence };

constexpr std::array<Need, 256> makeNeeds() {
  std::array<Need, 256> needs{};
  for (std::size_t i = 0; i < 0x20; ++i) needs[i] = Need::Escape;
  needs['"'] = Need::Escape;
  needs['\\'] = Need::Escape;
  for (std::size_t i = 0x80; i < 0x100; ++i) needs[i] = Need::Sequence;
  return needs;
}

constexpr std::array<Need, 256> kNeeds = makeNeeds();

void appendEscape(std::string& json, char c) {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  switch (c) {
    case '"': json += "\\\""; return;
    case '\\': json += "\\\\"; return;
    case '\b': json += "\\b"; return;
    case '\f': json += "\\f"; return;
    case '\n': json += "\\n"; return;
    case '\r': json += "\\r"; return;
    case '\t': json += "\\t"; return;
    default:
      json += "\\u00";
      json += kDigits[static_cast<unsigned char>(c) >> 4];
      json += kDigits[static_cast<unsigned char>(c) & 15];
  }
}

template <class Integer>
void appendInteger(std::string& json, Integer number) {
  std::array<char, 24> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  json.append(digits.data(), end);
}

}  // namespace

void appendJSON(std::string& json, std::string_view text) {
  json += '"';
  std::size_t plain = 0;  // start of the bytes that are copied as they are
  std::size_t at = 0;
  while (at < text.size()) {
    const Need need = kNeeds[static_cast<unsigned char>(text[at])];
    if (need == Need::Nothing) {
      ++at;
      continue;
    }
    if (need == Need::Sequence) {
      const UTF8Sequence sequence = utf8SequenceAt(text.substr(at));
      if (!sequence.wellFormed) {
        json.append(text, plain, at - plain);
        json += kReplacement;
        plain = at + sequence.length;
      }
      at += sequence.length;
      continue;
    }
    json.append(text, plain, at - plain);
    appendEscape(json, text[at]);
    plain = ++at;
  }
  json.append(text, plain);
  json += '"';
}

void appendJSON(std::string& json, double number) {
  if (!std::isfinite(number)) {
    json += "null";
    return;
  }
  // Plain notation for the everyday range: "1700000000" rather than "1.7e+09".
  const double magnitude = std::fabs(number);
  const bool everyday = number == 0 || (magnitude >= 1e-6 && magnitude < 1e16);
  std::array<char, 64> digits;
  const auto [end, error] =
      std::to_chars(digits.data(), digits.data() + digits.size(), number,
                    everyday ? std::chars_format::fixed : std::chars_format::scientific);
  json.append(digits.data(), end);
}

void appendJSON(std::string& json, std::int64_t number) { appendInteger(json, number); }

void appendJSON(std::string& json, std::uint64_t number) { appendInteger(json, number); }

void appendJSON(std::string& json, Date date, DateEpoch epoch) {
  appendJSON(json,
             epoch == DateEpoch::Unix1970 ? date.secondsSince1970 : date.secondsSince1970 - kReference2001);
}

}  // namespace wyvlet
