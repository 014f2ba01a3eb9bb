#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/FullSync.h"
#include "WyvletShared/StateRecords.h"
#include "WyvletShared/UUID.h"

namespace wyvlet::sample {

/// The rules by which the app's network layer rewrites, mocks and holds requests. Loop thread only.
class RuleBook {
 public:
  void addRewrite(TransferableRewriteRule rule) { rewriteRules_.push_back(std::move(rule)); }
  void addMock(TransferableMockRule rule) { mockRules_.push_back(std::move(rule)); }
  void addIntercept(TransferableInterceptRule rule) { interceptRules_.push_back(std::move(rule)); }

  /// Removes the rule whose id is, or alone begins with, `id`: agents see short ids in listings.
  /// False when none or several do.
  bool removeMock(std::string_view id);
  bool removeIntercept(std::string_view id);

  /// Switches one rule on or off; `ruleType` is "rewrite", "mock" or "intercept". False when there
  /// is no such rule.
  bool toggle(std::string_view ruleType, const UUID& id);

  /// The enabled rule that applies, or null. Of several the newest counts, so that an agent can
  /// override an earlier rule without removing it. The pointer is good until the next change.
  const TransferableRewriteRule* rewriteFor(std::string_view url) const;
  const TransferableMockRule* mockFor(std::string_view method, std::string_view url) const;
  const TransferableInterceptRule* interceptFor(std::string_view method, std::string_view url) const;

  LenientRulesState state() const { return {rewriteRules_, mockRules_, interceptRules_}; }

 private:
  std::vector<TransferableRewriteRule> rewriteRules_;
  std::vector<TransferableMockRule> mockRules_;
  std::vector<TransferableInterceptRule> interceptRules_;
};

/// Whether `url` lies in the pattern: mode "equals" or "prefix" as they say, any other mode
/// ("contains" in this app's own rules) as a substring, without regard to case.
bool matches(const TransferableURLMatchPattern& pattern, std::string_view url);

/// The API environments. The app's code names production URLs; the active environment's base URL
/// of the same position takes the place of production's. Loop thread only.
class EnvironmentBook {
 public:
  /// `environments` with production first, which becomes the active one. Not empty.
  explicit EnvironmentBook(std::vector<TransferableEnvironment> environments);

  /// False when no environment has that id.
  bool activate(const UUID& id);
  /// By name, without regard to case.
  bool activate(std::string_view name);

  const TransferableEnvironment& active() const { return environments_[active_]; }
  EnvironmentStatePayload state() const { return {environments_, active().id}; }

  /// The URL to call instead of a production URL; the same one when production is active or the URL
  /// is none of production's.
  std::string mapped(std::string_view url) const;

 private:
  std::vector<TransferableEnvironment> environments_;
  std::size_t active_ = 0;
};

}  // namespace wyvlet::sample
