// A line as it may come from an agent: whatever is accepted is answered with valid JSON that carries the id
// back, and the parser and the check of the general JSON reader agree on what is a message at all.

#include <algorithm>
#include <boost/json.hpp>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "MCP/JSONRPC.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

/// The same value, but for the last digits of a fraction: the general reader rounds long numbers by where
/// they stand in the text.
bool isSame(const boost::json::value& a, const boost::json::value& b) {
  if (a.is_double() && b.is_double()) {
    return a.get_double() == b.get_double() ||
           std::abs(a.get_double() - b.get_double()) <= std::abs(a.get_double()) * 1e-14;
  }
  if (a.is_array() && b.is_array()) {
    return std::ranges::equal(a.get_array(), b.get_array(), isSame);
  }
  if (a.is_object() && b.is_object()) {
    return std::ranges::equal(a.get_object(), b.get_object(), [](const auto& one, const auto& other) {
      return one.key() == other.key() && isSame(one.value(), other.value());
    });
  }
  return a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  boost::json::parse_options options;
  options.max_depth = 512;
  boost::json::error_code error;
  const auto value = boost::json::parse(line, error, {}, options);
  const bool isObject = !error && value.is_object();

  const auto message = parseMessage(line);
  require(message.has_value() == isObject);
  if (!message) return 0;
  require(message->id.has_value() == value.as_object().contains("id"));
  for (const auto& answer :
       {jsonRPC(message->id, "{}"), jsonRPCError(message->id, -32601, message->method)}) {
    const auto read = boost::json::parse(answer, error, {}, {.max_depth = 600});
    require(!error && read.is_object());
    if (message->id) require(isSame(read.as_object().at("id"), value.as_object().at("id")));
  }
  return 0;
}
