#pragma once

#include <boost/json/object.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// One JSON-RPC message as it came in. What is missing or of another type has its neutral value.
struct JSONRPCMessage {
  /// The id's own JSON text, so that it goes back exactly as it came: numbers beyond any integer
  /// type and "1.50" included. Absent stays absent.
  std::optional<std::string> id;
  std::string method;
  boost::json::object params;
};

/// Reads one message: strict JSON with an object at the top, nesting up to 512, valid UTF-8. Nothing
/// when the text is anything else. Never throws.
std::optional<JSONRPCMessage> parseMessage(std::string_view text);

/// The envelopes of an answer. `result` is JSON text.
std::string jsonRPC(const std::optional<std::string>& id, std::string_view result);
std::string jsonRPCError(const std::optional<std::string>& id, int code, std::string_view message);

/// `text` as a JSON string, quotes included; ill-formed UTF-8 is replaced, so that the answer is
/// always valid JSON.
std::string jsonString(std::string_view text);

}  // namespace wyvlet
