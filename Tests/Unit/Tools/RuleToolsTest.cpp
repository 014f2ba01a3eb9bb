#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <utility>
#include <vector>

#include "Samples.h"
#include "Tools/RuleTools.h"

namespace wyvlet::test {
namespace {

template <class Rule>
Rule rule(std::uint8_t number, std::string name, std::string pattern, bool isEnabled) {
  Rule made;
  made.id = sampleId(number);
  made.name = std::move(name);
  made.matchPattern = {"contains", std::move(pattern)};
  made.isEnabled = isEnabled;
  return made;
}

TEST(Rules, WithoutAppOrRules) {
  EXPECT_EQ(rules({}), "Wyvlet not connected");
  EXPECT_EQ(rules(connected()), "No rules configured.");
}

TEST(Rules, ASectionAKind) {
  auto rewrite = rule<TransferableRewriteRule>(1, "To staging", "api.example.com", true);
  rewrite.replacementHost = "staging.example.com";
  auto mock = rule<TransferableMockRule>(2, "Booking fails", "/bookings", true);
  mock.httpMethod = "POST";
  mock.mockStatusCode = 500;
  auto anyMock = rule<TransferableMockRule>(3, "Init", "/init", false);
  anyMock.mockStatusCode = 200;
  auto intercept = rule<TransferableInterceptRule>(4, "Hold", "/pay", false);
  auto getIntercept = rule<TransferableInterceptRule>(5, "Hold reads", "/", true);
  getIntercept.httpMethod = "GET";
  CacheSnapshot cache = connected();
  cache.rewriteRules = {rewrite};
  cache.mockRules = {mock, anyMock};
  cache.interceptRules = {intercept, getIntercept};
  EXPECT_EQ(rules(cache),
            "URL Rewrite Rules (1):\n"
            "  [00000001] To staging — contains api.example.com → staging.example.com [enabled]\n"
            "Mock Rules (2):\n"
            "  [00000002] Booking fails — contains /bookings POST → 500 [enabled]\n"
            "  [00000003] Init — contains /init ANY → 200 [disabled]\n"
            "Intercept Rules (2):\n"
            "  [00000004] Hold — contains /pay ANY [disabled]\n"
            "  [00000005] Hold reads — contains / GET [enabled]");
}

TEST(Rules, AKindWithoutRulesHasNoSection) {
  CacheSnapshot cache = connected();
  cache.interceptRules = {rule<TransferableInterceptRule>(1, "Hold", "/pay", true)};
  EXPECT_EQ(rules(cache), "Intercept Rules (1):\n  [00000001] Hold — contains /pay ANY [enabled]");
}

class RuleCommands : public ::testing::Test {
 protected:
  using Sent = std::pair<std::string, boost::json::object>;

  SendRawCommand sender() {
    return [this](std::string_view type, const boost::json::object& payload) {
      sent.emplace_back(std::string(type), payload);
    };
  }

  std::vector<Sent> sent;
};

TEST_F(RuleCommands, MockRuleWithEverything) {
  EXPECT_EQ(addMockRule(true, {"/v1/bookings", 404, "{}", "POST", "No seats"}, sender()),
            "Mock rule added: No seats (POST /v1/bookings → 404)");
  EXPECT_EQ(sent, (std::vector<Sent>{{"command.addMockRule",
                                      {{"urlPattern", "/v1/bookings"},
                                       {"statusCode", 404},
                                       {"responseBody", "{}"},
                                       {"name", "No seats"},
                                       {"httpMethod", "POST"}}}}));
}

TEST_F(RuleCommands, MockRuleOfAPatternAloneIsAnEmptyOK) {
  MockRuleRequest request;
  request.urlPattern = "/api/init";
  EXPECT_EQ(addMockRule(true, request, sender()), "Mock rule added: Mock /api/init (ANY /api/init → 200)");
  EXPECT_EQ(sent, (std::vector<Sent>{{"command.addMockRule",
                                      {{"urlPattern", "/api/init"},
                                       {"statusCode", 200},
                                       {"responseBody", ""},
                                       {"name", "Mock /api/init"}}}}));
}

TEST_F(RuleCommands, NameFromThePatternIsCutBetweenCharacters) {
  MockRuleRequest mock;
  mock.urlPattern = repeated("ä", 31);
  EXPECT_EQ(addMockRule(true, mock, sender()),
            "Mock rule added: Mock " + repeated("ä", 30) + " (ANY " + repeated("ä", 31) + " → 200)");
  InterceptRuleRequest intercept;
  intercept.urlPattern = repeated("x", 31);
  EXPECT_EQ(addInterceptRule(true, intercept, sender()),
            "Intercept rule added: Intercept " + repeated("x", 30) + " — " + repeated("x", 31));
}

TEST_F(RuleCommands, InterceptRuleWithEverything) {
  EXPECT_EQ(addInterceptRule(true, {"/pay", "PUT", "Hold it"}, sender()),
            "Intercept rule added: Hold it — /pay");
  EXPECT_EQ(sent,
            (std::vector<Sent>{{"command.addInterceptRule",
                                {{"urlPattern", "/pay"}, {"name", "Hold it"}, {"httpMethod", "PUT"}}}}));
}

TEST_F(RuleCommands, InterceptRuleOfAPatternAlone) {
  InterceptRuleRequest request;
  request.urlPattern = "/pay";
  EXPECT_EQ(addInterceptRule(true, request, sender()), "Intercept rule added: Intercept /pay — /pay");
  EXPECT_EQ(sent, (std::vector<Sent>{
                      {"command.addInterceptRule", {{"urlPattern", "/pay"}, {"name", "Intercept /pay"}}}}));
}

TEST_F(RuleCommands, NothingIsSentWithoutAPattern) {
  EXPECT_EQ(addMockRule(true, {}, sender()), "Error: url_pattern is required");
  EXPECT_EQ(addInterceptRule(true, {}, sender()), "Error: url_pattern is required");
  EXPECT_TRUE(sent.empty());
}

TEST_F(RuleCommands, RemovalNamesTheKind) {
  EXPECT_EQ(removeRule(true, RuleKind::Mock, "AB", sender()), "Mock rule removed: AB");
  EXPECT_EQ(removeRule(true, RuleKind::Intercept, "CD", sender()), "Intercept rule removed: CD");
  EXPECT_EQ(sent, (std::vector<Sent>{{"command.removeMockRule", {{"ruleId", "AB"}}},
                                     {"command.removeInterceptRule", {{"ruleId", "CD"}}}}));
}

TEST_F(RuleCommands, NothingIsRemovedWithoutAnId) {
  EXPECT_EQ(removeRule(true, RuleKind::Mock, "", sender()), "Error: rule_id is required");
  EXPECT_EQ(removeRule(true, RuleKind::Intercept, "", sender()), "Error: rule_id is required");
  EXPECT_TRUE(sent.empty());
}

TEST_F(RuleCommands, NothingIsSentWithoutApp) {
  EXPECT_EQ(addMockRule(false, {}, sender()),
            "Wyvlet not connected — mock rules require Wyvlet SDK in the app");
  EXPECT_EQ(addInterceptRule(false, {}, sender()),
            "Wyvlet not connected — intercept rules require Wyvlet SDK");
  EXPECT_EQ(removeRule(false, RuleKind::Mock, "", sender()), "Wyvlet not connected");
  EXPECT_TRUE(sent.empty());
}

}  // namespace
}  // namespace wyvlet::test
