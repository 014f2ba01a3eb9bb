#pragma once

#include <vector>

#include "WyvletShared/FullSync.h"
#include "WyvletShared/StateRecords.h"

namespace wyvlet::sample {

/// What the app is installed with. Identifiers are fixed, so that a server that reconnects, or a
/// test, meets the same items again.
std::vector<TransferableEnvironment> seedEnvironments();
std::vector<TransferableRewriteRule> seedRewriteRules(Date installed);
std::vector<TransferableQAResult> seedQAItems();
std::vector<TransferableUserDefaultsEntry> seedDefaults();
std::vector<TransferableKeychainEntry> seedKeychain();
std::vector<RecordedFlowData> seedFlows(Date installed);

}  // namespace wyvlet::sample
