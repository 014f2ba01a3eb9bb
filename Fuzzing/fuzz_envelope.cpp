// A frame's body, read as an envelope and compared with what a general JSON parser makes of it.

#include <boost/json.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "WyvletShared/Base64.h"
#include "WyvletShared/CompanionMessage.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

/// The body as a message in free form, when it is one.
std::optional<RawMessage> readGenerally(const boost::json::value& json) {
  const boost::json::object* object = json.if_object();
  if (object == nullptr) return std::nullopt;
  const boost::json::value* type = object->if_contains("type");
  const boost::json::value* payload = object->if_contains("payload");
  if (type == nullptr || !type->is_string() || payload == nullptr || !payload->is_string())
    return std::nullopt;
  const std::optional<std::string> bytes = decodeBase64(std::string_view(payload->get_string()));
  if (!bytes) return std::nullopt;
  return RawMessage{std::string(type->get_string()), Bytes{*bytes}, Date{}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  const ReceivedMessage received = decodeEnvelope(body);

  require(!(received.registered && received.free));
  require((received.registered || received.free) == received.reason.empty());
  require(received.reason.size() < 200 && received.reason.find_first_of("\r\n") == std::string::npos);

  if (received.registered) {
    const ReceivedMessage again =
        decodeEnvelope(encodeEnvelope(*received.registered, DateEpoch::Unix1970), DateEpoch::Unix1970);
    require(again.registered == received.registered);
  }
  if (received.free) {
    const ReceivedMessage again = decodeEnvelope(encodeEnvelope(*received.free));
    const bool isRegistered = messageType(received.free->type).has_value();
    require(isRegistered ? again.registered && again.registered->payload == received.free->payload
                         : again.free == received.free);
  }

  boost::json::error_code error;
  boost::json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  const boost::json::value json =
      boost::json::parse({body.data(), body.size()}, error, boost::json::storage_ptr(), options);
  // A number of huge exponent is JSON all the same, though that parser stops at it.
  if (error == boost::json::error::exponent_overflow) return 0;
  const std::optional<RawMessage> expected = error ? std::nullopt : readGenerally(json);
  require(expected.has_value() == (received.registered || received.free));
  if (!expected) return 0;
  require((received.free ? received.free->type : rawString(received.registered->type)) == expected->type);
  require((received.free ? received.free->payload : received.registered->payload) == expected->payload);
  return 0;
}
