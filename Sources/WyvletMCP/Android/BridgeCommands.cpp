#include "Android/BridgeCommands.h"

#include <fmt/format.h>

#include <boost/json.hpp>
#include <thread>
#include <utility>

#include "Android/AndroidTools.h"
#include "Android/JSONFields.h"
#include "Support/Files.h"
#include "Support/Text.h"

namespace wyvlet {
namespace {

namespace json = boost::json;

constexpr std::int64_t kDefaultStatusCode = 200;
constexpr std::size_t kNamePatternCharacters = 30;

}  // namespace

std::optional<AndroidMockRule> mockRuleFromArguments(const json::object& args, std::string ruleId) {
  const auto pattern = textField(args, "url_pattern");
  if (!pattern) return std::nullopt;
  AndroidMockRule rule;
  rule.ruleId = std::move(ruleId);
  rule.urlPattern = *pattern;
  rule.statusCode = integerField(args, "status_code").value_or(kDefaultStatusCode);
  rule.responseBody = textField(args, "response_body").value_or("");
  const auto name = textField(args, "name");
  rule.name =
      name ? std::string(*name) : fmt::format("Mock {}", firstCharacters(*pattern, kNamePatternCharacters));
  if (const auto method = textField(args, "method")) rule.method = std::string(*method);
  return rule;
}

json::object addMockRuleCommand(const AndroidMockRule& rule) {
  json::object command{{"action", "add_mock_rule"},         {"ruleId", rule.ruleId},
                       {"urlPattern", rule.urlPattern},     {"statusCode", rule.statusCode},
                       {"responseBody", rule.responseBody}, {"name", rule.name}};
  if (rule.method) command["httpMethod"] = *rule.method;
  return command;
}

json::object removeMockRuleCommand(std::string_view ruleId) {
  return {{"action", "remove_mock_rule"}, {"ruleId", ruleId}};
}

json::object readPrefsCommand(const std::optional<std::string>& prefsName) {
  json::object command{{"action", "read_prefs"}};
  if (prefsName) command["prefsName"] = *prefsName;
  return command;
}

std::string formatMockRuleAdded(const AndroidMockRule& rule) {
  return fmt::format("Mock rule added: {} ({} {} → {})\nRule ID: {}", rule.name, rule.method.value_or("ANY"),
                     rule.urlPattern, rule.statusCode, rule.ruleId);
}

std::optional<std::string> sendCommand(const BridgeFiles& files, const json::object& command) {
  if (writeFileAtomically(files.commands, json::serialize(command))) return std::nullopt;
  return "Error: could not write " + files.commands;
}

std::string requestPrefs(const BridgeFiles& files, CaptureFile& captureFile,
                         const std::optional<std::string>& prefsName, std::chrono::milliseconds patience) {
  if (const auto failure = sendCommand(files, readPrefsCommand(prefsName))) return *failure;
  std::this_thread::sleep_for(patience);
  return AndroidTools::prefs(captureFile.read(files.capture, std::chrono::system_clock::now()).get(),
                             prefsName);
}

}  // namespace wyvlet
