#include "WyvletShared/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace wyvlet {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kInvalid = 0xFF;

/// The value of each character.
constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kInvalid);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}();

/// The two characters of each twelve bits, so that three bytes take two look-ups.
constexpr std::array<std::array<char, 2>, 4096> kPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  return pairs;
}();

std::uint32_t valueOf(char c) { return kValues[static_cast<unsigned char>(c)]; }

/// Decodes `groups` groups of four characters into three bytes each. False when a character is none
/// of the alphabet.
bool decodeGroups(const char* in, std::size_t groups, char* out) {
  std::uint32_t seen = 0;
  for (; groups != 0; --groups, in += 4, out += 3) {
    const std::uint32_t a = valueOf(in[0]), b = valueOf(in[1]), c = valueOf(in[2]), d = valueOf(in[3]);
    seen |= a | b | c | d;
    const std::uint32_t group = (a << 18) | (b << 12) | (c << 6) | d;
    out[0] = static_cast<char>(group >> 16);
    out[1] = static_cast<char>(group >> 8);
    out[2] = static_cast<char>(group);
  }
  return (seen & 0x80) == 0;
}

#if defined(__x86_64__)
/// Decodes as many groups as it can, eight at a time, and returns their number. It stops before a
/// character that is none of the alphabet, and before it would write beyond the bytes of all groups.
///
/// A full sync is base64 within base64, and read one group at a time that is most of its work.
__attribute__((target("avx2"))) std::size_t decodeWideGroups(const char* in, std::size_t groups, char* out) {
  constexpr std::size_t kGroups = 8;
  constexpr std::size_t kStored = 32;  // of which 24 are result
  // A character is valid when its two nibbles have no bit in common in these tables.
  const __m256i lowNibbles = _mm256_setr_epi8(
      0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A,  //
      0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m256i highNibbles = _mm256_setr_epi8(
      0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10,  //
      0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  // What turns a character into its value, by its high nibble; "/" shares a nibble with "+" and takes
  // the place below.
  const __m256i offsets = _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                           0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i slash = _mm256_set1_epi8('/');
  const __m256i packBytes = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                             2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i packLanes = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);

  std::size_t done = 0;
  for (; (groups - done) * 3 >= kStored; done += kGroups, in += 4 * kGroups, out += 3 * kGroups) {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), nibble);
    const __m256i low = _mm256_and_si256(text, nibble);
    const __m256i clash =
        _mm256_and_si256(_mm256_shuffle_epi8(lowNibbles, low), _mm256_shuffle_epi8(highNibbles, high));
    if (_mm256_testz_si256(clash, clash) == 0) break;
    const __m256i isSlash = _mm256_cmpeq_epi8(text, slash);
    const __m256i offset = _mm256_shuffle_epi8(offsets, _mm256_add_epi8(high, isSlash));
    const __m256i values = _mm256_add_epi8(text, offset);
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i quads = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(quads, packBytes), packLanes);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), bytes);
  }
  return done;
}

std::size_t decodeFastGroups(const char* in, std::size_t groups, char* out) {
  static const bool kSupported = __builtin_cpu_supports("avx2") != 0;
  return kSupported ? decodeWideGroups(in, groups, out) : 0;
}
#else
std::size_t decodeFastGroups(const char*, std::size_t, char*) { return 0; }
#endif

/// Appends the bytes of whole groups.
bool appendDecoded(std::string& bytes, std::string_view text) {
  // In pieces that stay in the nearest cache, because resize() fills with zeros what is then filled
  // with bytes.
  constexpr std::size_t kPieceGroups = 4096;
  for (std::size_t groups = text.size() / 4; groups != 0;) {
    const std::size_t piece = std::min(groups, kPieceGroups);
    const std::size_t size = bytes.size();
    bytes.resize(size + 3 * piece);
    char* const out = bytes.data() + size;
    const std::size_t fast = decodeFastGroups(text.data(), piece, out);
    if (!decodeGroups(text.data() + 4 * fast, piece - fast, out + 3 * fast)) return false;
    text.remove_prefix(4 * piece);
    groups -= piece;
  }
  return true;
}

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.resize((bytes.size() + 2) / 3 * 4);
  const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
  char* out = text.data();
  std::size_t left = bytes.size();
  const auto putPair = [](char* place, std::uint32_t bits) {
    std::memcpy(place, kPairs[bits].data(), kPairs[bits].size());
  };
  for (; left >= 3; left -= 3, in += 3, out += 4) {
    const std::uint32_t group = (std::uint32_t{in[0]} << 16) | (std::uint32_t{in[1]} << 8) | in[2];
    putPair(out, group >> 12);
    putPair(out + 2, group & 0xFFF);
  }
  if (left != 0) {
    const std::uint32_t group = (std::uint32_t{in[0]} << 16) | (left == 2 ? std::uint32_t{in[1]} << 8 : 0U);
    putPair(out, group >> 12);
    putPair(out + 2, group & 0xFFF);
    out[3] = '=';
    if (left == 1) out[2] = '=';
  }
  return text;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  if (!appendDecoded(bytes, text.substr(0, padding == 0 ? text.size() : text.size() - 4)))
    return std::nullopt;
  if (padding != 0) {
    const char* const in = text.data() + text.size() - 4;
    const std::uint32_t a = valueOf(in[0]), b = valueOf(in[1]), c = padding == 1 ? valueOf(in[2]) : 0;
    const std::uint32_t group = (a << 18) | (b << 12) | (c << 6);
    const std::uint32_t strayBits = group & (padding == 1 ? 0xFF : 0xFFFF);
    if (((a | b | c) & 0x80) != 0 || strayBits != 0) return std::nullopt;
    bytes += static_cast<char>(group >> 16);
    if (padding == 1) bytes += static_cast<char>(group >> 8);
  }
  return bytes;
}

}  // namespace wyvlet
