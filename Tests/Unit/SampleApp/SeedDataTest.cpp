#include <gtest/gtest.h>

#include <set>
#include <string>

#include "WyvletSampleApp/SeedData.h"

namespace wyvlet::sample {
namespace {

TEST(SeedData, EveryIdentifierIsARealOneAndTheShortFormTellsThemApart) {
  std::set<std::string> ids;
  std::size_t count = 0;
  const auto add = [&](const auto& items) {
    for (const auto& item : items) {
      ids.insert(item.id.shortText());
      ++count;
    }
  };
  add(seedEnvironments());
  add(seedRewriteRules(Date{0}));
  add(seedQAItems());
  add(seedFlows(Date{0}));
  EXPECT_EQ(ids.size(), count);
  EXPECT_FALSE(ids.contains(UUID{}.shortText()));
}

TEST(SeedData, EnvironmentsHaveTheSameNumberOfBaseURLs) {
  const auto environments = seedEnvironments();
  EXPECT_EQ(environments.front().name, "Production");
  for (const auto& environment : environments) {
    EXPECT_EQ(environment.baseURLs.size(), environments.front().baseURLs.size()) << environment.name;
  }
}

TEST(SeedData, StoredValuesIncludeCookies) {
  bool byKey = false;
  bool byValue = false;
  for (const auto& entry : seedDefaults()) {
    byKey = byKey || entry.key.find("cookie") != std::string::npos;
    byValue = byValue || entry.displayValue.find("HTTPCookie") != std::string::npos;
  }
  EXPECT_TRUE(byKey);
  EXPECT_TRUE(byValue);
}

}  // namespace
}  // namespace wyvlet::sample
