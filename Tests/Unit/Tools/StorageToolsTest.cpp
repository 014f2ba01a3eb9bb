#include <gtest/gtest.h>

#include <vector>

#include "Samples.h"
#include "Tools/StorageTools.h"

namespace wyvlet::test {
namespace {

TransferableUserDefaultsEntry entry(std::string key, std::string value, std::string type = "String") {
  return {key, key, std::move(value), std::move(type)};
}

CacheSnapshot withEntries(int count) {
  std::vector<TransferableUserDefaultsEntry> entries;
  for (int i = 0; i < count; ++i) entries.push_back(entry("key" + std::to_string(i), "v"));
  CacheSnapshot cache = connected();
  cache.userDefaultsEntries = RecordList<TransferableUserDefaultsEntry>(std::move(entries));
  return cache;
}

TEST(UserDefaults, WithoutAppOrEntries) {
  EXPECT_EQ(userDefaults({}, std::nullopt), "Wyvlet not connected");
  EXPECT_EQ(userDefaults(connected(), std::nullopt), "No UserDefaults entries.");
  EXPECT_EQ(userDefaults(connected(), "Tok"), "No UserDefaults entries matching 'Tok'.");
  EXPECT_EQ(userDefaults(connected(), ""), "No UserDefaults entries matching ''.");
}

TEST(UserDefaults, FilterIsASubstringOfTheKeyInAnyCase) {
  CacheSnapshot cache = connected();
  cache.userDefaultsEntries = {entry("authToken", "abc"), entry("theme", "token"),
                               entry("TOKEN_AGE", "12", "Int")};
  EXPECT_EQ(userDefaults(cache, "ToKeN"),
            "UserDefaults (2 entries):\n  [String] authToken = abc\n  [Int] TOKEN_AGE = 12");
  EXPECT_EQ(userDefaults(cache, std::nullopt),
            "UserDefaults (3 entries):\n  [String] authToken = abc\n  [String] theme = token\n"
            "  [Int] TOKEN_AGE = 12");
}

TEST(UserDefaults, ValuesAreCutBetweenCharacters) {
  CacheSnapshot cache = connected();
  cache.userDefaultsEntries = {entry("a", repeated("e\u0301", 201)), entry("b", repeated("x", 200))};
  EXPECT_EQ(userDefaults(cache, std::nullopt),
            "UserDefaults (2 entries):\n  [String] a = " + repeated("e\u0301", 200) +
                "\n  [String] b = " + repeated("x", 200));
}

TEST(UserDefaults, FiftyAreListedAndTheRestCounted) {
  const std::string fifty = userDefaults(withEntries(50), std::nullopt);
  EXPECT_TRUE(fifty.starts_with("UserDefaults (50 entries):\n  [String] key0 = v\n"));
  EXPECT_TRUE(fifty.ends_with("\n  [String] key49 = v"));
  const std::string more = userDefaults(withEntries(51), std::nullopt);
  EXPECT_TRUE(more.starts_with("UserDefaults (51 entries):\n"));
  EXPECT_TRUE(more.ends_with("\n  [String] key49 = v\n  ... 1 more"));
}

TEST(Cookies, WithoutAppOrCookies) {
  const std::string none =
      "No cookie data in current sync. Cookie inspection requires Wyvlet SDK or WyvletProbe Phase 2.";
  EXPECT_EQ(cookies({}), "Wyvlet not connected");
  EXPECT_EQ(cookies(connected()), none);
  CacheSnapshot cache = connected();
  cache.userDefaultsEntries = {entry("theme", "dark"), entry("jar", "httpcookie")};
  EXPECT_EQ(cookies(cache), none);
}

TEST(Cookies, FoundByKeyInAnyCaseOrByClassNameInTheValue) {
  CacheSnapshot cache = connected();
  cache.userDefaultsEntries = {entry("theme", "dark"), entry("sessionCOOKIES", "a=b"),
                               entry("jar", "<NSHTTPCookie x>"), entry("HTTPCookie", repeated("v", 300))};
  EXPECT_EQ(cookies(cache), "sessionCOOKIES: a=b\njar: <NSHTTPCookie x>\nHTTPCookie: " + repeated("v", 300));
}

}  // namespace
}  // namespace wyvlet::test
