#pragma once

#include <boost/json/fwd.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// The channel to the Android bridge script: the capture file that the script keeps fresh, and the
/// command file that it reads. Stateless for its callers; the parsed capture and the last screen
/// dump are cached behind it. Any thread.
namespace AndroidCapture {

std::string capturePath();
std::string commandsPath();

/// Whether there is a capture file at all; takes no time, unlike reading one.
bool isPresent();

/// Whether a bridge is live: connected, and its capture younger than 30 seconds.
bool isActive();

/// The answers of the tools that have an Android variant. None blocks on a device but `readPrefs`
/// (one second) and the three screen operations (two adb commands).
std::string status();
std::string networkLogs(std::int64_t limit, const std::optional<std::string>& urlFilter);
std::string requestDetail(std::string_view id);
std::string appLogs(std::int64_t limit, const std::optional<std::string>& level);
std::string assertRequest(std::string_view urlPattern, const std::optional<std::string>& method);
std::string readPrefs(const std::optional<std::string>& prefsName);
std::string addMockRule(const boost::json::object& args);
std::string removeMockRule(std::string_view id);
std::string screenHTML(const std::optional<std::string>& serial);
std::string screenText(const std::optional<std::string>& serial);
std::string findElement(std::string_view text, bool exact, const std::optional<std::string>& serial);

/// Forgets the last screen dump; called after every input that went to the device.
void forgetScreen();

/// A command line of the Android tools, with the SDK's tools first on PATH: its standard output,
/// untrimmed; nothing when it could not be started or the output is not UTF-8. No time limit.
std::optional<std::string> shell(const std::string& command);

}  // namespace AndroidCapture

/// The screen as HTML-like lines, one per labelled node, from a uiautomator dump. Pure.
std::string convertUIXMLToHTML(std::string_view xml);

}  // namespace wyvlet
