#include "Client/StateCache.h"

#include <iterator>

namespace wyvlet {
namespace {

/// A list that grows at its end and is read as an unchanging `RecordList`. Knows how large its streamed
/// records are; those of a sync weigh nothing, they are bounded by the frame that brought them.
template <class Record>
class LiveList {
 public:
  using Item = std::shared_ptr<const Record>;

  LiveList() = default;
  explicit LiveList(std::vector<Record> records) {
    for (auto& record : records) kept_.push_back({std::make_shared<const Record>(std::move(record)), 0});
  }

  std::size_t size() const { return kept_.size(); }
  const Record& operator[](std::size_t index) const { return *kept_[index].item; }

  /// Whether one of `bytes` fits in beside the others, or in the place of the one at `index`.
  bool hasRoomFor(std::size_t bytes) const { return bytes_ + bytes <= StateCache::kMaxStreamedBytes; }
  bool hasRoomFor(std::size_t bytes, std::size_t index) const {
    return bytes_ - kept_[index].bytes + bytes <= StateCache::kMaxStreamedBytes;
  }

  void append(Item item, std::size_t bytes) {
    kept_.push_back({std::move(item), bytes});
    bytes_ += bytes;
    published_.reset();
  }

  /// Puts `item` at `index` and gives the former one back.
  Item replace(std::size_t index, Item item, std::size_t bytes) {
    published_.reset();
    bytes_ += bytes - kept_[index].bytes;
    return std::exchange(kept_[index], Kept{std::move(item), bytes}).item;
  }

  Item takeFirst() {
    auto first = std::move(kept_.front());
    kept_.pop_front();
    bytes_ -= first.bytes;
    published_.reset();
    return std::move(first.item);
  }

  RecordList<Record> published() const {
    if (!published_) {
      typename RecordList<Record>::Items items;
      items.reserve(kept_.size());
      for (const auto& kept : kept_) items.push_back(kept.item);
      published_.emplace(std::make_shared<const typename RecordList<Record>::Items>(std::move(items)));
    }
    return *published_;
  }

 private:
  struct Kept {
    Item item;
    std::size_t bytes = 0;
  };

  std::deque<Kept> kept_;
  std::size_t bytes_ = 0;
  mutable std::optional<RecordList<Record>> published_;  // nothing after a change
};

/// Adds what an event brought and takes out what there is no more room for, oldest first.
template <class Record>
[[nodiscard]] std::vector<std::shared_ptr<const Record>> appendBounded(LiveList<Record>& list,
                                                                       std::shared_ptr<const Record> item,
                                                                       std::size_t bytes) {
  std::vector<std::shared_ptr<const Record>> dropped;
  if (list.size() >= StateCache::kMaxStreamed) dropped.push_back(list.takeFirst());
  while (list.size() > 0 && !list.hasRoomFor(bytes)) dropped.push_back(list.takeFirst());
  list.append(std::move(item), bytes);
  return dropped;
}

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

void StateCache::append(TransferableNetworkRequest request, std::size_t bytes) {
  auto item = std::make_shared<const TransferableNetworkRequest>(std::move(request));
  std::vector<std::shared_ptr<const TransferableNetworkRequest>> dropped;
  MutexLock lock(mutex_);
  dropped = appendBounded(contents_->httpRequests, std::move(item), bytes);
}

void StateCache::append(TransferableLogEntry entry, std::size_t bytes) {
  auto item = std::make_shared<const TransferableLogEntry>(std::move(entry));
  std::vector<std::shared_ptr<const TransferableLogEntry>> dropped;
  MutexLock lock(mutex_);
  dropped = appendBounded(contents_->logEntries, std::move(item), bytes);
}

bool StateCache::upsert(TransferableWSConnection connection, std::size_t bytes) {
  const auto id = connection.id;
  auto item = std::make_shared<const TransferableWSConnection>(std::move(connection));
  std::shared_ptr<const TransferableWSConnection> dropped;
  MutexLock lock(mutex_);
  auto& list = contents_->wsConnections;
  const auto known = contents_->wsIndex.find(id);
  if (known != contents_->wsIndex.end()) {
    if (!list.hasRoomFor(bytes, known->second)) return false;
    dropped = list.replace(known->second, std::move(item), bytes);
    return true;
  }
  if (!list.hasRoomFor(bytes)) return false;
  contents_->wsIndex.emplace(id, list.size());
  list.append(std::move(item), bytes);
  return true;
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
