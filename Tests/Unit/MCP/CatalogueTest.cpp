#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <set>

#include "MCP/Catalogue.h"

namespace wyvlet {
namespace {

boost::json::array tools(bool withSimulatorTools) {
  return boost::json::parse(toolsListResult(withSimulatorTools)).as_object().at("tools").as_array();
}

TEST(Catalogue, DefinitionsAreJSON) {
  EXPECT_EQ(R"({"name":"t","description":"says \"hi\" —","inputSchema":{"type":"object","properties":{)"
            R"("a":{"type":"string","description":"A"},"b":{"type":"number","description":"B"},)"
            R"("c":{"type":"boolean","description":"C"}}}})",
            toolDefinitionJSON({"t",
                                "says \"hi\" —",
                                {{"a", ArgumentType::String, "A"},
                                 {"b", ArgumentType::Number, "B"},
                                 {"c", ArgumentType::Boolean, "C"}}}));
  EXPECT_EQ(R"({"name":"t","description":"d","inputSchema":{"type":"object","properties":{}}})",
            toolDefinitionJSON({"t", "d", {}}));
}

TEST(Catalogue, SessionAndSimulatorToolsComeLastAndOnlyWithAxe) {
  const auto without = tools(false);
  const auto with = tools(true);
  ASSERT_EQ(36u, without.size());
  ASSERT_EQ(50u, with.size());
  EXPECT_TRUE(std::equal(without.begin(), without.end(), with.begin()));
  EXPECT_EQ("wyvlet_status", with[0].at("name").as_string());
  EXPECT_EQ("wyvlet_rebuild_app", with[35].at("name").as_string());
  EXPECT_EQ("session_set_defaults", with[36].at("name").as_string());
  EXPECT_EQ("button", with[49].at("name").as_string());
}

TEST(Catalogue, EveryToolHasExactlyNameDescriptionAndSchema) {
  std::set<std::string> names;
  for (const auto& tool : tools(true)) {
    const auto& object = tool.as_object();
    EXPECT_EQ(3u, object.size());
    EXPECT_TRUE(names.insert(std::string(object.at("name").as_string())).second);
    EXPECT_FALSE(object.at("description").as_string().empty());
    const auto& schema = object.at("inputSchema").as_object();
    EXPECT_EQ(2u, schema.size());
    EXPECT_EQ("object", schema.at("type").as_string());
    for (const auto& property : schema.at("properties").as_object()) {
      const auto& argument = property.value().as_object();
      EXPECT_EQ(2u, argument.size());
      EXPECT_TRUE(argument.at("type") == "string" || argument.at("type") == "number" ||
                  argument.at("type") == "boolean");
      EXPECT_FALSE(argument.at("description").as_string().empty());
    }
  }
}

}  // namespace
}  // namespace wyvlet
