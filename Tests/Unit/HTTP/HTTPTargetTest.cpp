#include <gtest/gtest.h>

#include <string>

#include "HTTP/HTTPTarget.h"

namespace wyvlet {
namespace {

TEST(HTTPTarget, PathEndsAtTheQuery) {
  EXPECT_EQ("/a/b", pathOf("/a/b"));
  EXPECT_EQ("/a/b", pathOf("/a/b?c=d?e"));
  EXPECT_EQ("", pathOf("?c"));
  EXPECT_EQ("", pathOf(""));
}

TEST(HTTPTarget, QueryValueIsFoundByItsWholeKey) {
  EXPECT_EQ("5", queryValue("/x?limit=5", "limit"));
  EXPECT_EQ("5", queryValue("/x?unlimit=1&limit=5&limit=6", "limit"));
  EXPECT_EQ("a=b", queryValue("/x?limit=a=b", "limit"));
  EXPECT_EQ("", queryValue("/x?limit=", "limit"));
  EXPECT_EQ("7", queryValue("/x?&&lim%69t=7", "limit"));
  EXPECT_EQ(std::nullopt, queryValue("/x?limit", "limit"));
  EXPECT_EQ(std::nullopt, queryValue("/x", "limit"));
  EXPECT_EQ(std::nullopt, queryValue("/limit=5", "limit"));
  EXPECT_EQ("dark mode & \xC3\xA9", queryValue("/x?filter=dark%20mode%20%26%20%c3%A9", "filter"));
}

TEST(HTTPTarget, PercentSignsWithTwoDigitsAreDecoded) {
  EXPECT_EQ("A-z", percentDecoded("%41%2D%7a"));
  EXPECT_EQ("%4", percentDecoded("%4"));
  EXPECT_EQ("%", percentDecoded("%"));
  EXPECT_EQ("%zz%4gA", percentDecoded("%zz%4g%41"));
  EXPECT_EQ("%41", percentDecoded("%2541"));
  EXPECT_EQ("a+b", percentDecoded("a+b"));
  EXPECT_EQ(std::string("\0", 1), percentDecoded("%00"));
  EXPECT_EQ("", percentDecoded(""));
}

TEST(HTTPTarget, DecodedTextIsValidUTF8) {
  EXPECT_EQ("a\xEF\xBF\xBD", percentDecoded("a%FF"));
  EXPECT_EQ(
      "\xEF\xBF\xBD"
      "b",
      percentDecoded("\xFF"
                     "b"));
}

TEST(HTTPTarget, DecimalIsStrict) {
  EXPECT_EQ(9000, parseDecimal("9000"));
  EXPECT_EQ(9000, parseDecimal("+9000"));
  EXPECT_EQ(-5, parseDecimal("-5"));
  EXPECT_EQ(0, parseDecimal("-0"));
  EXPECT_EQ(8080, parseDecimal("0000000000000000000000008080"));
  EXPECT_EQ(9223372036854775807, parseDecimal("9223372036854775807"));
  for (const char* text : {"", "+", "-", "+-1", "--1", "++1", " 1", "1 ", "1.0", "0x10", "1e3", "abc",
                           "1,000", "9223372036854775808"}) {
    EXPECT_EQ(std::nullopt, parseDecimal(text)) << text;
  }
}

TEST(HTTPTarget, HexDigitsInEitherCase) {
  EXPECT_EQ(0, hexDigit('0'));
  EXPECT_EQ(9, hexDigit('9'));
  EXPECT_EQ(10, hexDigit('a'));
  EXPECT_EQ(15, hexDigit('F'));
  for (const char c : {'g', 'G', '/', ':', '@', '`', '\0'}) EXPECT_EQ(std::nullopt, hexDigit(c)) << c;
}

}  // namespace
}  // namespace wyvlet
