#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Client/CacheSnapshot.h"
#include "Tools/ToolHandler.h"

namespace wyvlet {

/// Sends one free-form command to the app.
using SendRawCommand = std::function<void(std::string_view type, const boost::json::object& payload)>;

/// One call as a row of the tool table sees it: the arguments by name and type, and whom to ask.
/// Lives on the stack of the call; everything it refers to outlives it. Nothing is ever converted: an
/// argument of another type than asked for counts as absent, as does one that is not there.
class ToolCall {
 public:
  ToolCall(const boost::json::object& arguments, WyvletClient& client,
           const std::optional<std::string>& bundleId, SimulatorBridge* sim);
  virtual ~ToolCall() = default;
  ToolCall(const ToolCall&) = delete;
  ToolCall& operator=(const ToolCall&) = delete;

  std::optional<std::string> text(std::string_view name) const;
  std::string text(std::string_view name, std::string_view otherwise) const;

  /// A JSON number with an integral value of 64 bits: 20.0 is 20, while 20.5 and 1e300 are absent.
  std::optional<std::int64_t> integer(std::string_view name) const;
  std::int64_t integer(std::string_view name, std::int64_t otherwise) const;

  double number(std::string_view name, double otherwise) const;
  bool boolean(std::string_view name, bool otherwise) const;

  /// The whole argument map, for the two operations that take it as it stands.
  const boost::json::object& arguments() const { return arguments_; }

  /// What is known of the app now; taken anew by every use.
  CacheSnapshot snapshot() const;
  SendRawCommand sender() const;

  WyvletClient& client;
  const std::optional<std::string>& bundleId;  ///< the app under test, when the session names one
  SimulatorBridge* sim;                        ///< null where there is no device automation
  std::optional<std::string> androidSerial;  ///< the device that an Android variant turns to, when one is set

 protected:
  /// The argument of that name, or null. `type` is what the row is going to read it as.
  virtual const boost::json::value* find(std::string_view name, ArgumentType type) const;

 private:
  const boost::json::object& arguments_;
};

}  // namespace wyvlet
