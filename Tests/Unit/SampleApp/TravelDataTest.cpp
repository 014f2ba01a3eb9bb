#include <gtest/gtest.h>

#include "WyvletSampleApp/TravelData.h"

namespace wyvlet::sample {
namespace {

TEST(TravelData, FaresAreReadFromASearchAnswer) {
  const auto fares =
      readFares(R"({"fares":[{"id":"HB1","departs":"06:15","arrives":"09:20","fare":46.5},{"id":"HB2"}]})");
  EXPECT_EQ(fares, (std::vector<Fare>{{"HB1", "06:15", "09:20", 4650}, {"HB2", "", "", 0}}));
}

TEST(TravelData, WhatIsNoFareIsLeftOut) {
  EXPECT_TRUE(readFares("").empty());
  EXPECT_TRUE(readFares("nonsense").empty());
  EXPECT_TRUE(readFares("[]").empty());
  EXPECT_TRUE(readFares(R"({"fares":{}})").empty());
  EXPECT_EQ(readFares(R"({"fares":[1,null,{},{"id":7},{"id":"HB1","fare":"x"}]})"),
            (std::vector<Fare>{{"HB1", "", "", 0}}));
}

TEST(TravelData, AQuoteWithoutATotalAddsUp) {
  const auto quote = readQuote(R"({"id":"HB1","fare":40,"taxes":6.3})");
  ASSERT_TRUE(quote);
  EXPECT_EQ(quote->totalCents, 4630);
  EXPECT_FALSE(readQuote(R"({"fare":40})"));
  EXPECT_FALSE(readQuote("500"));
}

TEST(TravelData, AbsurdAmountsAreNoAmounts) {
  EXPECT_EQ(readQuote(R"({"id":"HB1","fare":1e300,"total":-5})")->fare.cents, 0);
  EXPECT_EQ(readQuote(R"({"id":"HB1","fare":1e300,"total":-5})")->totalCents, -500);
}

TEST(TravelData, AccountAndTexts) {
  const auto account = readAccount(R"({"name":"Ada","email":1})");
  ASSERT_TRUE(account);
  EXPECT_EQ(account->name, "Ada");
  EXPECT_EQ(account->email, "");
  EXPECT_EQ(readText(R"({"reference":"HB-1"})", "reference"), "HB-1");
  EXPECT_FALSE(readText(R"({"reference":1})", "reference"));
  EXPECT_EQ(readTexts(R"({"list":["a",1,"b"]})", "list"), (std::vector<std::string>{"a", "b"}));
}

TEST(TravelData, AmountsHaveTwoDecimals) {
  EXPECT_EQ(amountText(0), "0.00");
  EXPECT_EQ(amountText(5), "0.05");
  EXPECT_EQ(amountText(4650), "46.50");
  EXPECT_EQ(amountText(-105), "-1.05");
  EXPECT_EQ(moneyText(4650), "€46.50");
}

}  // namespace
}  // namespace wyvlet::sample
