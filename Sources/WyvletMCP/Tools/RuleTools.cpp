#include "Tools/RuleTools.h"

#include <fmt/format.h>

#include <boost/json.hpp>
#include <iterator>

#include "Support/Text.h"
#include "Tools/CacheQueries.h"

namespace wyvlet {
namespace {

constexpr std::string_view kPatternRequired = "Error: url_pattern is required";
constexpr std::size_t kNamePatternCharacters = 30;

/// The line of a rule; `particulars` is what only its kind has.
template <class Rule>
std::string ruleLine(const Rule& rule, std::string_view particulars) {
  return fmt::format("\n  [{}] {} — {} {}{} [{}]", rule.id.shortText(), rule.name, rule.matchPattern.mode,
                     rule.matchPattern.pattern, particulars, rule.isEnabled ? "enabled" : "disabled");
}

/// A kind's heading and its lines, each on a new line; nothing for a kind without rules.
template <class Rule, class Particulars>
std::string ruleSection(std::string_view title, const RecordList<Rule>& rules, Particulars particulars) {
  if (rules.empty()) return "";
  std::string section = fmt::format("\n{} ({}):", title, rules.size());
  for (const auto& rule : rules) section += ruleLine(rule, particulars(rule));
  return section;
}

std::string methodText(const std::optional<std::string>& method) { return method.value_or("ANY"); }

std::string nameOrDefault(const std::optional<std::string>& name, std::string_view kind,
                          std::string_view pattern) {
  if (name) return *name;
  return fmt::format("{} {}", kind, firstCharacters(pattern, kNamePatternCharacters));
}

}  // namespace

std::string rules(const CacheSnapshot& cache) {
  if (!cache.isConnected) return std::string(kNotConnected);
  std::string text;
  text += ruleSection("URL Rewrite Rules", cache.rewriteRules,
                      [](const auto& rule) { return " → " + rule.replacementHost; });
  text += ruleSection("Mock Rules", cache.mockRules, [](const auto& rule) {
    return fmt::format(" {} → {}", methodText(rule.httpMethod), rule.mockStatusCode);
  });
  text += ruleSection("Intercept Rules", cache.interceptRules,
                      [](const auto& rule) { return " " + methodText(rule.httpMethod); });
  return text.empty() ? "No rules configured." : text.substr(1);
}

std::string addMockRule(bool isConnected, const MockRuleRequest& request, const SendRawCommand& send) {
  if (!isConnected) return "Wyvlet not connected — mock rules require Wyvlet SDK in the app";
  if (!request.urlPattern) return std::string(kPatternRequired);
  const std::string name = nameOrDefault(request.name, "Mock", *request.urlPattern);
  boost::json::object payload{{"urlPattern", *request.urlPattern},
                              {"statusCode", request.statusCode},
                              {"responseBody", request.responseBody},
                              {"name", name}};
  if (request.method) payload["httpMethod"] = *request.method;
  send("command.addMockRule", payload);
  return fmt::format("Mock rule added: {} ({} {} → {})", name, methodText(request.method),
                     *request.urlPattern, request.statusCode);
}

std::string addInterceptRule(bool isConnected, const InterceptRuleRequest& request,
                             const SendRawCommand& send) {
  if (!isConnected) return "Wyvlet not connected — intercept rules require Wyvlet SDK";
  if (!request.urlPattern) return std::string(kPatternRequired);
  const std::string name = nameOrDefault(request.name, "Intercept", *request.urlPattern);
  boost::json::object payload{{"urlPattern", *request.urlPattern}, {"name", name}};
  if (request.method) payload["httpMethod"] = *request.method;
  send("command.addInterceptRule", payload);
  return fmt::format("Intercept rule added: {} — {}", name, *request.urlPattern);
}

std::string removeRule(bool isConnected, RuleKind kind, std::string_view ruleId, const SendRawCommand& send) {
  if (!isConnected) return std::string(kNotConnected);
  if (ruleId.empty()) return "Error: rule_id is required";
  const bool isMock = kind == RuleKind::Mock;
  send(isMock ? "command.removeMockRule" : "command.removeInterceptRule", {{"ruleId", ruleId}});
  return fmt::format("{} rule removed: {}", isMock ? "Mock" : "Intercept", ruleId);
}

}  // namespace wyvlet
