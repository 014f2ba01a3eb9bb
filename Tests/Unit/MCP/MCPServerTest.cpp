#include <gtest/gtest.h>

#include <stdexcept>

#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "MCP/MCPServer.h"
#include "Unit/Android/RecordingRunner.h"

namespace wyvlet {
namespace {

using test::RecordingRunner;

/// A server without an app, whose external commands fail the way a system short of memory does.
class MCPServerTest : public ::testing::Test {
 protected:
  RecordingRunner runner{
      [](const std::string&) -> ProcessOutcome { throw std::runtime_error("no memory left"); }};
  WyvletClient client;
  SimulatorBridge sim{runner};
  MCPServer server{client, sim};
};

TEST_F(MCPServerTest, HTTPIsAnsweredAsStandardInputIs) {
  for (const char* message :
       {R"({"id":1,"method":"initialize"})", R"({"method":"initialize"})", R"({"id":"two","method":"ping"})",
        R"({"method":"ping"})", R"({"id":3,"method":"tools/list","params":[]})",
        R"({"id":4,"method":"resources/list"})",
        R"({"id":5,"method":"tools/call","params":{"name":"session_show_defaults"}})"}) {
    EXPECT_EQ(server.handleLine(message), server.handleHTTPMCP(message)) << message;
  }
}

TEST_F(MCPServerTest, HTTPHasABodyWhereStandardOutputIsSilent) {
  constexpr const char* kInitialized = R"({"jsonrpc":"2.0","method":"notifications/initialized"})";
  EXPECT_EQ(std::nullopt, server.handleLine(kInitialized));
  EXPECT_EQ("{}", server.handleHTTPMCP(kInitialized));
  EXPECT_EQ("{}", server.handleHTTPMCP(R"({"method":"notifications/cancelled"})"));
  for (const char* garbage : {"", "garbage", "[1]", "7"}) {
    EXPECT_EQ(std::nullopt, server.handleLine(garbage)) << garbage;
    EXPECT_EQ(R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})",
              server.handleHTTPMCP(garbage))
        << garbage;
  }
}

TEST_F(MCPServerTest, ACallThatTheSystemFailsIsAText) {
  constexpr const char* kCall = R"({"id":1,"method":"tools/call","params":{"name":"list_sims"}})";
  constexpr const char* kAnswer =
      R"({"jsonrpc":"2.0","id":1,"result":{"content":[{"type":"text","text":"Error: no memory left"}]}})";
  EXPECT_EQ(kAnswer, server.handleLine(kCall));
  EXPECT_EQ(kAnswer, server.handleHTTPMCP(kCall));
}

}  // namespace
}  // namespace wyvlet
