#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "WyvletShared/FullSync.h"
#include "WyvletShared/StateRecords.h"
#include "WyvletShared/TrafficRecords.h"

namespace wyvlet {

/// What agents read instead of an answer while no app is there.
inline constexpr std::string_view kNotConnected = "Wyvlet not connected";

/// An unchanging list of records. Copying one copies a pointer, never a record, and the records
/// stay valid for as long as any copy is held, whatever the cache does meanwhile.
template <class Record>
class RecordList {
 public:
  using Items = std::vector<std::shared_ptr<const Record>>;

  class Iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = Record;
    using difference_type = std::ptrdiff_t;
    using pointer = const Record*;
    using reference = const Record&;

    Iterator() = default;
    explicit Iterator(typename Items::const_iterator at) : at_(at) {}
    reference operator*() const { return **at_; }
    pointer operator->() const { return at_->get(); }
    reference operator[](difference_type n) const { return *at_[n]; }
    Iterator& operator++() { return ++at_, *this; }
    Iterator operator++(int) { return Iterator(at_++); }
    Iterator& operator--() { return --at_, *this; }
    Iterator operator--(int) { return Iterator(at_--); }
    Iterator& operator+=(difference_type n) { return at_ += n, *this; }
    Iterator& operator-=(difference_type n) { return at_ -= n, *this; }
    friend Iterator operator+(Iterator it, difference_type n) { return it += n; }
    friend Iterator operator+(difference_type n, Iterator it) { return it += n; }
    friend Iterator operator-(Iterator it, difference_type n) { return it -= n; }
    friend difference_type operator-(Iterator a, Iterator b) { return a.at_ - b.at_; }
    auto operator<=>(const Iterator&) const = default;

   private:
    typename Items::const_iterator at_;
  };

  RecordList() : items_(emptyItems()) {}
  explicit RecordList(std::shared_ptr<const Items> items) : items_(std::move(items)) {}
  RecordList(std::initializer_list<Record> records) : RecordList(std::vector<Record>(records)) {}
  explicit RecordList(std::vector<Record> records) {
    auto items = std::make_shared<Items>();
    items->reserve(records.size());
    for (auto& record : records) items->push_back(std::make_shared<const Record>(std::move(record)));
    items_ = std::move(items);
  }

  std::size_t size() const { return items_->size(); }
  bool empty() const { return items_->empty(); }
  const Record& operator[](std::size_t index) const { return *(*items_)[index]; }
  Iterator begin() const { return Iterator(items_->begin()); }
  Iterator end() const { return Iterator(items_->end()); }

 private:
  static const std::shared_ptr<const Items>& emptyItems() {
    static const auto empty = std::make_shared<const Items>();
    return empty;
  }
  std::shared_ptr<const Items> items_;
};

/// Everything that is known of the app at one moment; what the tools answer from. Oldest first in
/// every list. A value: it never changes once taken.
struct CacheSnapshot {
  bool isConnected = false;
  RecordList<TransferableNetworkRequest> httpRequests;
  RecordList<TransferableWSConnection> wsConnections;
  RecordList<TransferableLogEntry> logEntries;
  RecordList<TransferableEnvironment> environments;
  std::optional<UUID> activeEnvironmentId;
  RecordList<TransferableRewriteRule> rewriteRules;
  RecordList<TransferableMockRule> mockRules;
  RecordList<TransferableInterceptRule> interceptRules;
  RecordList<TransferableQAResult> qaResults;
  RecordList<TransferableUserDefaultsEntry> userDefaultsEntries;
  RecordList<TransferableKeychainEntry> keychainEntries;
  std::string buildNumber;
  std::string currentScreen = "Unknown";
  RecordList<RecordedFlowData> recordedFlows;
};

}  // namespace wyvlet
