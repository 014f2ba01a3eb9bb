#pragma once

#include <atomic>
#include <boost/json/fwd.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace wyvlet {

class HTTPListener;
class HTTPRequest;
class MCPServer;

/// The local HTTP port: REST routes and MCP over HTTP, one request a connection. Owned by main; lives
/// as long as the process. `routeRequest` and `callTool` may be called from any thread.
class HTTPServer {
 public:
  /// `port` is replaced by the environment variable WYVLET_PORT when that holds a valid number.
  HTTPServer(MCPServer& mcpServer, std::uint16_t port);
  /// Ends the listener and waits for the answers being made.
  ~HTTPServer();

  /// Starts listening in the background and returns; called once. All IPv4 interfaces are listened to,
  /// or the one address that the environment variable WYVLET_HTTP_HOST names. A port that is taken is
  /// one log line, and the HTTP side stays off.
  void start();

  /// The port; the one that the system chose in place of 0 once the server listens.
  std::uint16_t port() const { return port_; }

  /// The JSON text that a route answers. Blocks as long as the tool behind the route does.
  std::string routeRequest(std::string_view method, std::string_view path, std::string_view body);

  /// Runs one tool for a route and returns its text. The `wyvlet_*` tools wait for the app first.
  std::string callTool(std::string_view name, const boost::json::object& args);

 private:
  void startListening();
  std::string respond(const HTTPRequest& request);
  std::string statusJSON() const;

  MCPServer& mcpServer_;
  std::atomic<std::uint16_t> port_;
  std::unique_ptr<HTTPListener> listener_;
  std::thread thread_;
};

}  // namespace wyvlet
