#include "Client/WyvletClient.h"

#include <unistd.h>

#include <algorithm>
#include <boost/json.hpp>
#include <chrono>
#include <utility>
#include <vector>

#include "Client/AppLink.h"
#include "Client/AppRequests.h"
#include "Client/ClientQueue.h"
#include "Client/MessageHandler.h"
#include "Client/ServiceBrowser.h"
#include "Client/StateCache.h"
#include "Support/Log.h"
#include "Support/Memory.h"
#include "Support/Mutex.h"
#include "Support/Semaphore.h"
#include "Support/Text.h"
#include "WyvletShared/FrameReader.h"

namespace wyvlet {
namespace {

constexpr double kMaxMarkerWait = 5.0;
constexpr double kMarkerInterval = 0.2;

/// How long freed memory is kept for what may follow: to return it and take it anew with each of several
/// large syncs would double their cost.
constexpr std::chrono::milliseconds kMemoryPause{1000};

/// From how many bytes on a frame leaves so much freed memory behind that it is worth returning.
constexpr std::size_t kLargeFrame = std::size_t{1} << 20;

std::string_view trueOrFalse(bool value) { return value ? "true" : "false"; }

}  // namespace

/// The life of the link, and what joins the client's parts. The order of locks is `mutex_`, then
/// those of the cache and of the browser.
class WyvletClient::Impl final : public AppLink::Observer {
 public:
  explicit Impl(Options options)
      : options_(std::move(options)),
        requests_({.isConnected = [this] { return isConnected(); },
                   .send = [this](std::string_view type,
                                  const boost::json::object& payload) { sendRaw(type, payload); }}),
        messages_(cache_, requests_) {}

  ~Impl() {
    MutexLock lock(mutex_);
    dropLink();
    dropBrowser();
  }

  void startBrowsing() EXCLUDES(mutex_);
  void waitForConnection(double timeoutSeconds) EXCLUDES(mutex_);
  bool connectDirectTCP(const std::string& host, std::uint16_t port, double timeoutSeconds) EXCLUDES(mutex_);
  void forceDisconnect() EXCLUDES(mutex_);

  bool isConnected() const EXCLUDES(mutex_) {
    MutexLock lock(mutex_);
    return isConnected_;
  }

  bool hasSynced() const EXCLUDES(mutex_) {
    MutexLock lock(mutex_);
    return hasSynced_;
  }

  bool isReady() const EXCLUDES(mutex_) {
    MutexLock lock(mutex_);
    return isConnected_ && isLinkIntact();
  }

  CacheSnapshot snapshot() const EXCLUDES(mutex_) {
    auto snapshot = cache_.snapshot();
    snapshot.isConnected = isConnected();
    return snapshot;
  }

  std::string currentScreen() const { return cache_.currentScreen(); }
  AppRequests& requests() { return requests_; }

  void sendTyped(CompanionMessageType type, std::string payload) EXCLUDES(mutex_);
  void sendRaw(std::string_view type, const boost::json::object& payload) EXCLUDES(mutex_);

  void linkIsReady(const AppLink& link) override EXCLUDES(mutex_);
  void frameArrived(const AppLink& link, std::string_view body) override EXCLUDES(mutex_);
  void linkIsDown(const AppLink& link) override EXCLUDES(mutex_);

 private:
  /// Waits for one full sync. Every waiter has a semaphore of its own, so that a sync wakes all of
  /// them; dropping out of the list is how a waiter leaves.
  class Waiter;

  bool isLinkIntact() const REQUIRES(mutex_) {
    return link_ != nullptr && link_->state() == AppLink::State::Ready;
  }
  bool isUsable() const REQUIRES(mutex_) { return isConnected_ && hasSynced_ && isLinkIntact(); }

  bool isMarkerPresent() const { return ::access(options_.markerPath.c_str(), F_OK) == 0; }
  bool waitForMarker(double timeoutSeconds) EXCLUDES(mutex_);
  void browsed(std::uint64_t search, const ServiceBrowser::Outcome& outcome) EXCLUDES(mutex_);
  void synced(const AppLink& link, LenientSyncPayload sync) EXCLUDES(mutex_);
  void logOutcome(std::string_view opening) const EXCLUDES(mutex_);

