#include "WyvletSampleApp/RuleBook.h"

#include <algorithm>
#include <utility>

#include "Support/Text.h"

namespace wyvlet::sample {
namespace {

template <class Rule>
bool removeById(std::vector<Rule>& rules, std::string_view id) {
  if (id.empty()) return false;
  const std::string wanted = upperCased(id);
  const auto named = [&](const Rule& rule) { return rule.id.text().starts_with(wanted); };
  if (std::count_if(rules.begin(), rules.end(), named) != 1) return false;
  rules.erase(std::find_if(rules.begin(), rules.end(), named));
  return true;
}

template <class Rule>
bool toggleById(std::vector<Rule>& rules, const UUID& id) {
  const auto rule = std::find_if(rules.begin(), rules.end(), [&](const Rule& r) { return r.id == id; });
  if (rule == rules.end()) return false;
  rule->isEnabled = !rule->isEnabled;
  return true;
}

template <class Rule>
const Rule* newestFor(const std::vector<Rule>& rules, std::string_view method, std::string_view url) {
  const auto rule = std::find_if(rules.rbegin(), rules.rend(), [&](const Rule& r) {
    return r.isEnabled && matches(r.matchPattern, url) &&
           (!r.httpMethod || equalIgnoringCase(*r.httpMethod, method));
  });
  return rule == rules.rend() ? nullptr : &*rule;
}

}  // namespace

bool matches(const TransferableURLMatchPattern& pattern, std::string_view url) {
  if (pattern.mode == "equals") return equalIgnoringCase(url, pattern.pattern);
  if (pattern.mode == "prefix") return lowerCased(url).starts_with(lowerCased(pattern.pattern));
  return containsIgnoringCase(url, pattern.pattern);
}

bool RuleBook::removeMock(std::string_view id) { return removeById(mockRules_, id); }

bool RuleBook::removeIntercept(std::string_view id) { return removeById(interceptRules_, id); }

bool RuleBook::toggle(std::string_view ruleType, const UUID& id) {
  if (ruleType == "rewrite") return toggleById(rewriteRules_, id);
  if (ruleType == "mock") return toggleById(mockRules_, id);
  if (ruleType == "intercept") return toggleById(interceptRules_, id);
  return false;
}

const TransferableRewriteRule* RuleBook::rewriteFor(std::string_view url) const {
  const auto rule = std::find_if(rewriteRules_.rbegin(), rewriteRules_.rend(),
                                 [&](const auto& r) { return r.isEnabled && matches(r.matchPattern, url); });
  return rule == rewriteRules_.rend() ? nullptr : &*rule;
}

const TransferableMockRule* RuleBook::mockFor(std::string_view method, std::string_view url) const {
  return newestFor(mockRules_, method, url);
}

const TransferableInterceptRule* RuleBook::interceptFor(std::string_view method, std::string_view url) const {
  return newestFor(interceptRules_, method, url);
}

EnvironmentBook::EnvironmentBook(std::vector<TransferableEnvironment> environments)
    : environments_(std::move(environments)) {}

bool EnvironmentBook::activate(const UUID& id) {
  for (std::size_t i = 0; i < environments_.size(); ++i) {
    if (environments_[i].id != id) continue;
    active_ = i;
    return true;
  }
  return false;
}

bool EnvironmentBook::activate(std::string_view name) {
  for (const TransferableEnvironment& environment : environments_) {
    if (equalIgnoringCase(environment.name, name)) return activate(environment.id);
  }
  return false;
}

std::string EnvironmentBook::mapped(std::string_view url) const {
  const auto& from = environments_.front().baseURLs;
  const auto& to = active().baseURLs;
  for (std::size_t i = 0; i < from.size() && i < to.size(); ++i) {
    if (!url.starts_with(from[i])) continue;
    // "https://api.harbor.travel" is no base of "https://api.harbor.travel.example".
    const std::string_view rest = url.substr(from[i].size());
    if (rest.empty() || rest.front() == '/' || rest.front() == '?') return to[i] + std::string(rest);
  }
  return std::string(url);
}

}  // namespace wyvlet::sample
