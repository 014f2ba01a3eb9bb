// The arguments of the verdict tools as a hostile agent may choose them: steps of a flow, and the property
// and value that form a pattern. The first byte chooses; the rest is split at its first NUL byte.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Tools/FlowAssertion.h"
#include "Tools/VerificationTools.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

const CacheSnapshot& cache() {
  static const CacheSnapshot snapshot = [] {
    CacheSnapshot made;
    made.isConnected = true;
    made.currentScreen = "Confirmation";
    TransferableLogEntry entry;
    entry.level = "INFO";
    entry.category = "Analytics";
    entry.message = R"(booking_created {"reference":"HB-1E79F2","total":86.83} )" + std::string(200, 'a');
    made.logEntries = {entry, entry};
    TransferableNetworkRequest request;
    request.method = "POST";
    request.url = "https://api.example.com/v1/bookings";
    request.statusCode = 201;
    made.httpRequests = {request};
    return made;
  }();
  return snapshot;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 2 == 0) {
    const auto text = assertFlow(cache(), input);
    require(text.starts_with("FAIL: ") || text.find("Assert Flow: ") != std::string::npos);
    return 0;
  }
  const auto cut = std::min(input.find('\0'), input.size());
  EventQuery query{.name = "booking", .property = std::string(input.substr(0, cut))};
  query.value = std::string(input.substr(std::min(cut + 1, input.size())));
  const auto text = checkEvent(cache(), query, Date{0});
  require(text.starts_with("PASS: ") || text.starts_with("FOUND but PROPERTY MISMATCH: "));
  return 0;
}