  void startSearch() REQUIRES(mutex_);
  void connectTo(std::vector<AppAddress> addresses) REQUIRES(mutex_);
  void disconnect() REQUIRES(mutex_);
  void dropLink() REQUIRES(mutex_);
  void dropBrowser() REQUIRES(mutex_);

  const Options options_;
  StateCache cache_;
  AppRequests requests_;
  MessageHandler messages_;  // the client queue's, as is the next
  bool willReturnMemory_ = false;

  mutable Mutex mutex_;
  Condition syncArrived_;
  std::shared_ptr<AppLink> link_ GUARDED_BY(mutex_);
  std::uint64_t search_ GUARDED_BY(mutex_) = 0;  // the running search; outcomes of others are void
  bool isConnected_ GUARDED_BY(mutex_) = false;
  bool hasSynced_ GUARDED_BY(mutex_) = false;
  std::vector<std::shared_ptr<Semaphore>> waiters_ GUARDED_BY(mutex_);

  // Their threads use everything above, so they end first.
  ClientQueue queue_;
  ServiceBrowser browser_;
};

class WyvletClient::Impl::Waiter {
 public:
  explicit Waiter(Impl& client) REQUIRES(client.mutex_) : client_(client) {
    client.waiters_.push_back(synced_);
  }
  ~Waiter() EXCLUDES(client_.mutex_) {
    MutexLock lock(client_.mutex_);
    std::erase(client_.waiters_, synced_);
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  void wait(double timeoutSeconds) { synced_->wait(timeoutSeconds); }

 private:
  Impl& client_;
  const std::shared_ptr<Semaphore> synced_ = std::make_shared<Semaphore>();
};

void WyvletClient::Impl::waitForConnection(double timeoutSeconds) {
  bool mustReconnect = false;
  std::string_view state = "nil";
  {
    MutexLock lock(mutex_);
    if (isUsable()) return;
    mustReconnect = isConnected_ && hasSynced_;
    if (mustReconnect && link_) state = stateText(link_->state());
    if (mustReconnect) disconnect();
  }
  if (mustReconnect) {
    ::unlink(options_.markerPath.c_str());
    logLine(kClientTag, "Connection state: " + std::string(state) + " — forcing reconnect");
  }
  if (!waitForMarker(timeoutSeconds)) return;
  logLine(kClientTag, "Browsing for Wyvlet...");
  std::optional<Waiter> waiter;
  {
    // One step: a sync that arrived after the look would be thrown away, and one that arrived before
    // the search would not end it, so that the search would replace the link that brought the sync.
    MutexLock lock(mutex_);
    if (isUsable()) return;
    hasSynced_ = false;
    waiter.emplace(*this);
    startSearch();
  }
  logLine(kClientTag,
          "Waiting for sync (up to " + std::to_string(truncatedInteger(timeoutSeconds)) + "s)...");
  waiter->wait(timeoutSeconds);
  logOutcome("Wait complete");
}

/// False when somebody else has meanwhile brought up a synced link: tearing into that would only
/// cost everybody another sync.
bool WyvletClient::Impl::waitForMarker(double timeoutSeconds) {
  const auto deadline = deadlineAfter(std::min(timeoutSeconds, kMaxMarkerWait));
  for (;;) {
    const bool isOver = isMarkerPresent() || std::chrono::steady_clock::now() >= deadline;
    MutexLock lock(mutex_);
    if (isUsable()) return false;
    if (isOver) return true;
    syncArrived_.waitUntil(mutex_, std::min(deadline, deadlineAfter(kMarkerInterval)));
  }
}

bool WyvletClient::Impl::connectDirectTCP(const std::string& host, std::uint16_t port,
                                          double timeoutSeconds) {
  forceDisconnect();
  logLine(kClientTag, "Direct TCP connect to " + host + ":" + std::to_string(port) + "...");
  std::optional<Waiter> waiter;
  {
    MutexLock lock(mutex_);
    hasSynced_ = false;
    waiter.emplace(*this);
    connectTo({{host, port}});
  }
  logLine(kClientTag,
          "Waiting for direct TCP sync (up to " + std::to_string(truncatedInteger(timeoutSeconds)) + "s)...");
  waiter->wait(timeoutSeconds);
  logOutcome("Direct TCP");
  MutexLock lock(mutex_);
  return isConnected_ && hasSynced_;
}

void WyvletClient::Impl::logOutcome(std::string_view opening) const {
  bool hasSynced = false;
  bool isConnected = false;
  {
    MutexLock lock(mutex_);
    hasSynced = hasSynced_;
    isConnected = isConnected_;
  }
  std::string line(opening);
  line += " — synced: ";
  line += trueOrFalse(hasSynced);
  line += ", connected: ";
  line += trueOrFalse(isConnected);
  logLine(kClientTag, line);
}

void WyvletClient::Impl::startBrowsing() {
  MutexLock lock(mutex_);
  startSearch();
}

void WyvletClient::Impl::startSearch() {
  logLine(kClientTag, "Searching for Wyvlet...");
  const auto search = ++search_;
  browser_.start([this, search](ServiceBrowser::Outcome outcome) {
    queue_.post([this, search, outcome = std::move(outcome)] { browsed(search, outcome); });
  });
}

void WyvletClient::Impl::browsed(std::uint64_t search, const ServiceBrowser::Outcome& outcome) {
  MutexLock lock(mutex_);
  if (search != search_) return;
  if (!outcome) {
    logLine(kClientTag, "Browse failed: " + outcome.reason());
    return;
  }
  dropBrowser();
  connectTo(*outcome);
}

void WyvletClient::Impl::forceDisconnect() {
  {
    MutexLock lock(mutex_);
    disconnect();
  }
  ::unlink(options_.markerPath.c_str());
}

void WyvletClient::Impl::connectTo(std::vector<AppAddress> addresses) {
  dropLink();
  hasSynced_ = false;
  link_ = AppLink::connect(queue_, *this, std::move(addresses));
}

void WyvletClient::Impl::disconnect() {
  dropLink();
  dropBrowser();
  hasSynced_ = false;
}

void WyvletClient::Impl::dropLink() {
  if (link_) link_->cancel();
  link_.reset();
  isConnected_ = false;
}

void WyvletClient::Impl::dropBrowser() {
  ++search_;
  browser_.cancel();
}

void WyvletClient::Impl::linkIsReady(const AppLink& link) {
  MutexLock lock(mutex_);
  if (link_.get() == &link) isConnected_ = true;
}

void WyvletClient::Impl::linkIsDown(const AppLink& link) {
  MutexLock lock(mutex_);
  if (link_.get() == &link) isConnected_ = false;
}

void WyvletClient::Impl::frameArrived(const AppLink& link, std::string_view body) {
  auto sync = messages_.handle(body);
  const bool freesMuch = sync || body.size() >= kLargeFrame;  // a sync frees what it replaces
  if (sync) synced(link, *std::move(sync));
  if (freesMuch && !std::exchange(willReturnMemory_, true)) {
    queue_.postAfter(kMemoryPause, [this] {
      willReturnMemory_ = false;
      returnFreedMemory();
    });
  }
}

void WyvletClient::Impl::synced(const AppLink& link, LenientSyncPayload sync) {
  const auto summary = syncSummary(sync);
  const auto contents = StateCache::prepare(std::move(sync));
  std::vector<std::shared_ptr<Semaphore>> waiters;
  {
    MutexLock lock(mutex_);
    if (link_.get() != &link) return;
    cache_.swap(*contents);
    // A search that is still running was for the benefit of those who are woken now; left alone, it
    // would replace the very link that they are about to use.
    if (!hasSynced_) dropBrowser();
    hasSynced_ = true;
    waiters = waiters_;
    syncArrived_.notifyAll();
  }
  logLine(kClientTag, summary);
  for (const auto& waiter : waiters) waiter->signal();
}

void WyvletClient::Impl::sendTyped(CompanionMessageType type, std::string payload) {
  std::shared_ptr<AppLink> link;
  {
    MutexLock lock(mutex_);
    if (isConnected_) link = link_;
  }
  if (!link) return;
  const CompanionMessage message{type, Bytes{std::move(payload)}, Date::now()};
  link->send(encodeFrame(encodeEnvelope(message)));
}

void WyvletClient::Impl::sendRaw(std::string_view type, const boost::json::object& payload) {
  std::shared_ptr<AppLink> link;
  {
    MutexLock lock(mutex_);
    link = link_;
  }
  if (!link) return;
  const RawMessage message{std::string(type), Bytes{payload.empty() ? "" : boost::json::serialize(payload)},
                           Date::now()};
  link->send(encodeFrame(encodeEnvelope(message)));
}

WyvletClient::WyvletClient() : WyvletClient(Options()) {}
WyvletClient::WyvletClient(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
WyvletClient::~WyvletClient() = default;

void WyvletClient::startBrowsing() { impl_->startBrowsing(); }
void WyvletClient::waitForConnection(double timeoutSeconds) { impl_->waitForConnection(timeoutSeconds); }
bool WyvletClient::connectDirectTCP(const std::string& host, std::uint16_t port, double timeoutSeconds) {
  return impl_->connectDirectTCP(host, port, timeoutSeconds);
}
void WyvletClient::forceDisconnect() { impl_->forceDisconnect(); }

bool WyvletClient::isConnected() const { return impl_->isConnected(); }
bool WyvletClient::hasSynced() const { return impl_->hasSynced(); }
bool WyvletClient::isReady() const { return impl_->isReady(); }
CacheSnapshot WyvletClient::snapshot() const { return impl_->snapshot(); }
std::string WyvletClient::currentScreen() const { return impl_->currentScreen(); }

ScreenshotAnswer WyvletClient::requestScreenshot(double timeoutSeconds) {
  return impl_->requests().screenshot(timeoutSeconds);
}
std::string WyvletClient::requestFindElement(std::string_view text, bool exact, double timeoutSeconds) {
  return impl_->requests().findElement(text, exact, timeoutSeconds);
}
std::string WyvletClient::requestTypeText(std::string_view text, double timeoutSeconds) {
  return impl_->requests().typeText(text, timeoutSeconds);
}
std::string WyvletClient::requestScreenText(double timeoutSeconds) {
  return impl_->requests().screenText(timeoutSeconds);
}
std::string WyvletClient::requestScreenHTML(double timeoutSeconds) {
  return impl_->requests().screenHTML(timeoutSeconds);
}
std::string WyvletClient::requestPerfSnapshot(double timeoutSeconds) {
  return impl_->requests().perfSnapshot(timeoutSeconds);
}
std::string WyvletClient::requestAccessibilityAudit(double timeoutSeconds) {
  return impl_->requests().accessibilityAudit(timeoutSeconds);
}
std::string WyvletClient::requestWebViewConsole(const std::optional<std::string>& level, std::int64_t limit,
                                                double timeoutSeconds) {
  return impl_->requests().webViewConsole(level, limit, timeoutSeconds);
}

void WyvletClient::showOverlay(std::string_view category, const std::optional<std::string>& detail,
                               std::optional<bool> passed) {
  if (!impl_->isConnected()) return;
  boost::json::object payload{{"category", category}};
  if (detail) payload["detail"] = *detail;
  if (passed) payload["passed"] = *passed;
  logLine(kClientTag, "showOverlay: " + std::string(category) + " / " + detail.value_or("-"));
  impl_->sendRaw("command.showOverlay", payload);
}

void WyvletClient::sendTyped(CompanionMessageType type, std::string payload) {
  impl_->sendTyped(type, std::move(payload));
}
void WyvletClient::sendRawCommand(std::string_view type, const boost::json::object& payload) {
  impl_->sendRaw(type, payload);
}

}  // namespace wyvlet
