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

/// An API environment that the app can be switched to.
struct TransferableEnvironment {
  UUID id;
  std::string name;
  std::vector<std::string> baseURLs;
  std::string notes;

  static constexpr std::string_view recordName = "TransferableEnvironment";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableEnvironment::id), field("name", &TransferableEnvironment::name),
      field("baseURLs", &TransferableEnvironment::baseURLs), field("notes", &TransferableEnvironment::notes));
  bool operator==(const TransferableEnvironment&) const = default;
};

/// How a rule selects URLs.
struct TransferableURLMatchPattern {
  std::string mode;  // the matching mode, in the app's words
  std::string pattern;

  static constexpr std::string_view recordName = "TransferableURLMatchPattern";
  static constexpr auto fields = fieldTable(field("mode", &TransferableURLMatchPattern::mode),
                                            field("pattern", &TransferableURLMatchPattern::pattern));
  bool operator==(const TransferableURLMatchPattern&) const = default;
};

/// Sends matching requests to another host.
struct TransferableRewriteRule {
  UUID id;
  std::string name;
  TransferableURLMatchPattern matchPattern;
  std::string replacementHost;
  bool isEnabled = false;
  Date createdAt;

  static constexpr std::string_view recordName = "TransferableRewriteRule";
  static constexpr auto fields =
      fieldTable(field("id", &TransferableRewriteRule::id), field("name", &TransferableRewriteRule::name),
                 field("matchPattern", &TransferableRewriteRule::matchPattern),
                 field("replacementHost", &TransferableRewriteRule::replacementHost),
                 field("isEnabled", &TransferableRewriteRule::isEnabled),
                 field("createdAt", &TransferableRewriteRule::createdAt));
  bool operator==(const TransferableRewriteRule&) const = default;
};

/// Answers matching requests with a fake response.
struct TransferableMockRule {
  UUID id;
  std::string name;
  TransferableURLMatchPattern matchPattern;
  std::optional<std::string> httpMethod;  // absent: any method
  std::int64_t mockStatusCode = 0;
  std::map<std::string, std::string> mockResponseHeaders;
  std::optional<Bytes> mockResponseBody;
  bool isEnabled = false;
  Date createdAt;

  static constexpr std::string_view recordName = "TransferableMockRule";
  static constexpr auto fields =
      fieldTable(field("id", &TransferableMockRule::id), field("name", &TransferableMockRule::name),
                 field("matchPattern", &TransferableMockRule::matchPattern),
                 field("httpMethod", &TransferableMockRule::httpMethod),
                 field("mockStatusCode", &TransferableMockRule::mockStatusCode),
                 field("mockResponseHeaders", &TransferableMockRule::mockResponseHeaders),
                 field("mockResponseBody", &TransferableMockRule::mockResponseBody),
                 field("isEnabled", &TransferableMockRule::isEnabled),
                 field("createdAt", &TransferableMockRule::createdAt));
  bool operator==(const TransferableMockRule&) const = default;
};

/// Holds matching requests until they are approved.
struct TransferableInterceptRule {
  UUID id;
  std::string name;
  TransferableURLMatchPattern matchPattern;
  std::optional<std::string> httpMethod;  // absent: any method
  bool isEnabled = false;
  Date createdAt;

  static constexpr std::string_view recordName = "TransferableInterceptRule";
  static constexpr auto fields =
      fieldTable(field("id", &TransferableInterceptRule::id), field("name", &TransferableInterceptRule::name),
                 field("matchPattern", &TransferableInterceptRule::matchPattern),
                 field("httpMethod", &TransferableInterceptRule::httpMethod),
                 field("isEnabled", &TransferableInterceptRule::isEnabled),
                 field("createdAt", &TransferableInterceptRule::createdAt));
  bool operator==(const TransferableInterceptRule&) const = default;
};

/// One item of the QA checklist and its outcome.
struct TransferableQAResult {
  UUID id;
  std::string title;  // what to check
  std::string notes;  // how to check it
  std::string priority;
  std::vector<std::string> endpoints;
  std::string status;  // "PASSED", "FAILED" or another word of the app's
  std::string failNotes;
  std::vector<UUID> attachedRequestIds;  // requests attached as evidence

  static constexpr std::string_view recordName = "TransferableQAResult";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableQAResult::id), field("title", &TransferableQAResult::title),
      field("notes", &TransferableQAResult::notes), field("priority", &TransferableQAResult::priority),
      field("endpoints", &TransferableQAResult::endpoints), field("status", &TransferableQAResult::status),
      field("failNotes", &TransferableQAResult::failNotes),
      field("attachedRequestIds", &TransferableQAResult::attachedRequestIds));
  bool operator==(const TransferableQAResult&) const = default;
};

/// One key of the app's persisted defaults, for display.
struct TransferableUserDefaultsEntry {
  std::string id;  // text, not a UUID
  std::string key;
  std::string displayValue;
  std::string valueType;

  static constexpr std::string_view recordName = "TransferableUserDefaultsEntry";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableUserDefaultsEntry::id), field("key", &TransferableUserDefaultsEntry::key),
      field("displayValue", &TransferableUserDefaultsEntry::displayValue),
      field("valueType", &TransferableUserDefaultsEntry::valueType));
  bool operator==(const TransferableUserDefaultsEntry&) const = default;
};

/// The attributes of one keychain item; never its secret.
struct TransferableKeychainEntry {
  std::string id;  // text, not a UUID
  std::string itemClass;
  std::string service;
  std::string account;
  std::optional<std::string> accessGroup;
  std::optional<std::string> label;

  static constexpr std::string_view recordName = "TransferableKeychainEntry";
  static constexpr auto fields = fieldTable(field("id", &TransferableKeychainEntry::id),
                                            field("itemClass", &TransferableKeychainEntry::itemClass),
                                            field("service", &TransferableKeychainEntry::service),
                                            field("account", &TransferableKeychainEntry::account),
                                            field("accessGroup", &TransferableKeychainEntry::accessGroup),
                                            field("label", &TransferableKeychainEntry::label));
  bool operator==(const TransferableKeychainEntry&) const = default;
};

}  // namespace wyvlet
