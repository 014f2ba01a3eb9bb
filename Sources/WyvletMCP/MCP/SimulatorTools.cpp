#include "MCP/SimulatorTools.h"

#include <boost/json/object.hpp>
#include <charconv>
#include <chrono>
#include <string>
#include <thread>

#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "MCP/MCPServer.h"
#include "Support/Text.h"
#include "Tools/JSONAccess.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet {
namespace {

using enum ArgumentType;

constexpr double kConnectionTimeout = 8.0;
constexpr double kQuestionTimeout = 3.0;
/// What a launched app is given before the server looks for it.
constexpr std::chrono::seconds kLaunchPause{2};

constexpr const char* kNoAxe = "Simulator tools not available — AXe binary not found";
constexpr const char* kNoSimulator = "Error: no simulator configured";

/// One call: the arguments by name and type, and whom to ask. An argument of another type than asked
/// for counts as absent.
struct SimulatorCall {
  const boost::json::object& args;
  WyvletClient& client;
  SimulatorBridge& sim;
  SessionDefaults session;

  std::optional<std::string> text(std::string_view name) const { return textMember(args, name); }

  /// The same, but an empty text counts as absent.
  std::optional<std::string> filledText(std::string_view name) const {
    auto value = text(name);
    return value && !value->empty() ? value : std::nullopt;
  }

  std::optional<double> number(std::string_view name) const { return numberMember(args, name); }
  std::optional<long long> coordinate(std::string_view name) const { return coordinateMember(args, name); }

