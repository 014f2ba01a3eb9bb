#include "WyvletShared/JSONReader.h"

#include <locale.h>
#include <stdlib.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "WyvletShared/Base64.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/UTF8.h"

namespace wyvlet {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

void appendUTF8(std::string& text, std::uint32_t character) {
  const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
  if (character < 0x80) {
    text += byte(character);
  } else if (character < 0x800) {
    text += byte(0xC0 | (character >> 6));
    text += byte(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    text += byte(0xE0 | (character >> 12));
    text += byte(0x80 | ((character >> 6) & 0x3F));
    text += byte(0x80 | (character & 0x3F));
  } else {
    text += byte(0xF0 | (character >> 18));
    text += byte(0x80 | ((character >> 12) & 0x3F));
    text += byte(0x80 | ((character >> 6) & 0x3F));
    text += byte(0x80 | (character & 0x3F));
  }
}

#if defined(__SSE2__)
constexpr std::ptrdiff_t kStride = 16;

/// A bit for every byte of `kStride` that a text cannot hold as it is: a quote, a backslash, a control
/// character, or a byte above 0x7F, which begins a sequence that has to be looked at.
std::uint32_t specialBytes(const char* bytes) {
  const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i quotes = _mm_cmpeq_epi8(text, _mm_set1_epi8('"'));
  const __m128i backslashes = _mm_cmpeq_epi8(text, _mm_set1_epi8('\\'));
  const __m128i belowSpace = _mm_cmplt_epi8(text, _mm_set1_epi8(' '));  // signed: above 0x7F as well
  return static_cast<std::uint32_t>(
      _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(quotes, backslashes), belowSpace)));
}

std::ptrdiff_t firstByte(std::uint32_t special) { return std::countr_zero(special); }
#else
constexpr std::ptrdiff_t kStride = 8;

/// The high bit of every byte that a text cannot hold as it is, as above. Bytes after the first such
/// one may be marked wrongly, by a borrow.
std::uint64_t specialBytes(const char* bytes) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighs = 0x8080808080808080;
  std::uint64_t text;
  std::memcpy(&text, bytes, sizeof text);
  const std::uint64_t quotes = text ^ (kOnes * '"');
  const std::uint64_t backslashes = text ^ (kOnes * '\\');
  return ((quotes - kOnes) | (backslashes - kOnes) | (text - kOnes * ' ') | text) & kHighs;
}

std::ptrdiff_t firstByte(std::uint64_t special) {
  static_assert(std::endian::native == std::endian::little);
  return std::countr_zero(special) / 8;
}
#endif

}  // namespace

double JSONReader::Number::value() const {
  if (integral) {
    const auto value = static_cast<double>(magnitude);
    return negative ? -value : value;
  }
#if defined(__cpp_lib_to_chars)
  double value = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc()) return value;
#endif
  // Out of range, which the C library tells apart into zero and infinity; or a standard library
  // that reads no floating point yet. The locale would decide what a decimal point is.
  static const locale_t kPlain = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return ::strtod_l(std::string(text).c_str(), nullptr, kPlain);
}

template <class Integer>
std::optional<Integer> JSONReader::Number::integer() const {
  constexpr std::uint64_t kMax = std::numeric_limits<Integer>::max();
  constexpr bool kSigned = std::numeric_limits<Integer>::is_signed;
  if (integral) {
    if (!negative || magnitude == 0) {
      return magnitude <= kMax ? std::optional(static_cast<Integer>(magnitude)) : std::nullopt;
    }
    if (!kSigned || magnitude > kMax + 1) return std::nullopt;
    return static_cast<Integer>(std::uint64_t{0} - magnitude);
  }
  // The bounds are powers of two, hence exact as doubles; the upper one is the first beyond the type.
  const double upper = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
  const double lower = kSigned ? -upper : 0.0;
  const double whole = value();
  if (!(whole >= lower && whole < upper) || whole != std::trunc(whole)) return std::nullopt;
  return static_cast<Integer>(whole);
}

template std::optional<std::int64_t> JSONReader::Number::integer() const;
template std::optional<std::uint64_t> JSONReader::Number::integer() const;

