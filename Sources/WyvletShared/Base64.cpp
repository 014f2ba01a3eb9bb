#include "WyvletShared/Base64.h"

#include <array>
#include <cstdint>

namespace wyvlet {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kInvalid = 0xFF;

constexpr std::array<std::uint8_t, 256> makeValues() {
  std::array<std::uint8_t, 256> values{};
  values.fill(kInvalid);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}

constexpr std::array<std::uint8_t, 256> kValues = makeValues();

std::uint32_t valueOf(char c) { return kValues[static_cast<unsigned char>(c)]; }

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.resize((bytes.size() + 2) / 3 * 4);
  const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
  char* out = text.data();
  std::size_t left = bytes.size();
  for (; left >= 3; left -= 3, in += 3, out += 4) {
    const std::uint32_t group = (std::uint32_t{in[0]} << 16) | (std::uint32_t{in[1]} << 8) | in[2];
    out[0] = kAlphabet[group >> 18];
    out[1] = kAlphabet[(group >> 12) & 63];
    out[2] = kAlphabet[(group >> 6) & 63];
    out[3] = kAlphabet[group & 63];
  }
  if (left != 0) {
    const std::uint32_t group =
        (std::uint32_t{in[0]} << 16) | (left == 2 ? std::uint32_t{in[1]} << 8 : std::uint32_t{0});
    out[0] = kAlphabet[group >> 18];
    out[1] = kAlphabet[(group >> 12) & 63];
    out[2] = left == 2 ? kAlphabet[(group >> 6) & 63] : '=';
    out[3] = '=';
  }
  return text;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  if (text.empty()) return std::string();
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  std::string bytes;
  bytes.resize(text.size() / 4 * 3 - padding);
  const char* in = text.data();
  char* out = bytes.data();
  const std::size_t wholeGroups = text.size() / 4 - (padding == 0 ? 0 : 1);
  std::uint32_t bad = 0;
  for (std::size_t i = 0; i < wholeGroups; ++i, in += 4, out += 3) {
    const std::uint32_t a = valueOf(in[0]), b = valueOf(in[1]), c = valueOf(in[2]), d = valueOf(in[3]);
    bad |= a | b | c | d;
    const std::uint32_t group = (a << 18) | (b << 12) | (c << 6) | d;
    out[0] = static_cast<char>(group >> 16);
    out[1] = static_cast<char>(group >> 8);
    out[2] = static_cast<char>(group);
  }
  if (padding != 0) {
    const std::uint32_t a = valueOf(in[0]), b = valueOf(in[1]), c = padding == 1 ? valueOf(in[2]) : 0;
    bad |= a | b | c;
    const std::uint32_t group = (a << 18) | (b << 12) | (c << 6);
    const std::uint32_t strayBits = padding == 1 ? group & 0xFF : group & 0xFFFF;
    if (strayBits != 0) return std::nullopt;
    out[0] = static_cast<char>(group >> 16);
    if (padding == 1) out[1] = static_cast<char>(group >> 8);
  }
  if ((bad & 0x80) != 0) return std::nullopt;
  return bytes;
}

}  // namespace wyvlet
