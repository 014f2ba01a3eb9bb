#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <string>

#include "MCP/JSONRPC.h"

namespace wyvlet {
namespace {

std::string idOf(const std::string& idText) {
  const auto message = parseMessage(R"({"jsonrpc":"2.0","id":)" + idText + R"(,"method":"ping"})");
  return message && message->id ? *message->id : "(none)";
}

TEST(JSONRPC, TheIdKeepsItsOwnText) {
  for (const std::string id :
       {"0", "7", "-1", "1.50", "1e3", "99999999999999999999", "null", "true", "\"abc\"", "\"a\\u0041\\\"}\"",
        "[1, {\"id\": 2}]", "{\"id\":\"x\" , \"y\":[\"]\"]}"}) {
    EXPECT_EQ(id, idOf(id));
  }
}

TEST(JSONRPC, TheIdIsFoundWhereverItStands) {
  EXPECT_EQ("5", parseMessage(R"( { "params" : {"id":1,"a":["id",{"id":2}]} , "id" : 5 } )")->id);
  EXPECT_EQ("6", parseMessage(R"({"\u0069d":6})")->id);
  EXPECT_EQ("8", parseMessage(R"({"id":7,"id":8})")->id);
  EXPECT_EQ(std::nullopt, parseMessage(R"({"ID":7,"x":"\"id\":3"})")->id);
  EXPECT_EQ(std::nullopt, parseMessage("{}")->id);
}

TEST(JSONRPC, WrongTypesAreNeutral) {
  const auto message = parseMessage(R"({"method":5,"params":[1]})");
  ASSERT_TRUE(message);
  EXPECT_EQ("", message->method);
  EXPECT_TRUE(message->params.empty());
}

TEST(JSONRPC, OnlyStrictJSONObjectsAreMessages) {
  for (const std::string text :
       {"", " ", "[]", "5", "null", "\"x\"", "{", "{}x", "{\"a\":1,}", "{'a':1}", "{\"a\":NaN}", "{\"a\":01}",
        "/* c */{}", "{\"a\":\"\x01\"}", "{\"a\":\"\xFF\"}", "\xEF\xBB\xBF{}", "{\"a\":\"\\ud800\"}"}) {
    EXPECT_FALSE(parseMessage(text)) << text;
  }
}

TEST(JSONRPC, NestingIsReadUpTo512) {
  const auto nested = [](int depth) {  // the object itself is the first level
    return R"({"params":)" + std::string(static_cast<std::size_t>(depth - 1), '[') +
           std::string(static_cast<std::size_t>(depth - 1), ']') + "}";
  };
  EXPECT_TRUE(parseMessage(nested(511)));
  EXPECT_TRUE(parseMessage(nested(512)));
  EXPECT_FALSE(parseMessage(nested(513)));
  EXPECT_FALSE(parseMessage(std::string(1000000, '[')));
}

TEST(JSONRPC, EnvelopesCarryAnIdOnlyWhenThereWasOne) {
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":1.50,"result":{}})", jsonRPC("1.50", "{}"));
  EXPECT_EQ(R"({"jsonrpc":"2.0","result":{}})", jsonRPC(std::nullopt, "{}"));
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":"a","error":{"code":-32601,"message":"Method not found: x\"y"}})",
            jsonRPCError("\"a\"", -32601, "Method not found: x\"y"));
  EXPECT_EQ(R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found: "}})",
            jsonRPCError(std::nullopt, -32601, "Method not found: "));
}

TEST(JSONRPC, StringsAreAlwaysValidJSON) {
  EXPECT_EQ(R"("a\"b\\c\nd\u0001 →")", jsonString("a\"b\\c\nd\x01 →"));
  EXPECT_EQ("\"\uFFFD\"", jsonString("\xFF"));
}

}  // namespace
}  // namespace wyvlet