  bool flag(std::string_view name) const {
    const auto* value = args.if_contains(name);
    return value != nullptr && value->is_bool() && value->get_bool();
  }
};

/// One tool: all there is to know about it before its code.
struct SimulatorTool {
  ToolDefinition definition;
  std::string (*call)(const SimulatorCall& call);
};

std::string setDefaults(const SimulatorCall& call) {
  auto answer = call.sim.setDefaults(call.args);
  if (call.text("connectMode") != "usb") return answer;
  call.client.forceDisconnect();
  const bool connected = call.client.connectDirectTCP("127.0.0.1", kDirectPort, kConnectionTimeout);
  return answer + (connected ? "\nConnected via USB tunnel"
                             : "\nUSB tunnel connection failed — ensure app is running and iproxy is active");
}

std::string tap(const SimulatorCall& call) {
  auto x = call.coordinate("x");
  auto y = call.coordinate("y");
  const auto postDelay = call.number("postDelay");
  if (call.session.isAndroidMode()) return call.sim.tap(x, y, std::nullopt, std::nullopt, postDelay);

  if (!x || !y) {
    const auto label = call.filledText("label");
    const auto center =
        label ? firstElementCenter(call.client.requestFindElement(*label, false, kQuestionTimeout))
              : std::nullopt;
    if (!center) return "No tap target — provide x,y coordinates or label";
    x = center->x;
    y = center->y;
  }
  if (!call.sim.isAxeAvailable()) return kNoAxe;
  return call.sim.tap(x, y, std::nullopt, std::nullopt, postDelay);
}

std::string swipe(const SimulatorCall& call) {
  const auto x1 = call.coordinate("x1");
  const auto y1 = call.coordinate("y1");
  const auto x2 = call.coordinate("x2");
  const auto y2 = call.coordinate("y2");
  if (!x1 || !y1 || !x2 || !y2) return "Error: swipe requires x1,y1,x2,y2 coordinates";
  if (!call.session.isAndroidMode() && !call.sim.isAxeAvailable()) return kNoAxe;
  return call.sim.swipe(*x1, *y1, *x2, *y2, call.number("duration"));
}

std::string typeText(const SimulatorCall& call) {
  const auto text = call.text("text").value_or("");
  if (call.session.isAndroidMode()) return call.sim.adbType(text);
  if (call.client.isConnected()) return call.client.requestTypeText(text, kQuestionTimeout);
  const auto udid = call.sim.resolveUDID();
  if (!udid) return "Type not available — Wyvlet SDK not connected";
  if (!call.sim.isAxeAvailable()) return kNoAxe;
  return call.sim.runAxe({"type", text, "--udid", *udid});
}

std::string touch(const SimulatorCall& call) {
  const auto x = call.coordinate("x");
  const auto y = call.coordinate("y");
  const auto delay = call.number("delay");
  if (call.session.isAndroidMode()) {
    // A long press is a swipe that stays where it is.
    if (x && y && delay) return call.sim.adbSwipe(*x, *y, *x, *y, delay);
    return call.sim.adbTap(x, y, std::nullopt);
  }
  if (!x || !y) return "Error: touch requires x,y coordinates";
  if (!call.sim.isAxeAvailable()) return kNoAxe;
  const auto udid = call.sim.resolveUDID();
  if (!udid) return kNoSimulator;

  std::vector<std::string> arguments = {"touch",  "-x", std::to_string(*x), "-y", std::to_string(*y),
                                        "--udid", *udid};
  if (call.flag("down")) arguments.emplace_back("--down");
  if (delay) arguments.insert(arguments.end(), {"--delay", fixedText(*delay, 1)});
  if (call.flag("up")) arguments.emplace_back("--up");
  return call.sim.runAxe(arguments);
}

std::string launchApp(const SimulatorCall& call) {
  const auto bundleId = call.filledText("bundleId");
  const auto app = bundleId ? bundleId : call.session.bundleId;
  const auto udid = call.filledText("simulatorId");
  const bool injectProbe = call.flag("inject_probe");
  // Nothing is going to be launched, so the link is left alone and nobody waits.
  if (!app) return call.sim.launchApp("", udid, injectProbe);
  call.client.forceDisconnect();
  auto answer = call.sim.launchApp(*app, udid, injectProbe);
  std::this_thread::sleep_for(kLaunchPause);
  call.client.waitForConnection(kConnectionTimeout);
  return answer;
}

std::string stopApp(const SimulatorCall& call) {
  const auto udid = call.sim.resolveUDID();
  if (!udid) return kNoSimulator;
  const auto bundleId = call.filledText("bundleId");
  const auto app = bundleId ? bundleId : call.session.bundleId;
  if (!app) return call.sim.stopApp("", udid);
  call.client.forceDisconnect();
  return call.sim.stopApp(*app, udid);
}

std::string listSimulators(const SimulatorCall& call) {
  return call.sim.shell("xcrun simctl list devices available -j", kDeviceCommandTimeout)
      .value_or("Error: simctl not available");
}

std::string openSimulator(const SimulatorCall& call) {
  call.sim.shell("open -a Simulator", kDeviceCommandTimeout);
  return "Simulator.app opened";
}

std::string describeUI(const SimulatorCall& call) {
  if (!call.sim.isAxeAvailable()) return kNoAxe;
  const auto udid = call.sim.resolveUDID();
  if (!udid) return kNoSimulator;
  return call.sim.runAxe({"describe-ui", "--udid", *udid});
}

std::string button(const SimulatorCall& call) {
  if (!call.session.isAndroidMode() && !call.sim.isAxeAvailable()) return kNoAxe;
  return call.sim.button(call.text("buttonType").value_or("home"), call.number("duration"));
}

/// The rows in the agent's order.
const std::vector<SimulatorTool>& simulatorTools() {
  static const std::vector<SimulatorTool> tools = {
      {{"session_set_defaults",
        "Set simulator and app defaults for this session",
        {{"simulatorId", String, "Simulator UDID (iOS)"},
         {"bundleId", String, "App bundle identifier"},
         {"scheme", String, "Xcode scheme name"},
         {"connectMode", String,
          "'bonjour' (default) or 'usb' (direct TCP on port 54321 for real device via USB tunnel)"},
         {"androidSerial", String,
          "Android emulator serial (e.g. emulator-5554). When set, routes screenshot/tap/swipe through "
          "ADB."}}},
       setDefaults},
      {{"session_show_defaults", "Show current session defaults", {}},
       [](const SimulatorCall& call) { return call.sim.showDefaults(); }},
      {{"tap",
        "Tap on screen by coordinates or accessibility label",
        {{"x", Number, "X coordinate"},
         {"y", Number, "Y coordinate"},
         {"label", String, "Tap element by accessibility label (alternative to x,y)"},
         {"postDelay", Number, "Delay after tap in seconds"}}},
       tap},
      {{"swipe",
        "Swipe gesture from one point to another",
        {{"x1", Number, "Start X"},
         {"y1", Number, "Start Y"},
         {"x2", Number, "End X"},
         {"y2", Number, "End Y"},
         {"duration", Number, "Swipe duration in seconds"}}},
       swipe},
      {{"type_text", "Type text into the focused field", {{"text", String, "Text to type"}}}, typeText},
      {{"touch",
        "Precise touch down/up events for toggles and long press",
        {{"x", Number, "X coordinate"},
         {"y", Number, "Y coordinate"},
         {"down", Boolean, "Perform touch down"},
         {"up", Boolean, "Perform touch up"},
         {"delay", Number, "Delay between down and up (for long press)"}}},
       touch},
      // The router answers this one itself, with the picture.
      {{"screenshot", "Take a simulator screenshot", {}},
       [](const SimulatorCall& call) { return call.sim.screenshot().text; }},
      {{"launch_app_sim",
        "Launch an app on the simulator. Set inject_probe=true for apps WITHOUT Wyvlet SDK to enable network "
        "logs and UI inspection.",
        {{"bundleId", String, "Bundle identifier (uses default if not set)"},
         {"simulatorId", String, "Simulator UDID (uses default if not set)"},
         {"inject_probe", Boolean,
          "Inject WyvletProbe for deep inspection (network, UI, logs) without SDK integration"}}},
       launchApp},
      {{"stop_app_sim", "Stop a running app", {{"bundleId", String, "Bundle identifier"}}}, stopApp},
      {{"list_sims", "List available simulators", {}}, listSimulators},
      {{"boot_sim", "Boot a simulator", {{"simulatorId", String, "Simulator UDID to boot"}}},
       [](const SimulatorCall& call) { return call.sim.boot(call.filledText("simulatorId")); }},
      {{"open_sim", "Open the Simulator.app window", {}}, openSimulator},
      {{"snapshot_ui", "Get accessibility tree of the simulator screen", {}}, describeUI},
      {{"button",
        "Press a hardware button (home, lock, siri)",
        {{"buttonType", String, "Button: home, lock, siri, side-button, apple-pay"},
         {"duration", Number, "Hold duration in seconds"}}},
       button},
  };
  return tools;
}

/// Reads fixed pieces and integers off the front of a text.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool take(std::string_view piece) {
    if (!text_.starts_with(piece)) return false;
    text_.remove_prefix(piece.size());
    return true;
  }

  bool take(long long& value) {
    const auto [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), value);
    if (error != std::errc()) return false;
    text_.remove_prefix(static_cast<std::size_t>(end - text_.data()));
    return true;
  }

  bool atEnd() const { return text_.empty(); }

 private:
  std::string_view text_;
};

