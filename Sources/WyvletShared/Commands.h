#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/FieldTable.h"
#include "WyvletShared/UUID.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// "command.switchEnvironment".
struct SwitchEnvironmentCommand {
  UUID environmentId;  // the id of a TransferableEnvironment

  static constexpr std::string_view recordName = "SwitchEnvironmentCommand";
  static constexpr auto fields = fieldTable(field("environmentId", &SwitchEnvironmentCommand::environmentId));
  bool operator==(const SwitchEnvironmentCommand&) const = default;
};

/// "command.clearStore".
struct ClearStoreCommand {
  std::string storeName;  // which captured store, in the app's words

  static constexpr std::string_view recordName = "ClearStoreCommand";
  static constexpr auto fields = fieldTable(field("storeName", &ClearStoreCommand::storeName));
  bool operator==(const ClearStoreCommand&) const = default;
};

/// "command.toggleRule".
struct ToggleRuleCommand {
  std::string ruleType;  // which rule list, in the app's words
  UUID ruleId;

  static constexpr std::string_view recordName = "ToggleRuleCommand";
  static constexpr auto fields = fieldTable(field("ruleType", &ToggleRuleCommand::ruleType),
                                            field("ruleId", &ToggleRuleCommand::ruleId));
  bool operator==(const ToggleRuleCommand&) const = default;
};

/// "command.replayRequest".
struct ReplayRequestCommand {
  std::string url;
  std::string method;
  std::map<std::string, std::string> headers;
  std::optional<Bytes> body;

  static constexpr std::string_view recordName = "ReplayRequestCommand";
  static constexpr auto fields = fieldTable(
      field("url", &ReplayRequestCommand::url), field("method", &ReplayRequestCommand::method),
      field("headers", &ReplayRequestCommand::headers), field("body", &ReplayRequestCommand::body));
  bool operator==(const ReplayRequestCommand&) const = default;
};

/// "command.fireDeepLink".
struct FireDeepLinkCommand {
  std::string url;

  static constexpr std::string_view recordName = "FireDeepLinkCommand";
  static constexpr auto fields = fieldTable(field("url", &FireDeepLinkCommand::url));
  bool operator==(const FireDeepLinkCommand&) const = default;
};

/// "command.markQAPassed", "command.markQAFailed" and "command.resetQAItem".
struct MarkQACommand {
  UUID itemId;  // the checklist item
  std::optional<std::string> notes;
  std::optional<std::vector<UUID>> requestIds;  // requests attached as evidence

  static constexpr std::string_view recordName = "MarkQACommand";
  static constexpr auto fields =
      fieldTable(field("itemId", &MarkQACommand::itemId), field("notes", &MarkQACommand::notes),
                 field("requestIds", &MarkQACommand::requestIds));
  bool operator==(const MarkQACommand&) const = default;
};

/// "command.fetchBody".
struct FetchBodyCommand {
  UUID requestId;

  static constexpr std::string_view recordName = "FetchBodyCommand";
  static constexpr auto fields = fieldTable(field("requestId", &FetchBodyCommand::requestId));
  bool operator==(const FetchBodyCommand&) const = default;
};

}  // namespace wyvlet
