#include "Tools/CacheQueries.h"

#include "Support/Text.h"

namespace wyvlet {

bool mentions(const TransferableLogEntry& entry, std::string_view eventName) {
  return containsIgnoringCase(entry.message, eventName) || containsIgnoringCase(entry.category, eventName);
}

std::string millisecondsText(double seconds) { return fixedText(seconds * 1000, 0) + "ms"; }

std::string statusList(const std::vector<const TransferableNetworkRequest*>& requests) {
  std::vector<std::string> statuses;
  statuses.reserve(requests.size());
  for (const auto* request : requests) statuses.push_back(statusText(request->statusCode, "none"));
  return joined(statuses, ", ");
}

}  // namespace wyvlet