/// The point at the end of a line such as `  Button "Pay" at (20,30) 200x28 center=(120,44) [BUTTON]`.
std::optional<ScreenPoint> centerAtEnd(std::string_view line) {
  constexpr std::string_view kButton = " [BUTTON]";
  if (line.ends_with(kButton)) line.remove_suffix(kButton.size());
  const auto frame = line.rfind("\" at (");
  if (frame == std::string_view::npos) return std::nullopt;
  Scanner rest(line.substr(frame));
  long long x = 0, y = 0, width = 0, height = 0;
  ScreenPoint center{};
  const bool whole = rest.take("\" at (") && rest.take(x) && rest.take(",") && rest.take(y) &&
                     rest.take(") ") && rest.take(width) && rest.take("x") && rest.take(height) &&
                     rest.take(" center=(") && rest.take(center.x) && rest.take(",") && rest.take(center.y) &&
                     rest.take(")") && rest.atEnd();
  return whole ? std::optional(center) : std::nullopt;
}

}  // namespace

std::vector<ToolDefinition> simulatorToolDefinitions() {
  std::vector<ToolDefinition> definitions;
  for (const auto& tool : simulatorTools()) definitions.push_back(tool.definition);
  return definitions;
}

std::optional<ScreenPoint> firstElementCenter(std::string_view findAnswer) {
  bool inResults = false;
  for (const auto line : split(findAnswer, "\n")) {
    if (!inResults) {
      inResults = line.starts_with("Found ") && line.find(" match(es) for \"") != std::string_view::npos;
    } else if (const auto center = centerAtEnd(line)) {
      // A label that holds a line feed spreads its element over several lines; the centre ends the last.
      return center;
    }
  }
  return std::nullopt;
}

std::string MCPServer::handleSimulatorTool(std::string_view name, const boost::json::object& args) {
  for (const auto& tool : simulatorTools()) {
    if (tool.definition.name == name) return tool.call({args, client, sim, sim.defaults()});
  }
  return "Unknown tool: " + std::string(name);
}

}  // namespace wyvlet
