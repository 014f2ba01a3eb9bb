#include "MCP/MCPServer.h"

#include <chrono>
#include <exception>
#include <string>
#include <thread>
#include <utility>

#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "MCP/Catalogue.h"
#include "MCP/JSONRPC.h"
#include "MCP/LineReader.h"
#include "Support/Log.h"
#include "Support/Threads.h"
#include "Tools/ToolHandler.h"

namespace wyvlet {
namespace {

constexpr double kConnectionTimeout = 8.0;
constexpr double kScreenshotTimeout = 5.0;

/// The client's protocol version and capabilities are not asked for: there is one answer.
constexpr std::string_view kInitializeResult =
    R"({"protocolVersion":"2024-11-05","capabilities":{"tools":{}},)"
    R"("serverInfo":{"name":"WyvletMCP","version":"1.0.0"}})";

std::string toolResultJSON(const ToolResult& result) {
  std::string json = R"({"content":[{"type":"text","text":)" + jsonString(result.text) + "}";
  if (result.imageBase64) {
    json += R"(,{"type":"image","data":)" + jsonString(*result.imageBase64) + R"(,"mimeType":"image/png"})";
  }
  return json += "]}";
}

}  // namespace

MCPServer::MCPServer(WyvletClient& theClient, SimulatorBridge& theSim) : client(theClient), sim(theSim) {}

void MCPServer::run(int outputDescriptor) {
  client.startBrowsing();
  // Both threads live as long as the process, and so does this object.
  std::thread([this] {
    nameThread("wyvlet-warmup");
    std::this_thread::sleep_for(std::chrono::seconds(1));
    client.waitForConnection(kConnectionTimeout);
  }).detach();
  std::thread([this, outputDescriptor] {
    nameThread("wyvlet-stdio");
    readStandardInput(outputDescriptor);
  }).detach();
}

void MCPServer::readStandardInput(int outputDescriptor) {
  LineReader lines(0);
  while (const auto line = lines.next()) {
    if (line->empty()) continue;
    if (auto answer = handleLine(*line)) {
      *answer += '\n';
      // A vanished reader is no reason to stop: what was asked is still done.
      writeAll(outputDescriptor, *answer);
    }
  }
}

std::optional<std::string> MCPServer::handleLine(std::string_view line) {
  const auto message = parseMessage(line);
  if (!message) return std::nullopt;
  return handleMessage(*message);
}

std::string MCPServer::handleHTTPMCP(std::string_view body) {
  const auto message = parseMessage(body);
  // On standard input silence is an answer too; here the client waits for one.
  if (!message) return jsonRPCError("null", -32700, "Parse error");
  // What nobody need answer still gets a body: clients of the streamable transport take an empty object as
  // "received", while an error would be reported to their user.
  const bool unanswered = !message->id && !isRequestMethod(message->method);
  if (unanswered) return "{}";
  return handleMessage(*message).value_or("{}");
}

bool MCPServer::isRequestMethod(std::string_view method) {
  return method == "initialize" || method == "tools/list" || method == "tools/call" || method == "ping";
}

std::optional<std::string> MCPServer::handleMessage(const JSONRPCMessage& message) {
  if (message.method == "initialize") return jsonRPC(message.id, kInitializeResult);
  if (message.method == "notifications/initialized") return std::nullopt;
  if (message.method == "tools/list") return jsonRPC(message.id, toolsListResult(sim.isAxeAvailable()));
  if (message.method == "tools/call") return handleToolCall(message);
  if (message.method == "ping") return jsonRPC(message.id, "{}");
  return jsonRPCError(message.id, -32601, "Method not found: " + message.method);
}

std::string MCPServer::handleToolCall(const JSONRPCMessage& message) {
  const auto* name = message.params.if_contains("name");
  const auto* arguments = message.params.if_contains("arguments");
  static const boost::json::object noArguments;
  try {
    const auto result = callTool(
        name != nullptr && name->is_string() ? std::string_view(name->get_string()) : std::string_view(),
        arguments != nullptr && arguments->is_object() ? arguments->get_object() : noArguments);
    return jsonRPC(message.id, toolResultJSON(result));
  } catch (const std::exception& failure) {
    // Memory or threads may run out; that costs this call, not the server.
    logLine(kClientTag, std::string("Tool call failed: ") + failure.what());
    return jsonRPC(message.id, toolResultJSON({std::string("Error: ") + failure.what(), std::nullopt}));
  }
}

ToolResult MCPServer::callTool(std::string_view name, const boost::json::object& args) {
  if (!name.starts_with("wyvlet_")) {
    if (name == "screenshot") {
      auto shot = sim.screenshot();
      return {std::move(shot.text), std::move(shot.imageBase64)};
    }
    return {handleSimulatorTool(name, args), std::nullopt};
  }
  awaitApp(name);
  if (name == "wyvlet_screenshot") {
    auto shot = client.requestScreenshot(kScreenshotTimeout);
    return {std::move(shot.text), std::move(shot.imageBase64)};
  }
  return {ToolHandler::call(name, args, client, sim.defaults().bundleId, &sim), std::nullopt};
}

void MCPServer::awaitApp(std::string_view tool) {
  // A link that broke inside a frame still counts as connected, but only a new one can answer.
  if (ToolHandler::worksWithoutApp(tool) || client.isReady()) return;
  client.waitForConnection(kConnectionTimeout);
}

}  // namespace wyvlet
