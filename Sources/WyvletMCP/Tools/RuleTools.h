#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "Tools/ToolCall.h"

namespace wyvlet {

// The network rules. The tools that change them send their command and do not wait: the app answers
// with a new full sync.

/// A mock rule as the agent asks for it.
struct MockRuleRequest {
  std::optional<std::string> urlPattern = {};
  std::int64_t statusCode = 200;
  std::string responseBody = {};
  std::optional<std::string> method = {};  // absent: any
  std::optional<std::string> name = {};    // absent: made from the pattern
};

/// An intercept rule as the agent asks for it.
struct InterceptRuleRequest {
  std::optional<std::string> urlPattern = {};
  std::optional<std::string> method = {};  // absent: any
  std::optional<std::string> name = {};    // absent: made from the pattern
};

/// The kinds of rule that can be removed.
enum class RuleKind { Mock, Intercept };

/// wyvlet_get_rules: a section a kind that has rules, a line a rule. Pure.
std::string rules(const CacheSnapshot& cache);

/// wyvlet_add_mock_rule.
std::string addMockRule(bool isConnected, const MockRuleRequest& request, const SendRawCommand& send);

/// wyvlet_add_intercept_rule.
std::string addInterceptRule(bool isConnected, const InterceptRuleRequest& request,
                             const SendRawCommand& send);

/// wyvlet_remove_mock_rule and wyvlet_remove_intercept_rule.
std::string removeRule(bool isConnected, RuleKind kind, std::string_view ruleId, const SendRawCommand& send);

}  // namespace wyvlet
