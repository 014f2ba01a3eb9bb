#include "WyvletShared/UUID.h"

#include <unistd.h>
#if defined(__APPLE__)
#include <sys/random.h>
#endif

#include <array>
#include <cstdlib>

namespace wyvlet {
namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

/// The value of each hexadecimal digit. A table, because the digits of an identifier are random and
/// every comparison of them a branch guessed wrong.
constexpr std::array<std::uint8_t, 256> kHexValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t i = 0; i < 16; ++i) {
    values[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
    values[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
  }
  return values;
}();

unsigned hexValue(char c) { return kHexValues[static_cast<unsigned char>(c)]; }

bool hyphenComesBefore(std::size_t byte) { return byte == 4 || byte == 6 || byte == 8 || byte == 10; }

}  // namespace

std::optional<UUID> UUID::parse(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  UUID uuid;
  const char* in = text.data();
  unsigned seen = 0;
  for (std::size_t i = 0; i < uuid.bytes.size(); ++i) {
    if (hyphenComesBefore(i) && *in++ != '-') return std::nullopt;
    const unsigned high = hexValue(*in++);
    const unsigned low = hexValue(*in++);
    seen |= high | low;
    uuid.bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  if (seen > 15) return std::nullopt;
  return uuid;
}

UUID UUID::random() {
  // The kernel's own source: std::random_device takes tens of microseconds a word on some machines.
  UUID uuid;
  if (::getentropy(uuid.bytes.data(), uuid.bytes.size()) != 0) std::abort();
  uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);  // version 4
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);  // the RFC's variant
  return uuid;
}

std::string UUID::text() const {
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (hyphenComesBefore(i)) text += '-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

std::string UUID::shortText() const { return text().substr(0, 8); }

}  // namespace wyvlet
