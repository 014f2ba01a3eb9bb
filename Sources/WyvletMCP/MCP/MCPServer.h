#pragma once

#include <boost/json/fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

class SimulatorBridge;
class WyvletClient;
struct JSONRPCMessage;

/// What a tool call brought: the text, and a picture on the two screenshot paths.
struct ToolResult {
  std::string text;
  std::optional<std::string> imageBase64;  ///< PNG
};

/// The Model Context Protocol server: reads JSON-RPC, routes tool calls, writes answers. Owned by
/// main and shared with the HTTP server; client and bridge outlive it. Everything but `run()` may be
/// called from any thread, any number of calls at once; a tool call blocks its thread while it waits
/// for the app (at most 13 seconds to connect) or for a device command.
class MCPServer {
 public:
  MCPServer(WyvletClient& client, SimulatorBridge& sim);

  /// Starts browsing, the warm-up one second later and the loop over standard input, each on a
  /// thread of its own, and returns. `outputDescriptor` is where the answers go. Called once.
  void run(int outputDescriptor);

  /// The answer to one JSON-RPC message without its line feed; nothing when the line is unparsable or
  /// the message is one that gets no answer.
  std::optional<std::string> handleLine(std::string_view line);

  /// The answer to one JSON-RPC message posted over HTTP; never empty.
  std::string handleHTTPMCP(std::string_view body);

  /// Runs any tool by name, waiting for the app first where the tool needs it. Throws only what the
  /// system's shortage of memory or threads makes it throw.
  ToolResult callTool(std::string_view name, const boost::json::object& args);

  /// Waits for the app unless it is there or the tool does not need it.
  void awaitApp(std::string_view tool);

  WyvletClient& client;
  SimulatorBridge& sim;

 private:
  void readStandardInput(int outputDescriptor);
  std::optional<std::string> handleMessage(const JSONRPCMessage& message);
  std::string handleToolCall(const JSONRPCMessage& message);
  static bool isRequestMethod(std::string_view method);
  /// The session and simulator tools; defined in SimulatorTools.cpp.
  std::string handleSimulatorTool(std::string_view name, const boost::json::object& args);
};

}  // namespace wyvlet
