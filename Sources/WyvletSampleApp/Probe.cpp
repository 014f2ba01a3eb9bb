#include "WyvletSampleApp/Probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <utility>

#include "Support/Text.h"
#include "WyvletSampleApp/SeedData.h"
#include "WyvletSampleApp/URLText.h"
#include "WyvletShared/Commands.h"

namespace wyvlet::sample {
namespace {

constexpr std::size_t kFrameLimit = 100;
constexpr std::size_t kOverlayLimit = 20;
constexpr double kOverlaySeconds = 4;

template <class Items, class Item>
void keepNewest(Items& items, Item item, std::size_t limit) {
  items.push_back(std::move(item));
  if (items.size() > limit) items.pop_front();
}

/// The exchange as it travels: without a body that is too large to send unasked.
TransferableNetworkRequest travelling(TransferableNetworkRequest request) {
  if (request.responseBody && request.responseBody->data.size() > Probe::kBodyLimit) {
    request.responseBody.reset();
  }
  return request;
}

std::string_view fileName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string_view statusText(Probe::QAStatus status) {
  switch (status) {
    case Probe::QAStatus::Passed: return "PASSED";
    case Probe::QAStatus::Failed: return "FAILED";
    case Probe::QAStatus::Pending: break;
  }
  return "PENDING";
}

}  // namespace

Probe::Probe(AppLoop& loop)
    : loop_(loop),
      environments_(seedEnvironments()),
      qaResults_(seedQAItems()),
      buildNumber_("2.4.1 (1187)"),
      defaults_(seedDefaults()),
      keychain_(seedKeychain()) {
  const Date installed{loop.wallTime().secondsSince1970 - 86400};
  for (TransferableRewriteRule& rule : seedRewriteRules(installed)) rules_.addRewrite(std::move(rule));
  flows_ = seedFlows(installed);
}

void Probe::connect(std::function<void(const CompanionMessage&)> onEvent,
                    std::function<void()> onSyncNeeded) {
  onEvent_ = std::move(onEvent);
  onSyncNeeded_ = std::move(onSyncNeeded);
}

void Probe::syncNeeded() {
  if (onSyncNeeded_) onSyncNeeded_();
}

LenientSyncPayload Probe::fullSync(std::string_view screen) const {
  LenientSyncPayload sync;
  sync.httpRequests.emplace();
  for (const TransferableNetworkRequest& request : requests_)
    sync.httpRequests->push_back(travelling(request));
  sync.wsConnections = sockets_;
  sync.logEntries.emplace(logEntries_.begin(), logEntries_.end());
  sync.environmentState = environments_.state();
  sync.rulesState = rules_.state();
  sync.qaState = LenientQAState{qaResults_, buildNumber_};
  sync.userDefaultsEntries = defaults_;
  sync.keychainEntries = keychain_;
  sync.currentScreen = std::string(screen);
  sync.deviceName = "Harbor Phone";
  sync.appName = "Harbor Travel";
  sync.appVersion = "2.4.1";
  sync.recordedFlows = flows_;
  return sync;
}

void Probe::capture(TransferableNetworkRequest request) {
  report(CompanionMessageType::eventHttpRequest, travelling(request));
  keepNewest(requests_, std::move(request), kStoreLimit);
}

const TransferableNetworkRequest* Probe::request(const UUID& id) const {
  const auto found =
      std::find_if(requests_.begin(), requests_.end(), [&](const auto& request) { return request.id == id; });
  return found == requests_.end() ? nullptr : &*found;
}

std::string Probe::lastRequestText() const {
  if (requests_.empty()) return {};
  const TransferableNetworkRequest& request = requests_.back();
  return fmt::format("{} {} → {}", request.method, request.url,
                     request.statusCode ? std::to_string(*request.statusCode) : "no response");
}

bool Probe::resendWithBody(const UUID& id) {
  const TransferableNetworkRequest* found = request(id);
  if (found == nullptr) return false;
  report(CompanionMessageType::eventHttpRequest, *found);
  return true;
}

void Probe::log(std::string_view level, std::string_view category, std::string message,
                std::string_view screen, const char* file, int line) {
  TransferableLogEntry entry;
  entry.id = UUID::random();
  entry.timestamp = loop_.wallTime();
  entry.level = level;
  entry.category = category;
  entry.message = std::move(message);
  entry.file = fileName(file);
  entry.line = static_cast<std::uint64_t>(line);
  if (!screen.empty()) entry.screenName = std::string(screen);
  report(CompanionMessageType::eventLog, entry);
  keepNewest(logEntries_, std::move(entry), kStoreLimit);
}

TransferableWSConnection* Probe::socket(const UUID& id) {
  const auto found =
      std::find_if(sockets_.begin(), sockets_.end(), [&](const auto& item) { return item.id == id; });
  return found == sockets_.end() ? nullptr : &*found;
}

UUID Probe::openSocket(const std::string& url) {
  TransferableWSConnection connection;
  connection.id = UUID::random();
  connection.url = url;
  const auto parts = parseURL(url);
  connection.host = parts ? parts->host : "";
  connection.startTime = loop_.wallTime();
  connection.status = "Connected";
  report(CompanionMessageType::eventWsConnection, connection);
  sockets_.push_back(std::move(connection));
  return sockets_.back().id;
}

void Probe::socketFrame(const UUID& connection, std::string_view direction, std::string_view frameType,
                        std::string payload) {
  TransferableWSConnection* open = socket(connection);
  if (open == nullptr) return;
  TransferableWSFrame frame;
  frame.id = UUID::random();
  frame.connectionId = connection;
  frame.timestamp = loop_.wallTime();
  frame.direction = direction;
  frame.frameType = frameType;
  if (frameType == "Text") frame.payloadString = payload;
  frame.payload = Bytes{std::move(payload)};
  report(CompanionMessageType::eventWsFrame, frame);
  open->frames.push_back(std::move(frame));
  if (open->frames.size() > kFrameLimit) open->frames.erase(open->frames.begin());
  // Servers keep frames only as part of their connection.
  report(CompanionMessageType::eventWsConnection, *open);
}

void Probe::closeSocket(const UUID& connection, std::int64_t code, std::string reason) {
  TransferableWSConnection* open = socket(connection);
  if (open == nullptr) return;
  open->status = "Closed";
  open->closeCode = code;
  open->closeReason = std::move(reason);
  report(CompanionMessageType::eventWsConnection, *open);
  if (onEvent_) {
    const boost::json::object end = {
        {"connectionId", connection.text()}, {"closeCode", code}, {"closeReason", *open->closeReason}};
    onEvent_({CompanionMessageType::eventWsClose, Bytes{boost::json::serialize(end)}, loop_.wallTime()});
  }
}

void Probe::environmentChanged() {
  report(CompanionMessageType::eventEnvironmentChanged, environments_.state());
}

void Probe::rulesChanged() {
  report(CompanionMessageType::eventRulesChanged, rules_.state());
  syncNeeded();
}

bool Probe::markQA(const UUID& item, QAStatus status, const std::optional<std::string>& notes,
                   const std::optional<std::vector<UUID>>& requests) {
  const auto found = std::find_if(qaResults_.begin(), qaResults_.end(),
                                  [&](const auto& result) { return result.id == item; });
  if (found == qaResults_.end()) return false;
  found->status = statusText(status);
  found->failNotes = status == QAStatus::Failed ? notes.value_or("") : "";
  if (requests) found->attachedRequestIds = *requests;
  if (status == QAStatus::Pending) found->attachedRequestIds.clear();
  report(CompanionMessageType::eventQAStatusChanged, qaResults_);
  return true;
}

bool Probe::clearStore(std::string_view store) {
  const bool all = store == "all";
  bool known = all;
  const auto named = [&](std::initializer_list<std::string_view> words) {
    const bool is = std::find(words.begin(), words.end(), store) != words.end();
    known = known || is;
    return all || is;
  };
  if (named({"requests", "http", "network"})) requests_.clear();
  if (named({"websocket"})) {
    // An open connection lives on; only what went over it is forgotten.
    std::erase_if(sockets_, [](const auto& connection) { return connection.status == "Closed"; });
    for (TransferableWSConnection& connection : sockets_) connection.frames.clear();
  }
  if (named({"logs"})) logEntries_.clear();
  if (named({"console"})) console_.clear();
  if (!known) return false;
  report(CompanionMessageType::eventClear, ClearStoreCommand{std::string(store)});
  syncNeeded();
  return true;
}

void Probe::setDefault(const std::string& key, std::string displayValue, std::string valueType) {
  const auto found =
      std::find_if(defaults_.begin(), defaults_.end(), [&](const auto& entry) { return entry.key == key; });
  if (found == defaults_.end()) {
    defaults_.push_back({"harbor." + key, key, std::move(displayValue), std::move(valueType)});
  } else if (found->displayValue == displayValue && found->valueType == valueType) {
    return;
  } else {
    found->displayValue = std::move(displayValue);
    found->valueType = std::move(valueType);
  }
  syncNeeded();
}

std::optional<std::string> Probe::defaultValue(std::string_view key) const {
  for (const TransferableUserDefaultsEntry& entry : defaults_) {
    if (entry.key == key) return entry.displayValue;
  }
  return {};
}

void Probe::addFlow(RecordedFlowData flow) {
  flows_.push_back(std::move(flow));
  syncNeeded();
}

void Probe::console(std::string_view level, std::string message, std::string url) {
  keepNewest(
      console_,
      ConsoleEntry{loop_.wallTime().secondsSince1970, std::string(level), std::move(message), std::move(url)},
      kStoreLimit);
}

WebViewConsoleResponse Probe::consoleEntries(const std::optional<std::string>& level,
                                             std::int64_t limit) const {
  WebViewConsoleResponse response;
  for (const ConsoleEntry& entry : console_) {
    if (!level || equalIgnoringCase(entry.level, *level)) response.entries.push_back(entry);
  }
  response.totalCount = static_cast<std::int64_t>(response.entries.size());
  const std::int64_t kept = std::clamp<std::int64_t>(limit, 0, response.totalCount);
  response.entries.erase(response.entries.begin(), response.entries.end() - kept);
  return response;
}

void Probe::showOverlay(OverlayNotice notice) {
  notice.shownAt = loop_.wallTime();
  const Date shownAt = notice.shownAt;
  keepNewest(overlays_, std::move(notice), kOverlayLimit);
  overlayVisible_ = true;
  loop_.after(kOverlaySeconds, [this, shownAt] {
    if (!overlays_.empty() && overlays_.back().shownAt == shownAt) overlayVisible_ = false;
  });
}

}  // namespace wyvlet::sample
