#include "HTTP/HTTPServer.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <boost/json.hpp>
#include <exception>
#include <optional>

#include "Android/AndroidCapture.h"
#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "HTTP/HTTPListener.h"
#include "HTTP/HTTPResponse.h"
#include "HTTP/HTTPRoutes.h"
#include "HTTP/HTTPTarget.h"
#include "MCP/JSONRPC.h"
#include "MCP/MCPServer.h"
#include "Support/Environment.h"
#include "Support/Log.h"
#include "Support/Threads.h"
#include "Tools/JSONAccess.h"
#include "Tools/ToolHandler.h"

namespace wyvlet {
namespace {

/// With a short one, a burst of clients overflows it, and whoever is turned away tries again only
/// after a second.
constexpr int kBacklog = 128;

constexpr double kDeviceListTimeout = 30.0;

std::uint16_t portFromEnvironment(std::uint16_t otherwise) {
  const auto port = parseDecimal(environmentVariable("WYVLET_PORT").value_or(""));
  return port && *port >= 0 && *port <= 65535 ? static_cast<std::uint16_t>(*port) : otherwise;
}

/// The address to listen on when not on all; an empty setting is none.
std::optional<std::string> hostFromEnvironment() {
  auto host = environmentVariable("WYVLET_HTTP_HOST");
  return host && !host->empty() ? host : std::nullopt;
}

/// How a client on this machine reaches the server: by name wherever that name leads to it.
std::string hostInURL(const std::optional<std::string>& host) {
  if (!host || *host == "0.0.0.0" || *host == "127.0.0.1" || *host == "::" || *host == "::1")
    return "localhost";
  return host->find(':') == std::string::npos ? *host : "[" + *host + "]";
}

std::string jsonOrNull(const std::optional<std::string>& text) { return text ? jsonString(*text) : "null"; }

std::string resultJSON(std::string_view text) { return R"({"result":)" + jsonString(text) + "}"; }

bool isMCPPost(const HTTPRequest& request) {
  return request.method() == "POST" && pathOf(request.target()) == "/mcp";
}

/// Whether the answer needs neither app nor device, nor a capture, which may take long to read.
bool respondsAtOnce(const HTTPRequest& request) {
  if (request.method() == "OPTIONS") return true;
  if (isMCPPost(request)) return false;
  const auto* route = findRoute(request.method(), request.target());
  return route == nullptr || (route->action == HTTPAction::Status && !AndroidCapture::isPresent());
}

std::string swipe(const SimulatorBridge& sim, const boost::json::object& args) {
  const auto x1 = coordinateMember(args, "x1");
  const auto y1 = coordinateMember(args, "y1");
  const auto x2 = coordinateMember(args, "x2");
  const auto y2 = coordinateMember(args, "y2");
  if (!x1 || !y1 || !x2 || !y2) return "Error: swipe requires x1,y1,x2,y2 coordinates";
  return sim.swipe(*x1, *y1, *x2, *y2, numberMember(args, "duration"));
}

std::string typeText(const SimulatorBridge& sim, const std::string& text) {
  if (sim.defaults().isAndroidMode()) return sim.adbType(text);
  const auto udid = sim.resolveUDID();
  if (!udid) return "Error: no simulator configured";
  return sim.runAxe({"type", text, "--udid", *udid});
}

std::string devicesJSON(const SimulatorBridge& sim) {
  const auto output = sim.shell("xcrun simctl list devices available -j", kDeviceListTimeout);
  return output && parseJSON(*output) ? *output : R"({"error":"simctl not available"})";
}

std::string screenshotJSON(const SimulatorBridge& sim) {
  const auto shot = sim.screenshot();
  return fmt::format(R"({{"text":{},"image":{}}})", jsonString(shot.text), jsonOrNull(shot.imageBase64));
}

}  // namespace

HTTPServer::HTTPServer(MCPServer& mcpServer, std::uint16_t port)
    : mcpServer_(mcpServer),
      port_(portFromEnvironment(port)),
      listener_(std::make_unique<HTTPListener>(HTTPListener::Handler{
          [this](const HTTPRequest& request) { return respond(request); }, respondsAtOnce})) {}

HTTPServer::~HTTPServer() {
  listener_->stop();
  if (thread_.joinable()) thread_.join();
}

void HTTPServer::start() {
  thread_ = std::thread([this] {
    nameThread("wyvlet-http");
    startListening();
  });
}

void HTTPServer::startListening() {
  const auto host = hostFromEnvironment();
  const auto address = ListenAddress::parse(host, port_);
  if (!address) {
    // Listening everywhere instead would open what the user meant to close.
    logLine(kHTTPTag, "WYVLET_HTTP_HOST is not an IP address: " + *host);
    return;
  }
  auto socket = makeListeningSocket(address->family());
  if (!socket || !listener_->isUsable()) {
    logLine(kHTTPTag, "Failed to create socket");
    return;
  }
  if (!address->bind(socket.fd()) || ::listen(socket.fd(), kBacklog) != 0) {
    logLine(kHTTPTag, fmt::format("Failed to bind port {}", port()));
    return;
  }
  const auto bound = boundPort(socket.fd());
  logLine(kHTTPTag, fmt::format("Listening on http://{}:{}", hostInURL(host), bound));
  port_ = bound;
  listener_->serve(std::move(socket));
}

std::string HTTPServer::respond(const HTTPRequest& request) {
  try {
    if (request.method() == "OPTIONS") return preflightResponse();
    if (isMCPPost(request)) return jsonResponse(mcpServer_.handleHTTPMCP(request.body()));
    return jsonResponse(routeRequest(request.method(), request.target(), request.body()));
  } catch (const std::exception& failure) {
    // Memory may run out over a hostile body; that costs this request and no other.
    logLine(kHTTPTag,
            fmt::format("Failed to answer a request of {} bytes: {}", request.body().size(), failure.what()));
    return jsonResponse(R"({"error":"Internal error"})");
  }
}

std::string HTTPServer::routeRequest(std::string_view method, std::string_view path, std::string_view body) {
  const auto* route = findRoute(method, path);
  if (route == nullptr) return notFoundJSON(method, path);
  const auto arguments = route->argumentsOf(path, body);
  switch (route->action) {
    case HTTPAction::Status: return statusJSON();
    case HTTPAction::Devices: return devicesJSON(mcpServer_.sim);
    case HTTPAction::SetDefaults: return resultJSON(mcpServer_.sim.setDefaults(arguments));
    case HTTPAction::Screenshot: return screenshotJSON(mcpServer_.sim);
    case HTTPAction::CallTool: break;
  }
  return resultJSON(callTool(route->tool, arguments));
}

std::string HTTPServer::callTool(std::string_view name, const boost::json::object& args) {
  auto& sim = mcpServer_.sim;
  if (name.starts_with("wyvlet_")) {
    mcpServer_.awaitApp(name);
    return ToolHandler::call(name, args, mcpServer_.client, sim.defaults().bundleId, &sim);
  }
  if (name == "tap") {
    return sim.tap(coordinateMember(args, "x"), coordinateMember(args, "y"), textMember(args, "label"),
                   std::nullopt, numberMember(args, "postDelay"));
  }
  if (name == "swipe") return swipe(sim, args);
  if (name == "type_text") return typeText(sim, textMember(args, "text").value_or(""));
  if (name == "button") {
    return sim.button(textMember(args, "buttonType").value_or("home"), numberMember(args, "duration"));
  }
  return "Unknown tool: " + std::string(name);
}

std::string HTTPServer::statusJSON() const {
  const auto defaults = mcpServer_.sim.defaults();
  const bool android = defaults.isAndroidMode() || AndroidCapture::isActive();
  return fmt::format(R"({{"status":"ok","server":"WyvletMCP","port":{},"android":{},"simulatorId":{},)"
                     R"("bundleId":{},"wyvletConnected":{}}})",
                     port(), android, jsonOrNull(defaults.simulatorId), jsonOrNull(defaults.bundleId),
                     mcpServer_.client.isConnected());
}

}  // namespace wyvlet
