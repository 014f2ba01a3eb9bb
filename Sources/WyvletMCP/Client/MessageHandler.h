#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/FullSync.h"

namespace wyvlet {

class AppRequests;
class StateCache;

/// What is done with each frame that an app sends: events go to the cache, answers to whoever asked.
/// Runs on the client queue.
class MessageHandler {
 public:
  MessageHandler(StateCache& cache, AppRequests& requests) : cache_(cache), requests_(requests) {}

  /// Handles a frame's body. A full sync that decodes is handed back: whether it may take effect is
  /// for the owner of the link to say.
  [[nodiscard]] std::optional<LenientSyncPayload> handle(std::string_view body);

 private:
  std::optional<LenientSyncPayload> handleMessage(const CompanionMessage& message);
  void handleFreeForm(const RawMessage& message);

  StateCache& cache_;
  AppRequests& requests_;
};

/// "Synced: 12 reqs, 30 logs, 2 envs, 5 QA, 8 UD".
std::string syncSummary(const LenientSyncPayload& sync);

}  // namespace wyvlet
