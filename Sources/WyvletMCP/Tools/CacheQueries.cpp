#include "Tools/CacheQueries.h"

#include "Support/Text.h"

namespace wyvlet {

std::string statusList(const std::vector<const TransferableNetworkRequest*>& requests) {
  std::vector<std::string> statuses;
  statuses.reserve(requests.size());
  for (const auto* request : requests) statuses.push_back(statusText(request->statusCode, "none"));
  return joined(statuses, ", ");
}

}  // namespace wyvlet
