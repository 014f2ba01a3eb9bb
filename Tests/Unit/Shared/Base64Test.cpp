#include <gtest/gtest.h>

#include <random>

#include "WyvletShared/Base64.h"

namespace wyvlet {
namespace {

std::string bytesFrom(std::mt19937& random, std::size_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

/// One bit at a time, straight from the definition.
std::string plainEncoding(std::string_view bytes) {
  static constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
    unsigned value = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const unsigned byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
      value = value * 2 + ((byte >> (7 - i % 8)) & 1);
    }
    text += kAlphabet[value];
  }
  while (text.size() % 4 != 0) text += '=';
  return text;
}

TEST(Base64, ExamplesOfTheStandard) {
  const std::pair<std::string_view, std::string_view> examples[] = {{"", ""},
                                                                    {"f", "Zg=="},
                                                                    {"fo", "Zm8="},
                                                                    {"foo", "Zm9v"},
                                                                    {"foob", "Zm9vYg=="},
                                                                    {"fooba", "Zm9vYmE="},
                                                                    {"foobar", "Zm9vYmFy"},
                                                                    {"{}", "e30="}};
  for (const auto& [bytes, text] : examples) {
    EXPECT_EQ(encodeBase64(bytes), text);
    EXPECT_EQ(decodeBase64(text), bytes);
  }
}

TEST(Base64, EveryLengthAgreesWithTheDefinitionAndReadsBack) {
  std::mt19937 random(1);
  for (std::size_t length = 0; length < 700; ++length) {
    const std::string bytes = bytesFrom(random, length);
    const std::string text = encodeBase64(bytes);
    ASSERT_EQ(text, plainEncoding(bytes)) << length;
    ASSERT_EQ(decodeBase64(text), bytes) << length;
  }
}

TEST(Base64, LargeValuesReadBack) {
  std::mt19937 random(2);
  for (const std::size_t length : {65'535u, 65'536u, 65'537u, 1'000'000u, 3'000'001u}) {
    const std::string bytes = bytesFrom(random, length);
    ASSERT_EQ(decodeBase64(encodeBase64(bytes)), bytes) << length;
  }
}

TEST(Base64, ForeignCharacterAtAnyPlaceIsRefused) {
  std::mt19937 random(3);
  for (const std::size_t length : {3u, 4u, 5u, 24u, 48u, 96u, 97u, 200u, 1001u}) {
    const std::string text = encodeBase64(bytesFrom(random, length));
    for (std::size_t at = 0; at < text.size(); ++at) {
      for (const char foreign : {' ', '\n', '\r', '\t', '-', '_',  '.',    '"',    '\\',   '=',   '@',
                                 '[', '`',  '{',  ':',  ',', '\0', '\x7f', '\x80', '\xab', '\xff'}) {
        if (text[at] == foreign) continue;
        if (foreign == '=' && at + 2 >= text.size()) continue;  // may be the padding of a shorter value
        std::string broken = text;
        broken[at] = foreign;
        ASSERT_EQ(decodeBase64(broken), std::nullopt) << length << " at " << at << " char " << int(foreign);
      }
    }
  }
}

TEST(Base64, EveryForeignByteIsRefused) {
  const std::string text = encodeBase64(std::string(150, '\x5a'));
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool inAlphabet = std::isalnum(byte) != 0 || c == '+' || c == '/';
    for (const std::size_t at : {std::size_t{0}, std::size_t{37}, text.size() - 1}) {
      std::string changed = text;
      changed[at] = c;
      EXPECT_EQ(decodeBase64(changed).has_value(), inAlphabet && byte < 128) << byte << " at " << at;
    }
  }
}

TEST(Base64, MissingOrMisplacedPaddingIsRefused) {
  for (const std::string_view text :
       {"Z",      "Zg",       "Zg=",  "Zm8",        "Zm9vYg",   "Zm9vYg=",     "=",
        "==",     "===",      "====", "Z===",       "Zg==Zg==", "Zg=a",        "Zm9v=",
        "Zm9v==", "Zm9v====", "=Zg=", "Zm9vYg==\n", " Zg==",    "Zm9v\r\nYmFy"}) {
    EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
  }
}

TEST(Base64, StrayBitsInTheLastGroupAreRefused) {
  EXPECT_EQ(decodeBase64("Zh=="), std::nullopt);
  EXPECT_EQ(decodeBase64("Zm9="), std::nullopt);
  EXPECT_EQ(decodeBase64("Zv=="), std::nullopt);
}

}  // namespace
}  // namespace wyvlet
