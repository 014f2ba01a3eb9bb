#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <limits>

#include "Android/JSONFields.h"

namespace wyvlet {
namespace {

boost::json::object parsed(std::string_view text) { return boost::json::parse(text).get_object(); }

TEST(JSONFields, ATextIsATextOnly) {
  const auto object = parsed(R"({"a":"x","b":1,"c":null,"d":["x"],"e":""})");
  EXPECT_EQ(textField(object, "a"), "x");
  EXPECT_EQ(textField(object, "e"), "");
  for (const auto* key : {"b", "c", "d", "missing"}) EXPECT_FALSE(textField(object, key)) << key;
}

TEST(JSONFields, AnIntegerMayBeWrittenAsAFloat) {
  const auto object = parsed(R"({"a":20,"b":20.0,"c":2e1,"d":-7.0,"e":-9223372036854775808.0})");
  EXPECT_EQ(integerField(object, "a"), 20);
  EXPECT_EQ(integerField(object, "b"), 20);
  EXPECT_EQ(integerField(object, "c"), 20);
  EXPECT_EQ(integerField(object, "d"), -7);
  EXPECT_EQ(integerField(object, "e"), std::numeric_limits<std::int64_t>::min());
}

TEST(JSONFields, WhatIsNoIntegerIsAbsent) {
  const auto object = parsed(
      R"({"a":20.5,"b":"20","c":true,"d":1e300,"e":-1e300,"f":9223372036854775808,"g":9223372036854775808.0})");
  for (const auto* key : {"a", "b", "c", "d", "e", "f", "g", "missing"}) {
    EXPECT_FALSE(integerField(object, key)) << key;
  }
}

TEST(JSONFields, EveryNumberIsANumberAndNothingElse) {
  const auto object = parsed(R"({"a":1,"b":18446744073709551615,"c":1.5,"d":"1","e":true,"f":null})");
  EXPECT_EQ(numberField(object, "a"), 1.0);
  EXPECT_EQ(numberField(object, "b"), 18446744073709551615.0);
  EXPECT_EQ(numberField(object, "c"), 1.5);
  for (const auto* key : {"d", "e", "f", "missing"}) EXPECT_FALSE(numberField(object, key)) << key;
}

TEST(JSONFields, OnlyTrueIsTrue) {
  const auto object = parsed(R"({"a":true,"b":false,"c":1,"d":"true","e":null})");
  EXPECT_TRUE(boolField(object, "a"));
  for (const auto* key : {"b", "c", "d", "e", "missing"}) EXPECT_FALSE(boolField(object, key)) << key;
}

TEST(JSONFields, ListsAndObjectsAreToldApart) {
  const auto object = parsed(R"({"a":[1],"b":{"x":1},"c":"[]"})");
  ASSERT_NE(arrayField(object, "a"), nullptr);
  EXPECT_EQ(arrayField(object, "a")->size(), 1U);
  ASSERT_NE(objectField(object, "b"), nullptr);
  EXPECT_EQ(objectField(object, "b")->size(), 1U);
  for (const auto* key : {"b", "c", "missing"}) EXPECT_EQ(arrayField(object, key), nullptr) << key;
  for (const auto* key : {"a", "c", "missing"}) EXPECT_EQ(objectField(object, key), nullptr) << key;
}

}  // namespace
}  // namespace wyvlet