bool JSONReader::fail(const char* what) {
  if (error_ == nullptr) error_ = what;
  return false;
}

std::optional<std::string> JSONReader::syntaxError() const {
  if (error_ == nullptr) return std::nullopt;
  return std::string(error_) + " at byte " + std::to_string(at_ - begin_);
}

bool JSONReader::atEnd() {
  skipWhiteSpace();
  return at_ == end_ || fail("unexpected text after the value");
}

bool JSONReader::readLiteral() {
  const std::string_view word = *at_ == 't' ? "true" : *at_ == 'f' ? "false" : "null";
  if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(word)) {
    return fail("unknown word");
  }
  at_ += word.size();
  return true;
}

bool JSONReader::readNumber(Number& number) {
  const char* const start = at_;
  number.negative = *at_ == '-';
  if (number.negative) ++at_;
  const char* const digits = at_;
  if (!skipDigits()) return fail("a number without digits");
  if (*digits == '0' && at_ - digits > 1) {
    at_ = digits;
    return fail("a number with leading zeros");
  }
  number.integral = true;
  if (at_ != end_ && *at_ == '.') {
    number.integral = false;
    ++at_;
    if (!skipDigits()) return fail("a fraction without digits");
  }
  if (at_ != end_ && (*at_ == 'e' || *at_ == 'E')) {
    number.integral = false;
    ++at_;
    if (at_ != end_ && (*at_ == '+' || *at_ == '-')) ++at_;
    if (!skipDigits()) return fail("an exponent without digits");
  }
  number.text = std::string_view(start, static_cast<std::size_t>(at_ - start));
  if (number.integral) number.integral = std::from_chars(digits, at_, number.magnitude).ec == std::errc();
  return true;
}

/// False when there is none.
inline bool JSONReader::skipDigits() {
  const char* const start = at_;
  while (at_ != end_ && isDigit(*at_)) ++at_;
  return at_ != start;
}

/// The first byte from `from` on that is not plain ASCII text.
inline const char* JSONReader::skipPlainText(const char* from) const {
  for (; end_ - from >= kStride; from += kStride) {
    if (const auto special = specialBytes(from); special != 0) return from + firstByte(special);
  }
  for (; from != end_; ++from) {
    const auto c = static_cast<unsigned char>(*from);
    if (c == '"' || c == '\\' || c < 0x20 || c >= 0x80) return from;
  }
  return end_;
}

bool JSONReader::readText(std::string_view& text) {
  const char* const start = at_ + 1;
  const char* from = skipPlainText(start);
  while (from != end_ && static_cast<unsigned char>(*from) >= 0x80) {
    const UTF8Sequence sequence =
        utf8SequenceAt(std::string_view(from, static_cast<std::size_t>(end_ - from)));
    if (!sequence.wellFormed) {
      at_ = from;
      return fail("text that is not UTF-8");
    }
    from = skipPlainText(from + sequence.length);
  }
  if (from != end_ && *from == '"') {
    text = std::string_view(start, static_cast<std::size_t>(from - start));
    at_ = from + 1;
    return true;
  }
  unescaped_.assign(start, from);
  if (!readEscapedText(unescaped_, from)) return false;
  text = unescaped_;
  return true;
}

bool JSONReader::readText(std::string& text) {
  std::string_view view;
  if (!readText(view)) return false;
  text.assign(view);
  return true;
}

/// Appends the rest of a text, of which everything before `from` has been taken, up to its quote.
bool JSONReader::readEscapedText(std::string& text, const char* from) {
  at_ = from;
  while (at_ != end_) {
    const auto c = static_cast<unsigned char>(*at_);
    if (c == '"') {
      ++at_;
      return true;
    }
    if (c == '\\') {
      if (!readEscape(text)) return false;
    } else if (c >= 0x80) {
      const UTF8Sequence sequence =
          utf8SequenceAt(std::string_view(at_, static_cast<std::size_t>(end_ - at_)));
      if (!sequence.wellFormed) return fail("text that is not UTF-8");
      text.append(at_, sequence.length);
      at_ += sequence.length;
    } else if (c < 0x20) {
      return fail("a raw control character");
    } else {
      const char* const plainEnd = skipPlainText(at_);
      text.append(at_, plainEnd);
      at_ = plainEnd;
    }
  }
  return fail("a text without an end");
}

