// JSON text read as a record, written and read again, and judged beside a general JSON parser.
//
// The input's first byte chooses the record; the rest is the text.

#include <boost/json.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/RecordList.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

enum class Verdict { JSON, NotJSON, Unknown };

Verdict judge(std::string_view text) {
  boost::json::error_code error;
  boost::json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  boost::json::parse({text.data(), text.size()}, error, boost::json::storage_ptr(), options);
  // A number of huge exponent is JSON all the same, though that parser stops at it.
  if (error == boost::json::error::exponent_overflow) return Verdict::Unknown;
  return error ? Verdict::NotJSON : Verdict::JSON;
}

template <class Value>
void check(std::string_view text) {
  const Verdict verdict = judge(text);
  const Result<Value> value = decodeRecord<Value>(text);
  if (!value) {
    const std::string& reason = value.reason();
    require(!reason.empty() && reason.size() < 300 && reason.find_first_of("\r\n") == std::string::npos);
    if (reason.find(": not valid JSON: ") != std::string::npos) require(verdict != Verdict::JSON);
    return;
  }
  require(verdict != Verdict::NotJSON);
  const std::string written = encodeRecord(*value);
  require(judge(written) == Verdict::JSON);
  const Result<Value> again = decodeRecord<Value>(written);
  require(again && *again == *value);
}

using Check = void (*)(std::string_view);

#define WYVLET_CHECK(Record) &check<Record>,
constexpr Check kChecks[] = {WYVLET_FOR_EVERY_RECORD(WYVLET_CHECK)
                                 WYVLET_CHECK(std::vector<TransferableQAResult>)};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  kChecks[data[0] % std::size(kChecks)](std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1));
  return 0;
}
