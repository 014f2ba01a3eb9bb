#include <gtest/gtest.h>

#include <limits>

#include "Support/Text.h"

namespace wyvlet {
namespace {

TEST(Text, LowerCasesBeyondASCII) {
  EXPECT_EQ("confirm 42", lowerCased("CONFIRM 42"));
  EXPECT_EQ("äöü straße ωσ", lowerCased("ÄÖÜ STRAßE ΩΣ"));
  EXPECT_EQ("i\u0307", lowerCased("\u0130"));
  EXPECT_EQ(
      "\xFF"
      "a",
      lowerCased("\xFF"
                 "A"));
}

TEST(Text, UpperCasesBeyondASCII) {
  EXPECT_EQ("WARN", upperCased("warn"));
  EXPECT_EQ("ÉCRAN", upperCased("écran"));
  EXPECT_EQ("STRASSE", upperCased("straße"));
}

TEST(Text, ContainmentIgnoresCase) {
  EXPECT_TRUE(containsIgnoringCase("https://API.example.com/V1", "/v1"));
  EXPECT_TRUE(containsIgnoringCase("Écran d'Accueil", "éCRAN"));
  EXPECT_TRUE(containsIgnoringCase("anything", ""));
  EXPECT_FALSE(containsIgnoringCase("", "x"));
  EXPECT_FALSE(containsIgnoringCase("abc", "abcd"));
}

TEST(Text, CountsPerceivedCharacters) {
  EXPECT_EQ(0u, characterCount(""));
  EXPECT_EQ(3u, characterCount("abc"));
  EXPECT_EQ(1u, characterCount("\r\n"));
  EXPECT_EQ(1u, characterCount("e\u0301"));
  EXPECT_EQ(1u, characterCount("👩‍👩‍👧‍👦"));
  EXPECT_EQ(2u, characterCount("🇩🇪🇫🇷"));
  EXPECT_EQ(2u, characterCount("\xFF\xFE"));
}

TEST(Text, CutsBetweenPerceivedCharacters) {
  EXPECT_EQ("ab", firstCharacters("abc", 2));
  EXPECT_EQ("abc", firstCharacters("abc", 3));
  EXPECT_EQ("", firstCharacters("abc", 0));
  EXPECT_EQ("a👩‍👧", firstCharacters("a👩‍👧b", 2));
  EXPECT_EQ("👩‍👧b", lastCharacters("a👩‍👧b", 2));
  EXPECT_EQ("bc", lastCharacters("abc", 2));
  EXPECT_EQ("abc", lastCharacters("abc", 9));
  EXPECT_EQ("", lastCharacters("abc", 0));
}

TEST(Text, ReplacesWhatIsNotUTF8) {
  EXPECT_EQ("plain", validUTF8("plain"));
  EXPECT_EQ("a\uFFFDb", validUTF8("a\x80"
                                  "b"));
  EXPECT_EQ("\uFFFD\uFFFD", validUTF8("\xC3\xC3"));
  EXPECT_TRUE(isValidUTF8("żółw"));
  EXPECT_FALSE(isValidUTF8("\xED\xA0\x80"));  // a lone surrogate
  EXPECT_FALSE(isValidUTF8("\xC0\xAF"));      // an overlong slash
  EXPECT_FALSE(isValidUTF8("\xE2\x82"));      // cut short
}

TEST(Text, PrefixNeverSplitsASequence) {
  EXPECT_EQ("abc", prefixBytes("abc", 3));
  EXPECT_EQ("ab", prefixBytes("abc", 2));
  EXPECT_EQ("a", prefixBytes("a€", 2));
  EXPECT_EQ("a", prefixBytes("a€", 3));
  EXPECT_EQ("a€", prefixBytes("a€", 4));
  EXPECT_EQ("", prefixBytes("😀", 3));
  EXPECT_EQ(5u, prefixBytes("\x80\x80\x80\x80\x80\x80\x80", 5).size());
}

TEST(Text, TrimsUnicodeWhiteSpace) {
  EXPECT_EQ("a b", trimmed(" \t\r\n a b \u00A0\u2003\n"));
  EXPECT_EQ("", trimmed(" \n\t "));
  EXPECT_EQ("\x80", trimmed(" \x80 "));
  EXPECT_EQ("€", trimmed("€"));
}

TEST(Text, SplitsAndJoins) {
  EXPECT_EQ((std::vector<std::string_view>{"a", "", "b"}), split("a,,b", ","));
  EXPECT_EQ((std::vector<std::string_view>{""}), split("", ","));
  EXPECT_EQ((std::vector<std::string_view>{"", ""}), split("][", "]["));
  EXPECT_EQ("a, b", joined({"a", "b"}, ", "));
  EXPECT_EQ("", joined({}, ", "));
  EXPECT_EQ("a%sb%s", replacedAll("a b ", " ", "%s"));
}

TEST(Text, FormatsLikePrintf) {
  EXPECT_EQ("42", fixedText(42.4, 0));
  EXPECT_EQ("0", fixedText(0.5, 0));  // ties to even, as printf
  EXPECT_EQ("2", fixedText(1.5, 0));
  EXPECT_EQ("59.9", fixedText(59.94, 1));
  EXPECT_EQ(301u, fixedText(1e300, 0).size());
}

TEST(Text, TruncatesAnyNumber) {
  EXPECT_EQ(20, truncatedInteger(20.9));
  EXPECT_EQ(-20, truncatedInteger(-20.9));
  EXPECT_EQ(std::numeric_limits<long long>::max(), truncatedInteger(1e300));
  EXPECT_EQ(std::numeric_limits<long long>::min(), truncatedInteger(-1e300));
  EXPECT_EQ(std::numeric_limits<long long>::min(), truncatedInteger(-9223372036854775808.0));
  EXPECT_EQ(0, truncatedInteger(std::numeric_limits<double>::quiet_NaN()));
}

TEST(Text, ShellWordsAreBareOnlyWhenHarmless) {
  EXPECT_EQ("com.example.App-2", shellWord("com.example.App-2"));
  EXPECT_EQ("/tmp/x_1.png", shellWord("/tmp/x_1.png"));
  EXPECT_EQ("a@b%c+d=e,f:g", shellWord("a@b%c+d=e,f:g"));
  EXPECT_EQ("''", shellWord(""));
  EXPECT_EQ("'a b'", shellWord("a b"));
  EXPECT_EQ("'a;touch x'", shellWord("a;touch x"));
  EXPECT_EQ("'$(id)'", shellWord("$(id)"));
  EXPECT_EQ("'~'", shellWord("~"));
  EXPECT_EQ("'=ls'", shellWord("=ls"));
  EXPECT_EQ("'it'\\''s'", shellWord("it's"));
  EXPECT_EQ("'ab'", shellWord(std::string_view("a\0b", 3)));
  EXPECT_EQ("it'\\''s", insideSingleQuotes("it's"));
}

}  // namespace
}  // namespace wyvlet
