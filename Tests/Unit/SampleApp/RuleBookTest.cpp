#include <gtest/gtest.h>

#include "WyvletSampleApp/RuleBook.h"
#include "WyvletSampleApp/SeedData.h"

namespace wyvlet::sample {
namespace {

TransferableMockRule mock(const char* id, const char* pattern, std::optional<std::string> method = {}) {
  TransferableMockRule rule;
  rule.id = UUID::parse(id).value();
  rule.matchPattern = {"contains", pattern};
  rule.httpMethod = std::move(method);
  rule.mockStatusCode = 500;
  rule.isEnabled = true;
  return rule;
}

constexpr const char* kFirst = "AAAAAAAA-0000-4000-8000-000000000001";
constexpr const char* kSecond = "AAAAAAAA-0000-4000-8000-000000000002";
constexpr const char* kThird = "BBBBBBBB-0000-4000-8000-000000000003";

TEST(RuleBook, PatternsMatchByTheirMode) {
  EXPECT_TRUE(matches({"contains", "/V1/Book"}, "https://h/v1/bookings"));
  EXPECT_TRUE(matches({"anything else", "bookings"}, "https://h/v1/bookings"));
  EXPECT_FALSE(matches({"equals", "https://h/v1"}, "https://h/v1/bookings"));
  EXPECT_TRUE(matches({"equals", "HTTPS://h/v1"}, "https://h/v1"));
  EXPECT_TRUE(matches({"prefix", "https://h/"}, "https://h/v1"));
  EXPECT_FALSE(matches({"prefix", "h/"}, "https://h/v1"));
}

TEST(RuleBook, TheMethodIsAFilterOnlyWhenGiven) {
  RuleBook rules;
  rules.addMock(mock(kFirst, "/v1", "post"));
  EXPECT_NE(rules.mockFor("POST", "https://h/v1"), nullptr);
  EXPECT_EQ(rules.mockFor("GET", "https://h/v1"), nullptr);
  EXPECT_EQ(rules.mockFor("POST", "https://h/v2"), nullptr);
}

TEST(RuleBook, TheNewestRuleCounts) {
  RuleBook rules;
  rules.addMock(mock(kFirst, "/v1"));
  rules.addMock(mock(kThird, "/v1"));
  EXPECT_EQ(rules.mockFor("GET", "https://h/v1")->id.text(), kThird);
}

TEST(RuleBook, ADisabledRuleDoesNotApply) {
  RuleBook rules;
  rules.addMock(mock(kFirst, "/v1"));
  EXPECT_TRUE(rules.toggle("mock", UUID::parse(kFirst).value()));
  EXPECT_EQ(rules.mockFor("GET", "https://h/v1"), nullptr);
  EXPECT_TRUE(rules.toggle("mock", UUID::parse(kFirst).value()));
  EXPECT_NE(rules.mockFor("GET", "https://h/v1"), nullptr);
  EXPECT_FALSE(rules.toggle("intercept", UUID::parse(kFirst).value()));
  EXPECT_FALSE(rules.toggle("Mock", UUID::parse(kFirst).value()));
}

TEST(RuleBook, ARuleIsRemovedByItsIdOrAPrefixThatNamesItAlone) {
  RuleBook rules;
  rules.addMock(mock(kFirst, "/v1"));
  rules.addMock(mock(kSecond, "/v1"));
  rules.addMock(mock(kThird, "/v1"));
  EXPECT_FALSE(rules.removeMock(""));
  EXPECT_FALSE(rules.removeMock("AAAAAAAA"));
  EXPECT_FALSE(rules.removeMock("CCCCCCCC"));
  EXPECT_TRUE(rules.removeMock("bbbbbbbb"));
  EXPECT_TRUE(rules.removeMock(kFirst));
  EXPECT_EQ(rules.state().mockRules->size(), 1U);
  EXPECT_FALSE(rules.removeIntercept(kSecond));
}

TEST(EnvironmentBook, ProductionIsActiveAtFirst) {
  EnvironmentBook book(seedEnvironments());
  EXPECT_EQ(book.active().name, "Production");
  EXPECT_EQ(book.mapped("https://api.harbor.travel/v1/init"), "https://api.harbor.travel/v1/init");
}

TEST(EnvironmentBook, BaseURLsAreReplacedPositionByPosition) {
  EnvironmentBook book(seedEnvironments());
  ASSERT_TRUE(book.activate(std::string_view("local")));
  EXPECT_EQ(book.mapped("https://api.harbor.travel/v1/init?x=1"), "http://localhost:8080/v1/init?x=1");
  EXPECT_EQ(book.mapped("https://images.harbor.travel/hero.png"), "http://localhost:8081/hero.png");
  EXPECT_EQ(book.mapped("https://api.harbor.travel"), "http://localhost:8080");
}

TEST(EnvironmentBook, OtherURLsStay) {
  EnvironmentBook book(seedEnvironments());
  ASSERT_TRUE(book.activate(std::string_view("STAGING")));
  EXPECT_EQ(book.mapped("https://help.harbor.travel/x"), "https://help.harbor.travel/x");
  EXPECT_EQ(book.mapped("https://api.harbor.travel.example/x"), "https://api.harbor.travel.example/x");
}

TEST(EnvironmentBook, AnUnknownEnvironmentChangesNothing) {
  EnvironmentBook book(seedEnvironments());
  EXPECT_FALSE(book.activate(UUID::random()));
  EXPECT_FALSE(book.activate(std::string_view("Stag")));
  EXPECT_EQ(book.active().name, "Production");
  EXPECT_EQ(book.state().activeEnvironmentId, book.active().id);
}

}  // namespace
}  // namespace wyvlet::sample
