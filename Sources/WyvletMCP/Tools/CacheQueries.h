#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Client/CacheSnapshot.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// The newest `limit` records that pass, newest first; none for a limit of 0 or below. The cache is
/// walked from its new end and no further than needed.
template <class Record, class Keep>
std::vector<const Record*> newestFirst(const RecordList<Record>& records, std::int64_t limit, Keep keep) {
  std::vector<const Record*> chosen;
  for (auto at = records.end(); at != records.begin() && std::ssize(chosen) < limit;) {
    const Record& record = *--at;
    if (keep(record)) chosen.push_back(&record);
  }
  return chosen;
}

/// The first record whose identifier begins with `prefix`, so that the short ids of the listings
/// work; null when there is none. An empty prefix fits every record.
template <class Record>
const Record* findByIdPrefix(const RecordList<Record>& records, std::string_view prefix) {
  const auto found = std::find_if(records.begin(), records.end(),
                                  [&](const Record& record) { return record.id.text().starts_with(prefix); });
  return found == records.end() ? nullptr : &*found;
}

/// The last `limit` items in their order; none for a limit of 0 or below. Valid for as long as `items`.
template <class Item>
std::span<const Item> lastItems(const std::vector<Item>& items, std::int64_t limit) {
  const auto count = std::clamp<std::int64_t>(limit, 0, std::ssize(items));
  return std::span(items).last(static_cast<std::size_t>(count));
}

/// Whether a moment lies within the last `seconds` before `now`; every moment does when no window is
/// given. The app's clock may run ahead of ours, so what is yet to come counts as recent.
inline bool isWithinLast(const std::optional<std::int64_t>& seconds, Date moment, Date now) {
  return !seconds || moment.secondsSince1970 >= now.secondsSince1970 - static_cast<double>(*seconds);
}

/// Whether the entry's message or category contains the name of the event, in any case.
bool mentions(const TransferableLogEntry& entry, std::string_view eventName);

/// A duration in whole milliseconds: "125ms" for 0.125 seconds.
std::string millisecondsText(double seconds);

/// The status code in decimal, or `absent` when no response arrived.
inline std::string statusText(const std::optional<std::int64_t>& statusCode, std::string_view absent) {
  return statusCode ? std::to_string(*statusCode) : std::string(absent);
}

/// The status codes of `requests` in their order, joined by ", "; "none" stands for a missing one.
std::string statusList(const std::vector<const TransferableNetworkRequest*>& requests);

}  // namespace wyvlet
