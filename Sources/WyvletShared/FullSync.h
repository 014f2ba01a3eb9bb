#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/FieldTable.h"
#include "WyvletShared/StateRecords.h"
#include "WyvletShared/TrafficRecords.h"
#include "WyvletShared/UUID.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// A point on the screen.
struct Coords {
  double x = 0;
  double y = 0;

  static constexpr std::string_view recordName = "Coords";
  static constexpr auto fields = fieldTable(field("x", &Coords::x), field("y", &Coords::y));
  bool operator==(const Coords&) const = default;
};

/// One step of a recorded flow.
struct FlowStepData {
  std::string action;
  std::string screen;
  std::optional<std::string> label;
  std::optional<std::string> text;
  std::optional<Coords> startCoordinates;
  std::optional<Coords> endCoordinates;
  std::optional<std::map<std::string, std::string>> extra;

  static constexpr std::string_view recordName = "FlowStepData";
  static constexpr auto fields = fieldTable(
      field("action", &FlowStepData::action), field("screen", &FlowStepData::screen),
      field("label", &FlowStepData::label), field("text", &FlowStepData::text),
      field("startCoordinates", &FlowStepData::startCoordinates),
      field("endCoordinates", &FlowStepData::endCoordinates), field("extra", &FlowStepData::extra));
  bool operator==(const FlowStepData&) const = default;
};

/// A navigation path that the user recorded on the device.
struct RecordedFlowData {
  UUID id;
  std::string name;
  std::optional<std::string> description;
  Date recordedAt;
  std::vector<FlowStepData> steps;

  static constexpr std::string_view recordName = "RecordedFlowData";
  static constexpr auto fields = fieldTable(
      field("id", &RecordedFlowData::id), field("name", &RecordedFlowData::name),
      field("description", &RecordedFlowData::description),
      field("recordedAt", &RecordedFlowData::recordedAt), field("steps", &RecordedFlowData::steps));
  bool operator==(const RecordedFlowData&) const = default;
};

/// The environments and which of them is in use; also the payload of "event.environmentChanged".
struct EnvironmentStatePayload {
  std::optional<std::vector<TransferableEnvironment>> environments;
  std::optional<UUID> activeEnvironmentId;

  static constexpr std::string_view recordName = "EnvironmentStatePayload";
  static constexpr auto fields =
      fieldTable(field("environments", &EnvironmentStatePayload::environments),
                 field("activeEnvironmentId", &EnvironmentStatePayload::activeEnvironmentId));
  bool operator==(const EnvironmentStatePayload&) const = default;
};

/// The rules section of a full sync.
struct LenientRulesState {
  std::optional<std::vector<TransferableRewriteRule>> rewriteRules;
  std::optional<std::vector<TransferableMockRule>> mockRules;
  std::optional<std::vector<TransferableInterceptRule>> interceptRules;

  static constexpr std::string_view recordName = "LenientRulesState";
  static constexpr auto fields = fieldTable(field("rewriteRules", &LenientRulesState::rewriteRules),
                                            field("mockRules", &LenientRulesState::mockRules),
                                            field("interceptRules", &LenientRulesState::interceptRules));
  bool operator==(const LenientRulesState&) const = default;
};

/// The QA section of a full sync.
struct LenientQAState {
  std::optional<std::vector<TransferableQAResult>> results;
  std::optional<std::string> buildNumber;

  static constexpr std::string_view recordName = "LenientQAState";
  static constexpr auto fields = fieldTable(field("results", &LenientQAState::results),
                                            field("buildNumber", &LenientQAState::buildNumber));
  bool operator==(const LenientQAState&) const = default;
};

/// The "sync.full" document as apps send it: grouped by subject, every key optional. A key that is
/// present must hold a value of the right shape, or the whole document fails.
struct LenientSyncPayload {
  std::optional<std::vector<TransferableNetworkRequest>> httpRequests;
  std::optional<std::vector<TransferableWSConnection>> wsConnections;
  std::optional<std::vector<TransferableLogEntry>> logEntries;
  std::optional<EnvironmentStatePayload> environmentState;
  std::optional<LenientRulesState> rulesState;
  std::optional<LenientQAState> qaState;
  std::optional<std::vector<TransferableUserDefaultsEntry>> userDefaultsEntries;
  std::optional<std::vector<TransferableKeychainEntry>> keychainEntries;
  std::optional<std::string> currentScreen;
  std::optional<std::string> deviceName;
  std::optional<std::string> appName;
  std::optional<std::string> appVersion;
  std::optional<std::vector<RecordedFlowData>> recordedFlows;

  static constexpr std::string_view recordName = "LenientSyncPayload";
  static constexpr auto fields = fieldTable(
      field("httpRequests", &LenientSyncPayload::httpRequests),
      field("wsConnections", &LenientSyncPayload::wsConnections),
      field("logEntries", &LenientSyncPayload::logEntries),
      field("environmentState", &LenientSyncPayload::environmentState),
      field("rulesState", &LenientSyncPayload::rulesState), field("qaState", &LenientSyncPayload::qaState),
      field("userDefaultsEntries", &LenientSyncPayload::userDefaultsEntries),
      field("keychainEntries", &LenientSyncPayload::keychainEntries),
      field("currentScreen", &LenientSyncPayload::currentScreen),
      field("deviceName", &LenientSyncPayload::deviceName), field("appName", &LenientSyncPayload::appName),
      field("appVersion", &LenientSyncPayload::appVersion),
      field("recordedFlows", &LenientSyncPayload::recordedFlows));
  bool operator==(const LenientSyncPayload&) const = default;
};

/// The flat, strict form of the full sync. Readers of the grouped form take from it only the keys that
/// both share; this asymmetry is part of the protocol.
struct FullSyncPayload {
  std::vector<TransferableNetworkRequest> httpRequests;
  std::vector<TransferableWSConnection> wsConnections;
  std::vector<TransferableLogEntry> logEntries;
  std::vector<TransferableEnvironment> environments;
  std::optional<UUID> activeEnvironmentId;
  std::vector<TransferableRewriteRule> rewriteRules;
  std::vector<TransferableMockRule> mockRules;
  std::vector<TransferableInterceptRule> interceptRules;
  std::vector<TransferableQAResult> qaResults;
  std::string buildNumber;
  std::vector<TransferableUserDefaultsEntry> userDefaultsEntries;
  std::vector<TransferableKeychainEntry> keychainEntries;

  static constexpr std::string_view recordName = "FullSyncPayload";
  static constexpr auto fields = fieldTable(
      field("httpRequests", &FullSyncPayload::httpRequests),
      field("wsConnections", &FullSyncPayload::wsConnections),
      field("logEntries", &FullSyncPayload::logEntries),
      field("environments", &FullSyncPayload::environments),
      field("activeEnvironmentId", &FullSyncPayload::activeEnvironmentId),
      field("rewriteRules", &FullSyncPayload::rewriteRules), field("mockRules", &FullSyncPayload::mockRules),
      field("interceptRules", &FullSyncPayload::interceptRules),
      field("qaResults", &FullSyncPayload::qaResults), field("buildNumber", &FullSyncPayload::buildNumber),
      field("userDefaultsEntries", &FullSyncPayload::userDefaultsEntries),
      field("keychainEntries", &FullSyncPayload::keychainEntries));
  bool operator==(const FullSyncPayload&) const = default;
};

}  // namespace wyvlet
