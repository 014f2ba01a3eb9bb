#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/RuleBook.h"
#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/FullSync.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {

/// Where a server's overlay notice stands.
struct OverlayNotice {
  std::string category;
  std::optional<std::string> detail;
  std::optional<bool> passed;
  Date shownAt;
};

/// The debugging companion inside the app: it keeps what the app captured and the state that servers
/// may look at and change, and tells them of it. Changes for which the protocol has an event go out
/// as that event; servers learn of the others (rules, stored values, flows, cleared stores) from a
/// new full sync only. Loop thread only.
class Probe {
 public:
  /// `loop` must outlive the probe.
  explicit Probe(AppLoop& loop);

  /// Where events and the need for a new full sync are reported; nowhere until set.
  void connect(std::function<void(const CompanionMessage&)> onEvent, std::function<void()> onSyncNeeded);

  /// The document for a server that just connected. `screen` is the one now showing.
  LenientSyncPayload fullSync(std::string_view screen) const;

  // What the app captures. Each store keeps the newest `kStoreLimit` items.
  static constexpr std::size_t kStoreLimit = 500;
  /// A response body above this size travels only when it is asked for.
  static constexpr std::size_t kBodyLimit = std::size_t{64} << 10;

  void capture(TransferableNetworkRequest request);
  const TransferableNetworkRequest* request(const UUID& id) const;
  /// "POST https://... → 201" for the newest exchange; "" when there is none.
  std::string lastRequestText() const;
  /// Sends the exchange again, with its whole body. False when it is not known.
  bool resendWithBody(const UUID& id);

  /// Logs from the calling line of the app's source. `screen` may be empty.
  void log(std::string_view level, std::string_view category, std::string message, std::string_view screen,
           const char* file = __builtin_FILE(), int line = __builtin_LINE());
  const std::deque<TransferableLogEntry>& logEntries() const { return logEntries_; }

  /// Opens a WebSocket connection; frames and the end are reported for its id.
  UUID openSocket(const std::string& url);
  void socketFrame(const UUID& connection, std::string_view direction, std::string_view frameType,
                   std::string payload);
  void closeSocket(const UUID& connection, std::int64_t code, std::string reason);

  // What servers may change.
  EnvironmentBook& environments() { return environments_; }
  const EnvironmentBook& environments() const { return environments_; }
  RuleBook& rules() { return rules_; }
  void environmentChanged();
  void rulesChanged();

  enum class QAStatus { Pending, Passed, Failed };
  /// False when there is no such item. A failure keeps `notes` as its reason, the others clear it.
  bool markQA(const UUID& item, QAStatus status, const std::optional<std::string>& notes,
              const std::optional<std::vector<UUID>>& requests);

  /// `store` is "requests" (or "http", "network"), "websocket", "logs", "console" or "all". False for
  /// another word.
  bool clearStore(std::string_view store);

  // The app's own storage.
  void setDefault(const std::string& key, std::string displayValue, std::string valueType);
  std::optional<std::string> defaultValue(std::string_view key) const;
  void addFlow(RecordedFlowData flow);

  void console(std::string_view level, std::string message, std::string url);
  /// The newest `limit` entries of `level` (any level when absent), oldest first.
  WebViewConsoleResponse consoleEntries(const std::optional<std::string>& level, std::int64_t limit) const;

  void showOverlay(OverlayNotice notice);
  void hideOverlay() { overlayVisible_ = false; }
  /// The last notices, oldest first; the newest is on the screen when `overlayVisible()`.
  const std::deque<OverlayNotice>& overlays() const { return overlays_; }
  bool overlayVisible() const { return overlayVisible_; }

  const std::string& buildNumber() const { return buildNumber_; }

 private:
  template <class Record>
  void report(CompanionMessageType type, const Record& record) {
    if (onEvent_) onEvent_(CompanionMessage::make(type, record, DateEpoch::Unix1970));
  }
  void syncNeeded();
  TransferableWSConnection* socket(const UUID& id);

  AppLoop& loop_;
  std::function<void(const CompanionMessage&)> onEvent_;
  std::function<void()> onSyncNeeded_;

  std::deque<TransferableNetworkRequest> requests_;
  std::deque<TransferableLogEntry> logEntries_;
  std::vector<TransferableWSConnection> sockets_;
  EnvironmentBook environments_;
  RuleBook rules_;
  std::vector<TransferableQAResult> qaResults_;
  std::string buildNumber_;
  std::vector<TransferableUserDefaultsEntry> defaults_;
  std::vector<TransferableKeychainEntry> keychain_;
  std::vector<RecordedFlowData> flows_;
  std::deque<ConsoleEntry> console_;
  std::deque<OverlayNotice> overlays_;
  bool overlayVisible_ = false;
};

}  // namespace wyvlet::sample
