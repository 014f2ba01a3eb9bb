#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "Client/WyvletClient.h"
#include "Tools/ToolCall.h"

namespace wyvlet::test {
namespace {

class ToolArguments : public ::testing::Test {
 protected:
  const boost::json::object arguments{{"text", "a"},   {"empty", ""},   {"whole", 20},    {"integral", 20.0},
                                      {"broken", 2.5}, {"flag", false}, {"null", nullptr}};
  const std::optional<std::string> bundleId;
  WyvletClient client;
  const ToolCall call{arguments, client, bundleId, nullptr};
};

TEST_F(ToolArguments, TextsOnly) {
  EXPECT_EQ(call.text("text"), "a");
  EXPECT_EQ(call.text("empty"), "");
  EXPECT_EQ(call.text("empty", "x"), "");
  for (const char* name : {"missing", "whole", "flag", "null"}) {
    EXPECT_EQ(call.text(name), std::nullopt) << name;
    EXPECT_EQ(call.text(name, "x"), "x") << name;
  }
}

TEST_F(ToolArguments, IntegersOnly) {
  EXPECT_EQ(call.integer("whole"), 20);
  EXPECT_EQ(call.integer("integral"), 20);
  for (const char* name : {"missing", "broken", "text", "flag", "null"}) {
    EXPECT_EQ(call.integer(name), std::nullopt) << name;
    EXPECT_EQ(call.integer(name, 7), 7) << name;
  }
}

TEST_F(ToolArguments, NumbersOfAnyForm) {
  EXPECT_EQ(call.number("whole", 1), 20.0);
  EXPECT_EQ(call.number("broken", 1), 2.5);
  for (const char* name : {"missing", "text", "flag", "null"}) EXPECT_EQ(call.number(name, 5.0), 5.0) << name;
}

TEST_F(ToolArguments, BooleansOnly) {
  EXPECT_FALSE(call.boolean("flag", true));
  for (const char* name : {"missing", "text", "whole", "null"}) EXPECT_TRUE(call.boolean(name, true)) << name;
}

}  // namespace
}  // namespace wyvlet::test
