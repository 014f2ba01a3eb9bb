#include <gtest/gtest.h>

#include <vector>

#include "Samples.h"
#include "Tools/EnvironmentTools.h"

namespace wyvlet::test {
namespace {

class EnvironmentTools : public ::testing::Test {
 protected:
  EnvironmentTools() {
    cache.environments = {sampleEnvironment(1, "Production", {"https://api.example.com"}),
                          sampleEnvironment(2, "Staging", {"https://a.staging", "https://b.staging"})};
  }

  std::string switchTo(std::string_view name) {
    return switchEnvironment(
        cache, name, [&](const SwitchEnvironmentCommand& command) { sent.push_back(command.environmentId); });
  }

  CacheSnapshot cache = connected();
  std::vector<UUID> sent;
};

TEST_F(EnvironmentTools, WithoutAppNothingIsReadOrSent) {
  cache.isConnected = false;
  EXPECT_EQ(environment(cache), "Wyvlet not connected");
  EXPECT_EQ(switchTo("Staging"), "Wyvlet not connected");
  EXPECT_TRUE(sent.empty());
}

TEST_F(EnvironmentTools, ActiveOneIsShownWithItsURLsAndMarked) {
  cache.activeEnvironmentId = sampleId(2);
  EXPECT_EQ(environment(cache),
            "Active: Staging\n  URL[0]: https://a.staging\n  URL[1]: https://b.staging\n\n"
            "Available environments:\n  Production: https://api.example.com\n"
            "  Staging ← ACTIVE: https://a.staging, https://b.staging");
}

TEST_F(EnvironmentTools, NoneIsActiveWithoutAnId) {
  EXPECT_EQ(environment(cache),
            "Active: none\n\nAvailable environments:\n  Production: https://api.example.com\n"
            "  Staging: https://a.staging, https://b.staging");
}

TEST_F(EnvironmentTools, NoneIsActiveWhenTheIdIsNotListed) {
  cache.activeEnvironmentId = sampleId(9);
  EXPECT_EQ(activeEnvironment(cache), nullptr);
  EXPECT_EQ(activeEnvironmentName(cache), "none");
}

TEST_F(EnvironmentTools, FirstOfTwoWithTheActiveIdIsTheActiveOne) {
  cache.environments = {sampleEnvironment(2, "First", {}), sampleEnvironment(2, "Second", {})};
  cache.activeEnvironmentId = sampleId(2);
  EXPECT_EQ(environment(cache), "Active: First\n\nAvailable environments:\n  First ← ACTIVE: \n  Second: ");
}

TEST_F(EnvironmentTools, NoEnvironmentsAtAll) {
  EXPECT_EQ(environment(connected()), "Active: none\n\nAvailable environments:");
}

TEST_F(EnvironmentTools, SwitchFindsTheNameInAnyCase) {
  EXPECT_EQ(switchTo("sTAGING"), "Switched to: Staging (https://a.staging, https://b.staging)");
  EXPECT_EQ(sent, std::vector{sampleId(2)});
}

TEST_F(EnvironmentTools, SwitchFoldsLettersOutsideASCII) {
  cache.environments = {sampleEnvironment(3, "ÜBUNG", {})};
  EXPECT_EQ(switchTo("übung"), "Switched to: ÜBUNG ()");
  EXPECT_EQ(sent, std::vector{sampleId(3)});
}

TEST_F(EnvironmentTools, SwitchTakesNoPrefixAndListsTheNames) {
  EXPECT_EQ(switchTo("Stag"), "Environment 'Stag' not found. Available: Production, Staging");
  EXPECT_TRUE(sent.empty());
}

TEST_F(EnvironmentTools, SwitchWithoutEnvironmentsListsNothing) {
  cache = connected();
  EXPECT_EQ(switchTo(""), "Environment '' not found. Available: ");
}

}  // namespace
}  // namespace wyvlet::test
