#include "Tools/ToolCall.h"

#include <boost/json.hpp>

#include "Client/WyvletClient.h"
#include "Tools/JSONAccess.h"

namespace wyvlet {

ToolCall::ToolCall(const boost::json::object& arguments, WyvletClient& theClient,
                   const std::optional<std::string>& theBundleId, SimulatorBridge* theSim)
    : client(theClient), bundleId(theBundleId), sim(theSim), arguments_(arguments) {}

const boost::json::value* ToolCall::find(std::string_view name, ArgumentType /*type*/) const {
  return arguments_.if_contains(name);
}

std::optional<std::string> ToolCall::text(std::string_view name) const {
  const auto* value = find(name, ArgumentType::String);
  if (value == nullptr || !value->is_string()) return std::nullopt;
  return std::string(value->get_string());
}

std::string ToolCall::text(std::string_view name, std::string_view otherwise) const {
  return text(name).value_or(std::string(otherwise));
}

std::optional<std::int64_t> ToolCall::integer(std::string_view name) const {
  const auto* value = find(name, ArgumentType::Number);
  return value == nullptr ? std::nullopt : integralNumber(*value);
}

std::int64_t ToolCall::integer(std::string_view name, std::int64_t otherwise) const {
  return integer(name).value_or(otherwise);
}

double ToolCall::number(std::string_view name, double otherwise) const {
  const auto* value = find(name, ArgumentType::Number);
  return value != nullptr && value->is_number() ? value->to_number<double>() : otherwise;
}

bool ToolCall::boolean(std::string_view name, bool otherwise) const {
  const auto* value = find(name, ArgumentType::Boolean);
  return value != nullptr && value->is_bool() ? value->get_bool() : otherwise;
}

CacheSnapshot ToolCall::snapshot() const { return client.snapshot(); }

SendRawCommand ToolCall::sender() const {
  return [this](std::string_view type, const boost::json::object& payload) {
    client.sendRawCommand(type, payload);
  };
}

}  // namespace wyvlet