std::optional<std::uint32_t> JSONReader::hexDigits(const char* from) const {
  if (end_ - from < 4) return std::nullopt;
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) {
    const char c = from[i];
    std::uint32_t digit = 0;
    if (isDigit(c)) {
      digit = static_cast<std::uint32_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      digit = static_cast<std::uint32_t>(c - 'a' + 10);
    } else if (c >= 'A' && c <= 'F') {
      digit = static_cast<std::uint32_t>(c - 'A' + 10);
    } else {
      return std::nullopt;
    }
    value = value * 16 + digit;
  }
  return value;
}

bool JSONReader::readEscape(std::string& text) {
  const char letter = end_ - at_ < 2 ? '\0' : at_[1];
  switch (letter) {
    case '"':
    case '\\':
    case '/': text += letter; break;
    case 'b': text += '\b'; break;
    case 'f': text += '\f'; break;
    case 'n': text += '\n'; break;
    case 'r': text += '\r'; break;
    case 't': text += '\t'; break;
    case 'u': {
      std::optional<std::uint32_t> unit = hexDigits(at_ + 2);
      if (!unit || (*unit >= 0xDC00 && *unit <= 0xDFFF)) return fail("a bad escape");
      if (*unit >= 0xD800 && *unit <= 0xDBFF) {
        const bool paired = end_ - at_ >= 12 && at_[6] == '\\' && at_[7] == 'u';
        const std::optional<std::uint32_t> low = paired ? hexDigits(at_ + 8) : std::nullopt;
        if (!low || *low < 0xDC00 || *low > 0xDFFF) return fail("a bad escape");
        unit = 0x10000 + ((*unit - 0xD800) << 10) + (*low - 0xDC00);
        at_ += 6;
      }
      appendUTF8(text, *unit);
      at_ += 4;
      break;
    }
    default: return fail("a bad escape");
  }
  at_ += 2;
  return true;
}

bool JSONReader::readBase64(std::string& bytes, bool& valid) {
  // Base64 holds no escapes but the needless one of "/", which some writers make. So the text is
  // taken up to the next quote, and only when that is not base64 is it read like any other.
  const char* const start = at_ + 1;
  const void* const quote = std::memchr(start, '"', static_cast<std::size_t>(end_ - start));
  if (quote != nullptr) {
    const auto length = static_cast<std::size_t>(static_cast<const char*>(quote) - start);
    if (std::optional<std::string> decoded = decodeBase64(std::string_view(start, length))) {
      bytes = std::move(*decoded);
      at_ = start + length + 1;
      valid = true;
      return true;
    }
    unescaped_.reserve(length);
  }
  std::string_view text;
  if (!readText(text)) return false;
  std::optional<std::string> decoded = decodeBase64(text);
  valid = decoded.has_value();
  if (valid) bytes = std::move(*decoded);
  return true;
}

bool JSONReader::enter() {
  if (depth_ == kMaxJSONDepth) return fail("nesting too deep");
  ++depth_;
  ++at_;
  return true;
}

bool JSONReader::readKey(std::string_view& key) {
  if (skipWhiteSpace() != '"') return fail("expected a key");
  if (!readText(key)) return false;
  if (skipWhiteSpace() != ':') return fail("expected a colon");
  ++at_;
  return true;
}

bool JSONReader::skip() {
  Number number;
  std::string_view text;
  switch (kind()) {
    case Kind::Text: return readText(text);
    case Kind::Number: return readNumber(number);
    case Kind::True:
    case Kind::False:
    case Kind::Null: return readLiteral();
    case Kind::Object: return readObject([this](std::string_view) { return skip(); });
    case Kind::List: return readList([this] { return skip(); });
    case Kind::Invalid: break;
  }
  return false;
}

}  // namespace wyvlet
