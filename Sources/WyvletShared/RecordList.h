#pragma once

#include "WyvletShared/Commands.h"
#include "WyvletShared/FullSync.h"
#include "WyvletShared/Responses.h"
#include "WyvletShared/StateRecords.h"
#include "WyvletShared/TrafficRecords.h"

/// Calls the macro `DO` with every record of this library, for what has to be made once per record:
/// the instances of the codec, and the tests that hold for all.
#define WYVLET_FOR_EVERY_RECORD(DO) \
  DO(SwitchEnvironmentCommand)      \
  DO(ClearStoreCommand)             \
  DO(ToggleRuleCommand)             \
  DO(ReplayRequestCommand)          \
  DO(FireDeepLinkCommand)           \
  DO(MarkQACommand)                 \
  DO(FetchBodyCommand)              \
  DO(TransferableNetworkRequest)    \
  DO(TransferableWSFrame)           \
  DO(TransferableWSConnection)      \
  DO(TransferableLogEntry)          \
  DO(TransferableEnvironment)       \
  DO(TransferableURLMatchPattern)   \
  DO(TransferableRewriteRule)       \
  DO(TransferableMockRule)          \
  DO(TransferableInterceptRule)     \
  DO(TransferableQAResult)          \
  DO(TransferableUserDefaultsEntry) \
  DO(TransferableKeychainEntry)     \
  DO(Coords)                        \
  DO(FlowStepData)                  \
  DO(RecordedFlowData)              \
  DO(EnvironmentStatePayload)       \
  DO(LenientRulesState)             \
  DO(LenientQAState)                \
  DO(LenientSyncPayload)            \
  DO(FullSyncPayload)               \
  DO(SnapshotElement)               \
  DO(SnapshotResponse)              \
  DO(ScreenshotResponse)            \
  DO(FoundElement)                  \
  DO(FindResponse)                  \
  DO(ScreenTextResponse)            \
  DO(ScreenHTMLResponse)            \
  DO(PerfSnapshotResponse)          \
  DO(AuditIssue)                    \
  DO(AccessibilityAuditResponse)    \
  DO(ConsoleEntry)                  \
  DO(WebViewConsoleResponse)        \
  DO(InputResult)
