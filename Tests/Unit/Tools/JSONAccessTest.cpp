#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <limits>

#include "Samples.h"
#include "Tools/JSONAccess.h"

namespace wyvlet::test {
namespace {

TEST(ParseJSON, StrictAndNotTooDeep) {
  EXPECT_EQ(parseJSON(" [1, \"a\"] "), boost::json::value({1, "a"}));
  EXPECT_TRUE(parseJSON(repeated("[", 512) + repeated("]", 512)));
  EXPECT_FALSE(parseJSON(repeated("[", 513) + repeated("]", 513)));
  for (const char* text : {"", "[1,]", "// c\n1", "NaN", "\"\t\"", "\"\xC3\"", "1 2", "{\"a\":}"}) {
    EXPECT_FALSE(parseJSON(text)) << text;
  }
}

TEST(IntegralNumber, HoweverItIsWritten) {
  EXPECT_EQ(integralNumber(*parseJSON("20")), 20);
  EXPECT_EQ(integralNumber(*parseJSON("20.0")), 20);
  EXPECT_EQ(integralNumber(*parseJSON("-2e1")), -20);
  EXPECT_EQ(integralNumber(*parseJSON("-0.0")), 0);
  EXPECT_EQ(integralNumber(*parseJSON("9223372036854775807")), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(integralNumber(*parseJSON("-9223372036854775808")), std::numeric_limits<std::int64_t>::min());
}

TEST(IntegralNumber, EverythingElseIsAbsent) {
  for (const char* text : {"20.5", "\"20\"", "true", "null", "[20]", "{}", "1e300", "-1e300", "1e-5",
                           "9223372036854775808", "9223372036854775808.0", "99999999999999999999"}) {
    EXPECT_EQ(integralNumber(*parseJSON(text)), std::nullopt) << text;
  }
}

TEST(Members, OfTheRightTypeOnly) {
  const boost::json::object object{{"text", "a"}, {"number", 4.0}};
  EXPECT_EQ(textMember(object, "text"), "a");
  EXPECT_EQ(textMember(object, "number"), std::nullopt);
  EXPECT_EQ(textMember(object, "missing"), std::nullopt);
  EXPECT_EQ(integralMember(object, "number"), 4);
  EXPECT_EQ(integralMember(object, "text"), std::nullopt);
  EXPECT_EQ(integralMember(object, "missing"), std::nullopt);
}

TEST(Members, NumbersAndCoordinates) {
  const boost::json::object object{
      {"half", -20.9}, {"large", std::numeric_limits<std::int64_t>::max()}, {"huge", 1e300}, {"text", "4"}};
  EXPECT_EQ(numberMember(object, "half"), -20.9);
  EXPECT_EQ(numberMember(object, "text"), std::nullopt);
  EXPECT_EQ(numberMember(object, "missing"), std::nullopt);
  EXPECT_EQ(coordinateMember(object, "half"), -20);
  EXPECT_EQ(coordinateMember(object, "large"), std::numeric_limits<long long>::max());
  EXPECT_EQ(coordinateMember(object, "huge"), std::numeric_limits<long long>::max());
  EXPECT_EQ(coordinateMember(object, "text"), std::nullopt);
  EXPECT_EQ(coordinateMember(object, "missing"), std::nullopt);
}

}  // namespace
}  // namespace wyvlet::test
