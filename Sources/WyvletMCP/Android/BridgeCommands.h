#pragma once

#include <boost/json/fwd.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Android/CaptureFile.h"

namespace wyvlet {

/// What the server asks of the Android bridge by way of the command file, which holds one command at
/// a time: a newer one replaces one that the bridge has not read yet.

/// A mock rule for the bridge.
struct AndroidMockRule {
  std::string ruleId;
  std::string urlPattern;
  std::int64_t statusCode = 200;
  std::string responseBody;
  std::string name;
  std::optional<std::string> method;  // absent: any
};

/// The rule that a tool's arguments describe; nothing without a "url_pattern". Pure.
std::optional<AndroidMockRule> mockRuleFromArguments(const boost::json::object& args, std::string ruleId);

/// The commands as the bridge reads them. Pure.
boost::json::object addMockRuleCommand(const AndroidMockRule& rule);
boost::json::object removeMockRuleCommand(std::string_view ruleId);
boost::json::object readPrefsCommand(const std::optional<std::string>& prefsName);

/// "Mock rule added: NAME (METHOD PATTERN → STATUS)" and the id by which it can be removed. Pure.
std::string formatMockRuleAdded(const AndroidMockRule& rule);

/// Where the two files of the exchange are.
struct BridgeFiles {
  std::string capture;
  std::string commands;
};

/// Makes `command` the content of the command file. Nothing when that worked, else the sentence for
/// the agent.
std::optional<std::string> sendCommand(const BridgeFiles& files, const boost::json::object& command);

/// Asks the bridge for the app's preferences, leaves it `patience` to answer and lists what the
/// capture holds then: the bridge gives no sign of when it has answered. Blocks for that long.
std::string requestPrefs(const BridgeFiles& files, CaptureFile& captureFile,
                         const std::optional<std::string>& prefsName, std::chrono::milliseconds patience);

}  // namespace wyvlet
