#include <gtest/gtest.h>

#include "WyvletSampleApp/URLText.h"

namespace wyvlet::sample {
namespace {

TEST(URLText, AFullURLFallsIntoItsPieces) {
  const auto url = parseURL("https://api.harbor.travel:8443/v1/search?from=A%20B&to=C#top");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->scheme, "https");
  EXPECT_EQ(url->host, "api.harbor.travel");
  EXPECT_EQ(url->port, "8443");
  EXPECT_EQ(url->path, "/v1/search");
  EXPECT_EQ(url->query, "?from=A%20B&to=C#top");
  EXPECT_EQ(url->origin(), "https://api.harbor.travel:8443");
  EXPECT_EQ(url->parameters(), (std::map<std::string, std::string>{{"from", "A B"}, {"to", "C"}}));
}

TEST(URLText, TheTextOfThePiecesIsTheURL) {
  for (const char* text : {"http://h", "http://h/", "http://h?q", "http://h:1#f", "harbor://booking/HB101",
                           "http://h:notaport/x", "https://u@h/p?a=b?c"}) {
    const auto url = parseURL(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->text(), text);
  }
}

TEST(URLText, WhatHasNoSchemeOrHostIsNoURL) {
  for (const char* text : {"", "h", "/v1/search", "://h", "http://", "http:///path", "http:h"}) {
    EXPECT_FALSE(parseURL(text)) << text;
  }
}

TEST(URLText, ParametersWithoutAValueAreEmptyAndTheLastOfANameCounts) {
  const auto url = parseURL("http://h/?a&b=&c=1&c=2&&=x");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->parameters(),
            (std::map<std::string, std::string>{{"", "x"}, {"a", ""}, {"b", ""}, {"c", "2"}}));
}

TEST(URLText, PercentEncodingComesBackUnchanged) {
  const std::string text = "São Paulo/100% \x01~-._";
  EXPECT_EQ(percentEncoded("a b/%"), "a%20b%2F%25");
  EXPECT_EQ(percentDecoded(percentEncoded(text)), text);
}

TEST(URLText, AStrayPercentSignStays) {
  EXPECT_EQ(percentDecoded("100%"), "100%");
  EXPECT_EQ(percentDecoded("%4"), "%4");
  EXPECT_EQ(percentDecoded("%zz%41"), "%zzA");
}

}  // namespace
}  // namespace wyvlet::sample
