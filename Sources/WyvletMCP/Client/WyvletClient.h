#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/CompanionMessage.h"

namespace wyvlet {

/// The answer to a screenshot request: the sentence, and the picture as base64 PNG when there is one.
struct ScreenshotAnswer {
  std::string text;
  std::optional<std::string> imageBase64;  ///< the newest picture known, even if an older request brought it
  /// The picture that this very request was answered with; nothing when it timed out or failed.
  std::optional<std::string> ownImageBase64;
  /// An answer that came too late for an earlier request has ended the wait; that to this one is yet to come.
  bool endedByLateAnswer = false;
};

/// The server's one link to the app under test: finds it, connects, keeps the cache of what it
/// captured, and asks it questions.
///
///     idle -> browsing -> connecting -> connected -> synced -> disconnected -> browsing ...
///
/// Owned by main; lives as long as the process. Every operation may be called from any thread
/// except the client's own queue ("wyvlet-mcp-client"), on which all network callbacks and all
/// writes to the cache run; the blocking ones say for how long they block. No operation throws.
class WyvletClient {
 public:
  struct Options {
    /// Created by the probe library when it listens; waited for before browsing, deleted on disconnect.
    std::string markerPath = "/tmp/wyvletprobe_ready";
  };

  /// Starts nothing.
  WyvletClient();
  explicit WyvletClient(Options options);
  ~WyvletClient();
  WyvletClient(const WyvletClient&) = delete;
  WyvletClient& operator=(const WyvletClient&) = delete;

  /// Browses for apps by DNS-SD, replacing any running browser; connects to the first one seen.
  /// Returns at once.
  void startBrowsing();

  /// Makes sure of a ready and synced link, rebuilding it if need be. Blocks for at most
  /// `timeoutSeconds` plus the wait for the marker file (the smaller of the timeout and 5 s);
  /// returns at once when the link is ready and synced. The caller judges by `isConnected()`.
  void waitForConnection(double timeoutSeconds);

  /// Connects to a host and port instead of browsing, and waits for the first full sync. Blocks for
  /// at most `timeoutSeconds`. True when the link is connected and synced afterwards.
  bool connectDirectTCP(const std::string& host, std::uint16_t port, double timeoutSeconds);

  /// Drops link and browser and deletes the marker file. The cache is kept.
  void forceDisconnect();

  /// From the link's ready state until it fails, closes or is torn down.
  bool isConnected() const;

  /// Whether a full sync has arrived since the last connection attempt.
  bool hasSynced() const;

  /// Whether the current link can carry a request: connected, and its socket intact. A link that
  /// broke inside a frame is connected but not ready.
  bool isReady() const;

  /// The cache as it is now. Copies no record.
  CacheSnapshot snapshot() const;

  /// The screen that the app named last; "Unknown" before the first sync.
  std::string currentScreen() const;

  /// The questions to the app. Each sends one command and blocks for at most `timeoutSeconds` once
  /// its turn has come; a missing connection, a late answer and an unreadable one come back as the
  /// sentence that the agent will read. Find, screen text and screen HTML take turns, each kind for
  /// itself; of two concurrent requests of another kind each may get the other's answer.
  ScreenshotAnswer requestScreenshot(double timeoutSeconds);
  std::string requestFindElement(std::string_view text, bool exact, double timeoutSeconds);
  std::string requestTypeText(std::string_view text, double timeoutSeconds);
  std::string requestScreenText(double timeoutSeconds);
  /// Falls back to `requestScreenText(3.0)` when the app does not answer in time.
  std::string requestScreenHTML(double timeoutSeconds);
  std::string requestPerfSnapshot(double timeoutSeconds);
  std::string requestAccessibilityAudit(double timeoutSeconds);
  std::string requestWebViewConsole(const std::optional<std::string>& level, std::int64_t limit,
                                    double timeoutSeconds);

  /// Shows a short notice in the app. Fire and forget.
  void showOverlay(std::string_view category, const std::optional<std::string>& detail,
                   std::optional<bool> passed);

  /// Sends a typed command, silently nothing when not connected. Fire and forget: the app's
  /// reaction arrives as events. Defined for every record of Commands.h.
  template <class Command>
  void sendCommand(CompanionMessageType type, const Command& command) {
    sendTyped(type, encodeRecord(command, DateEpoch::Reference2001));
  }

  /// Sends a free-form command; an empty payload map travels as no bytes. Nothing without a link.
  void sendRawCommand(std::string_view type, const boost::json::object& payload);

 private:
  void sendTyped(CompanionMessageType type, std::string payload);

  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace wyvlet
