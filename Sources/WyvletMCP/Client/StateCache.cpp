#include "Client/StateCache.h"

#include <iterator>

namespace wyvlet {
namespace {

/// A list that grows at its end and is read as an unchanging `RecordList`.
template <class Record>
class LiveList {
 public:
  using Item = std::shared_ptr<const Record>;

  LiveList() = default;
  explicit LiveList(std::vector<Record> records) {
    for (auto& record : records) items_.push_back(std::make_shared<const Record>(std::move(record)));
  }

  std::size_t size() const { return items_.size(); }
  const Record& operator[](std::size_t index) const { return *items_[index]; }

  void append(Item item) {
    items_.push_back(std::move(item));
    published_.reset();
  }

  /// Puts `item` at `index` and gives the former one back.
  Item replace(std::size_t index, Item item) {
    published_.reset();
    return std::exchange(items_[index], std::move(item));
  }

  Item takeFirst() {
    auto first = std::move(items_.front());
    items_.pop_front();
    published_.reset();
    return first;
  }

  RecordList<Record> published() const {
    if (!published_) {
      published_.emplace(
          std::make_shared<const typename RecordList<Record>::Items>(items_.begin(), items_.end()));
    }
    return *published_;
  }

 private:
  std::deque<Item> items_;
  mutable std::optional<RecordList<Record>> published_;  // nothing after a change
};

template <class Record>
RecordList<Record> listOf(std::optional<std::vector<Record>>& records) {
  return RecordList<Record>(std::move(records).value_or(std::vector<Record>()));
}

}  // namespace

class StateCache::Contents {
 public:
  LiveList<TransferableNetworkRequest> httpRequests;
  LiveList<TransferableWSConnection> wsConnections;
  std::map<UUID, std::size_t> wsIndex;  // where in wsConnections an id stands first
  LiveList<TransferableLogEntry> logEntries;
  /// All that changes only as a whole; the lists above stay empty in it.
  CacheSnapshot rest;
};

StateCache::StateCache() : contents_(std::make_unique<Contents>()) {}
StateCache::~StateCache() = default;

std::shared_ptr<StateCache::Contents> StateCache::prepare(LenientSyncPayload sync) {
  auto contents = std::make_shared<Contents>();
  if (sync.httpRequests) contents->httpRequests = LiveList(std::move(*sync.httpRequests));
  if (sync.wsConnections) contents->wsConnections = LiveList(std::move(*sync.wsConnections));
  if (sync.logEntries) contents->logEntries = LiveList(std::move(*sync.logEntries));
  for (std::size_t i = 0; i < contents->wsConnections.size(); ++i) {
    contents->wsIndex.try_emplace(contents->wsConnections[i].id, i);
  }
  auto& rest = contents->rest;
  if (sync.environmentState) {
    rest.environments = listOf(sync.environmentState->environments);
    rest.activeEnvironmentId = sync.environmentState->activeEnvironmentId;
  }
  if (sync.rulesState) {
    rest.rewriteRules = listOf(sync.rulesState->rewriteRules);
    rest.mockRules = listOf(sync.rulesState->mockRules);
    rest.interceptRules = listOf(sync.rulesState->interceptRules);
  }
  if (sync.qaState) {
    rest.qaResults = listOf(sync.qaState->results);
    rest.buildNumber = std::move(sync.qaState->buildNumber).value_or("");
  }
  rest.userDefaultsEntries = listOf(sync.userDefaultsEntries);
  rest.keychainEntries = listOf(sync.keychainEntries);
  if (sync.currentScreen) rest.currentScreen = std::move(*sync.currentScreen);
  rest.recordedFlows = listOf(sync.recordedFlows);
  return contents;
}

void StateCache::swap(Contents& contents) {
  MutexLock lock(mutex_);
  std::swap(*contents_, contents);
}

// What leaves the cache is destroyed after the lock has been released: the lock is declared last.

void StateCache::append(TransferableNetworkRequest request) {
  auto item = std::make_shared<const TransferableNetworkRequest>(std::move(request));
  std::shared_ptr<const TransferableNetworkRequest> dropped;
  MutexLock lock(mutex_);
  auto& list = contents_->httpRequests;
  if (list.size() >= kMaxStreamed) dropped = list.takeFirst();
  list.append(std::move(item));
}

void StateCache::append(TransferableLogEntry entry) {
  auto item = std::make_shared<const TransferableLogEntry>(std::move(entry));
  std::shared_ptr<const TransferableLogEntry> dropped;
  MutexLock lock(mutex_);
  auto& list = contents_->logEntries;
  if (list.size() >= kMaxStreamed) dropped = list.takeFirst();
  list.append(std::move(item));
}

void StateCache::upsert(TransferableWSConnection connection) {
  const auto id = connection.id;
  auto item = std::make_shared<const TransferableWSConnection>(std::move(connection));
  std::shared_ptr<const TransferableWSConnection> dropped;
  MutexLock lock(mutex_);
  auto& list = contents_->wsConnections;
  const auto [known, isNew] = contents_->wsIndex.try_emplace(id, list.size());
  if (isNew) {
    list.append(std::move(item));
  } else {
    dropped = list.replace(known->second, std::move(item));
  }
}

void StateCache::replaceEnvironments(EnvironmentStatePayload state) {
  auto environments = listOf(state.environments);
  MutexLock lock(mutex_);
  std::swap(contents_->rest.environments, environments);
  contents_->rest.activeEnvironmentId = state.activeEnvironmentId;
}

void StateCache::replaceQAResults(std::vector<TransferableQAResult> results) {
  RecordList<TransferableQAResult> list(std::move(results));
  MutexLock lock(mutex_);
  std::swap(contents_->rest.qaResults, list);
}

void StateCache::setCurrentScreen(std::string screen) {
  MutexLock lock(mutex_);
  std::swap(contents_->rest.currentScreen, screen);
}

CacheSnapshot StateCache::snapshot() const {
  MutexLock lock(mutex_);
  auto snapshot = contents_->rest;
  snapshot.httpRequests = contents_->httpRequests.published();
  snapshot.wsConnections = contents_->wsConnections.published();
  snapshot.logEntries = contents_->logEntries.published();
  return snapshot;
}

std::string StateCache::currentScreen() const {
  MutexLock lock(mutex_);
  return contents_->rest.currentScreen;
}

}  // namespace wyvlet
