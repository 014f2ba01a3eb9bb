// A line as it may come from an agent: whatever is accepted is answered with valid JSON that carries the id
// back, and the parser and the check of the general JSON reader agree on what is a message at all.

#include <boost/json.hpp>
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
    if (message->id) require(read.as_object().at("id") == value.as_object().at("id"));
  }
  return 0;
}
