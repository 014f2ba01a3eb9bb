// The JSON-RPC loop of the real server, through its pipes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "EndToEnd/Harness.h"

namespace wyvlet::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(Stdio, InitializeAnswersAtOnce) {
  Server server;
  server.sendLine(
      R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2099-01-01"}})");
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":1,"result":{"protocolVersion":"2024-11-05","capabilities":{"tools":{}},)"
            R"("serverInfo":{"name":"WyvletMCP","version":"1.0.0"}}})",
            server.readLine());
}

TEST(Stdio, AnswersComeInOrderWithTheirIds) {
  Server server;
  server.sendLine(R"({"jsonrpc":"2.0","id":99999999999999999999,"method":"ping"})");
  server.sendLine(R"({"jsonrpc":"2.0","id":1.50,"method":"ping"})");
  server.sendLine(R"({"jsonrpc":"2.0","id":null,"method":"ping"})");
  server.sendLine(R"({"jsonrpc":"2.0","method":"ping"})");
  server.sendLine(R"({"id":"abc","method":"ping"})");
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":99999999999999999999,"result":{}})", server.readLine());
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":1.50,"result":{}})", server.readLine());
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":null,"result":{}})", server.readLine());
  EXPECT_EQ(R"({"jsonrpc":"2.0","result":{}})", server.readLine());
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":"abc","result":{}})", server.readLine());
}

TEST(Stdio, NotificationsAndGarbageAreSilent) {
  Server server;
  for (const char* line :
       {"", "garbage", "[1,2]", "5", "null", "{\"a\":1,}", "{\"id\":1,\"method\":\"ping\"",
        "{\"id\":1,\"method\":\"pi\xFFng\"}", R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
        R"({"jsonrpc":"2.0","id":4,"method":"notifications/initialized"})"}) {
    server.sendLine(line);
  }
  server.sendLine(R"({"id":2,"method":"ping"})");
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":2,"result":{}})", server.readLine());
}

TEST(Stdio, UnknownMethodsAreErrors) {
  Server server;
  server.sendLine(R"({"id":1,"method":"resources/list"})");
  server.sendLine(R"({"method":"notifications/cancelled"})");
  server.sendLine(R"({"id":2,"method":7})");
  EXPECT_EQ(
      R"({"jsonrpc":"2.0","id":1,"error":{"code":-32601,"message":"Method not found: resources/list"}})",
      server.readLine());
  EXPECT_EQ(
      R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found: notifications/cancelled"}})",
      server.readLine());
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":2,"error":{"code":-32601,"message":"Method not found: "}})",
            server.readLine());
}

TEST(Stdio, EndOfInputEndsOnlyTheLoop) {
  Server server;
  ASSERT_TRUE(waitForPort(8686));
  server.sendLine(R"({"id":1,"method":"ping"})");
  server.process().closeInput();
  EXPECT_TRUE(server.readLine());
  EXPECT_FALSE(server.process().waitForExit(0.3));
  EXPECT_THAT(httpExchange("GET /status HTTP/1.1\r\n\r\n"), HasSubstr("\"status\":\"ok\""));
}

TEST(Stdio, SigintEndsItCleanly) {
  Server server;
  server.request("ping");
  server.process().signal(SIGINT);
  EXPECT_EQ(0, server.process().waitForExit());
}

TEST(Stdio, ToolsAppearWithAxe) {
  const auto home = homeDirectoryOfTest();
  Server server;
  EXPECT_THAT(server.log(), Not(HasSubstr("AXe found")));
  auto listed = server.request("tools/list").at("result").at("tools").as_array();
  EXPECT_EQ(36u, listed.size());

  const std::filesystem::path bundled = home + "/Documents/kestrow/WyvletMCP/Bundled";
  std::filesystem::create_directories(bundled);
  std::ofstream(bundled / "axe") << "#!/bin/sh\n";
  std::filesystem::permissions(bundled / "axe", std::filesystem::perms::owner_all);
  listed = server.request("tools/list").at("result").at("tools").as_array();
  EXPECT_EQ(50u, listed.size());
  EXPECT_EQ("button", listed.back().at("name").as_string());
}

TEST(Stdio, UnknownToolsAreTexts) {
  Server server;
  EXPECT_EQ("Unknown tool: fly", server.call("fly"));
  server.sendLine(R"({"id":77,"method":"tools/call","params":{"name":5,"arguments":[]}})");
  EXPECT_EQ(R"({"jsonrpc":"2.0","id":77,"result":{"content":[{"type":"text","text":"Unknown tool: "}]}})",
            server.readLine());
}

TEST(Stdio, ConnectionFreeToolsDoNotWait) {
  Server server;
  EXPECT_EQ("No crash log found. The app may not have crashed, or the crash handler was not installed.",
            server.call("wyvlet_get_crash_log"));
  EXPECT_EQ("Error: scheme is required. Set it with session_set_defaults or pass it as an argument.",
            server.call("wyvlet_rebuild_app"));
  EXPECT_THAT(server.log(), Not(HasSubstr("Waiting for sync")));
}

TEST(Stdio, NobodyHasToReadTheLog) {
  Server server({.readErrors = false});
  ScriptedApp app;
  server.connect();
  for (int i = 0; i < 5000; ++i) {
    TransferableLogEntry entry;
    entry.level = "INFO";
    entry.category = "Flood";
    entry.message = std::to_string(i);
    app.sends(CompanionMessageType::eventLog, entry);
  }
  EXPECT_TRUE(eventually([&] {
    return server.call("wyvlet_get_app_logs", {{"limit", 1}}).find("[INFO] [Flood] 4999") !=
           std::string::npos;
  }));
  server.process().startReadingErrors();
}

TEST(Stdio, AnAgentThatReadsLateLosesNothing) {
  Server server({.readOutput = false});
  constexpr int kRequests = 2000;  // the listings overflow any pipe
  std::thread asking([&] {
    for (int i = 0; i < kRequests; ++i) {
      server.sendLine(R"({"id":)" + std::to_string(i) + R"(,"method":"tools/list"})");
    }
  });
  ASSERT_TRUE(waitForPort(8686));
  EXPECT_THAT(httpExchange("GET /status HTTP/1.1\r\n\r\n"), HasSubstr("\"status\":\"ok\""));
  server.process().startReadingOutput();
  for (int i = 0; i < kRequests; ++i) {
    const auto line = server.readLine();
    ASSERT_TRUE(line);
    ASSERT_THAT(line->substr(0, 60), HasSubstr("\"id\":" + std::to_string(i) + ","));
  }
  asking.join();
}

}  // namespace
}  // namespace wyvlet::test
