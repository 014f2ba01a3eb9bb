#pragma once

#include <atomic>
#include <boost/json/fwd.hpp>
#include <cstdint>
#include <string>
#include <string_view>

namespace wyvlet {

class MCPServer;

/// The local HTTP port: REST routes and MCP over HTTP, one request a connection. Owned by main; lives
/// as long as the process. `routeRequest` and `callTool` may be called from any thread.
class HTTPServer {
 public:
  /// `port` is replaced by the environment variable WYVLET_PORT when that holds a valid number.
  HTTPServer(MCPServer& mcpServer, std::uint16_t port);

  /// Starts listening in the background and returns. A port that is taken is one log line, and the
  /// HTTP side stays off.
  void start();

  std::uint16_t port() const { return port_; }

  /// The JSON text that a route answers.
  std::string routeRequest(std::string_view method, std::string_view path, std::string_view body);

  /// Runs one tool for a route and returns its text.
  std::string callTool(std::string_view name, const boost::json::object& args);

 private:
  void startListening();
  void handleClient(int fd);

  MCPServer& mcpServer_;
  int serverSocket_ = -1;
  std::uint16_t port_;
  std::atomic<bool> running_ = false;
};

}  // namespace wyvlet
