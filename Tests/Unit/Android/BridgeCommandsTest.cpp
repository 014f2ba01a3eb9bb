#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>

#include "Android/BridgeCommands.h"
#include "Peers/CaptureWriter.h"
#include "Unit/Android/TemporaryHome.h"

namespace wyvlet {
namespace {

namespace json = boost::json;

json::object parsed(std::string_view text) { return json::parse(text).get_object(); }

TEST(AndroidMockRule, TakesItsDefaultsFromThePattern) {
  const auto rule =
      mockRuleFromArguments(parsed(R"({"url_pattern":"/v1/bookings/and/a/very/long/path"})"), "ID");
  ASSERT_TRUE(rule);
  EXPECT_EQ(
      addMockRuleCommand(*rule),
      parsed(R"({"action":"add_mock_rule","ruleId":"ID","urlPattern":"/v1/bookings/and/a/very/long/path",
                       "statusCode":200,"responseBody":"","name":"Mock /v1/bookings/and/a/very/long/p"})"));
  EXPECT_EQ(
      formatMockRuleAdded(*rule),
      "Mock rule added: Mock /v1/bookings/and/a/very/long/p (ANY /v1/bookings/and/a/very/long/path → 200)\n"
      "Rule ID: ID");
}

TEST(AndroidMockRule, TakesWhatIsGiven) {
  const auto rule = mockRuleFromArguments(
      parsed(
          R"({"url_pattern":"/cart","status_code":503.0,"response_body":"{}","method":"POST","name":"Cart down"})"),
      "ID");
  ASSERT_TRUE(rule);
  EXPECT_EQ(addMockRuleCommand(*rule),
            parsed(R"({"action":"add_mock_rule","ruleId":"ID","urlPattern":"/cart","statusCode":503,
                       "responseBody":"{}","name":"Cart down","httpMethod":"POST"})"));
  EXPECT_EQ(formatMockRuleAdded(*rule), "Mock rule added: Cart down (POST /cart → 503)\nRule ID: ID");
}

TEST(AndroidMockRule, TakesHostileTypesForAbsent) {
  const auto rule = mockRuleFromArguments(
      parsed(R"({"url_pattern":"/cart","status_code":"503","response_body":7,"method":null,"name":["x"]})"),
      "ID");
  ASSERT_TRUE(rule);
  EXPECT_EQ(addMockRuleCommand(*rule),
            parsed(R"({"action":"add_mock_rule","ruleId":"ID","urlPattern":"/cart","statusCode":200,
                       "responseBody":"","name":"Mock /cart"})"));
  for (const auto* status : {"503.5", "1e300", "true"}) {
    const auto args = parsed(std::string(R"({"url_pattern":"/cart","status_code":)") + status + "}");
    EXPECT_EQ(mockRuleFromArguments(args, "ID")->statusCode, 200) << status;
  }
}

TEST(AndroidMockRule, NeedsAPattern) {
  EXPECT_FALSE(mockRuleFromArguments({}, "ID"));
  EXPECT_FALSE(mockRuleFromArguments(parsed(R"({"url_pattern":7})"), "ID"));
}

TEST(BridgeCommands, HaveTheKeysThatTheBridgeReads) {
  EXPECT_EQ(removeMockRuleCommand("ID"), parsed(R"({"action":"remove_mock_rule","ruleId":"ID"})"));
  EXPECT_EQ(readPrefsCommand(std::nullopt), parsed(R"({"action":"read_prefs"})"));
  EXPECT_EQ(readPrefsCommand("settings"), parsed(R"({"action":"read_prefs","prefsName":"settings"})"));
}

class BridgeExchange : public ::testing::Test {
 protected:
  BridgeFiles files() const { return {.capture = bridge_.capturePath(), .commands = bridge_.commandsPath()}; }

  std::string requestedPrefs(const std::optional<std::string>& prefsName, int milliseconds) {
    return requestPrefs(files(), captureFile_, prefsName, std::chrono::milliseconds(milliseconds));
  }

  test::TemporaryHome home_;
  test::CaptureWriter bridge_{home_.path()};
  CaptureFile captureFile_;
};

TEST_F(BridgeExchange, ACommandReplacesTheOneBefore) {
  EXPECT_EQ(sendCommand(files(), removeMockRuleCommand("a much longer identifier")), std::nullopt);
  EXPECT_EQ(sendCommand(files(), removeMockRuleCommand("b")), std::nullopt);
  EXPECT_EQ(bridge_.command(), parsed(R"({"action":"remove_mock_rule","ruleId":"b"})"));
}

TEST_F(BridgeExchange, ACommandMakesTheFolderThatIsMissing) {
  std::filesystem::remove_all(home_.path() + "/.wyvletqa");
  EXPECT_EQ(sendCommand(files(), readPrefsCommand(std::nullopt)), std::nullopt);
  EXPECT_EQ(bridge_.command(), parsed(R"({"action":"read_prefs"})"));
}

TEST_F(BridgeExchange, ACommandThatCannotBeWrittenIsReported) {
  std::filesystem::remove_all(home_.path() + "/.wyvletqa");
  std::ofstream(home_.path() + "/.wyvletqa") << "a file where the folder must be";
  EXPECT_EQ(sendCommand(files(), readPrefsCommand(std::nullopt)),
            "Error: could not write " + bridge_.commandsPath());
  // Nobody is waited for then.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(requestedPrefs(std::nullopt, 3'600'000), "Error: could not write " + bridge_.commandsPath());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1));
}

TEST_F(BridgeExchange, PrefsAreAskedForAndReadAfterAWhile) {
  bridge_.keepFresh(
      {json::object{{"prefsFile", "settings"}, {"key", "theme"}, {"value", "dark"}, {"type", "string"}},
       json::object{{"prefsFile", "flags"}, {"key", "beta"}, {"value", "true"}, {"type", "boolean"}}});
  // The bridge looks every 50 ms; a slow machine may take longer.
  EXPECT_EQ(requestedPrefs("settings", 1500),
            "SharedPreferences (1 entries):\n  [settings] theme = dark (string)");
  EXPECT_EQ(bridge_.command(), parsed(R"({"action":"read_prefs","prefsName":"settings"})"));
}

TEST_F(BridgeExchange, PrefsAreWaitedForOnceAndNoLonger) {
  EXPECT_EQ(requestedPrefs(std::nullopt, 0),
            "No SharedPreferences data. Ensure wyvlet-bridge.py is running.");
  bridge_.set("prefsEntries", json::array());
  bridge_.write();
  EXPECT_EQ(requestedPrefs(std::nullopt, 0), "No SharedPreferences entries found.");
  const auto start = std::chrono::steady_clock::now();
  requestedPrefs(std::nullopt, 100);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

}  // namespace
}  // namespace wyvlet
