#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Client/WyvletClient.h"
#include "Devices/SimulatorBridge.h"
#include "HTTP/HTTPServer.h"
#include "MCP/MCPServer.h"
#include "Unit/Android/RecordingRunner.h"
#include "Unit/HTTP/TestClient.h"
#include "WyvletShared/Values.h"

namespace wyvlet {
namespace {

using test::RecordingRunner;

constexpr const char* kAnswerHead =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
    "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
    "Access-Control-Allow-Headers: Content-Type, Authorization\r\nContent-Length: ";

/// A server without an app whose external commands all go to a recorder, in a home of its own.
class HTTPServerTest : public ::testing::Test {
 protected:
  HTTPServerTest() : home_(std::filesystem::temp_directory_path() / ("wyvlet-http-XXXXXX")) {
    std::string pattern = home_.string();
    home_ = ::mkdtemp(pattern.data());
    ::setenv("HOME", home_.c_str(), 1);
    ::setenv("WYVLET_HTTP_HOST", "127.0.0.1", 1);
    ::unsetenv("WYVLET_PORT");
  }
  ~HTTPServerTest() override {
    listening_.reset();
    std::filesystem::remove_all(home_);
  }

  std::uint16_t portWith(const char* setting) {
    ::setenv("WYVLET_PORT", setting, 1);
    return HTTPServer(mcpServer, 8686).port();
  }

  /// Sends raw bytes to a listening server.
  std::string exchange(std::string_view bytes) {
    test::TestClient peer(listen());
    peer.send(bytes);
    return peer.receiveAll();
  }

  std::uint16_t listen() {
    if (!listening_) {
      listening_ = std::make_unique<HTTPServer>(mcpServer, 0);
      ::testing::internal::CaptureStderr();
      listening_->start();
      // The port says when the server listens: until then it is 0.
      while (listening_->port() == 0) {
      }
      log = ::testing::internal::GetCapturedStderr();
    }
    return listening_->port();
  }

  /// Runs one tool; the argument vector of the last command is then in `lastCommand()`.
  std::string call(std::string_view tool, std::string_view args = "{}") {
    return server.callTool(tool, boost::json::parse(boost::json::string_view(args)).as_object());
  }
  std::vector<std::string> lastArguments() const {
    const auto requests = runner.requests();
    if (requests.empty()) return {"nothing was run"};
    auto arguments = requests.back().arguments;
    arguments.front() = std::filesystem::path(arguments.front()).filename();
    return arguments;
  }

  std::filesystem::path home_;
  std::string output = "OK";
  RecordingRunner runner{[this](const std::string&) { return RecordingRunner::succeeded(output); }};
  WyvletClient client;
  SimulatorBridge sim{runner};
  MCPServer mcpServer{client, sim};
  HTTPServer server{mcpServer, 8686};
  std::string log;

 private:
  std::unique_ptr<HTTPServer> listening_;
};

using Arguments = std::vector<std::string>;

TEST_F(HTTPServerTest, PortComesFromTheEnvironmentWhenItIsANumberInRange) {
  EXPECT_EQ(8686, HTTPServer(mcpServer, 8686).port());
  EXPECT_EQ(9000, portWith("9000"));
  EXPECT_EQ(9000, portWith("+9000"));
  EXPECT_EQ(0, portWith("0"));
  EXPECT_EQ(0, portWith("-0"));
  EXPECT_EQ(65535, portWith("65535"));
  for (const char* setting : {"", "65536", "70000", "-1", "abc", " 9000", "9000 ", "9000.0", "0x2328",
                              "9,000", "99999999999999999999"}) {
    EXPECT_EQ(8686, portWith(setting)) << setting;
  }
}

TEST_F(HTTPServerTest, StatusOfAFreshServer) {
  EXPECT_EQ(
      R"({"status":"ok","server":"WyvletMCP","port":8686,"android":false,"simulatorId":null,"bundleId":null,)"
      R"("wyvletConnected":false})",
      server.routeRequest("GET", "/status", "{}"));
}

TEST_F(HTTPServerTest, StatusShowsTheSessionDefaults) {
  EXPECT_EQ(
      R"({"result":"Defaults updated: [\"simulatorId\": \"SIM\"1\", \"bundleId\": \"com.example.app\"]"})",
      server.routeRequest("POST", "/devices/defaults",
                          R"({"simulatorId":"SIM\"1","bundleId":"com.example.app"})"));
  EXPECT_EQ(R"({"status":"ok","server":"WyvletMCP","port":8686,"android":false,"simulatorId":"SIM\"1",)"
            R"("bundleId":"com.example.app","wyvletConnected":false})",
            server.routeRequest("GET", "/status", "{}"));
  server.routeRequest("POST", "/devices/defaults", R"({"androidSerial":"emulator-5554"})");
  EXPECT_NE(std::string::npos, server.routeRequest("GET", "/status", "{}").find(R"("android":true)"));
}

TEST_F(HTTPServerTest, StatusIsAndroidWhileACaptureIsActive) {
  std::filesystem::create_directories(home_ / ".wyvletqa");
  std::ofstream(home_ / ".wyvletqa/android-capture.json")
      << R"({"connected":true,"timestamp":)" << static_cast<long long>(Date::now().secondsSince1970 * 1000)
      << "}";
  EXPECT_NE(std::string::npos, server.routeRequest("GET", "/status", "{}").find(R"("android":true)"));
}

TEST_F(HTTPServerTest, DevicesAreTheCommandsOutputWhenThatIsJSON) {
  output = "{\"devices\" : {}}\n";
  EXPECT_EQ("{\"devices\" : {}}", server.routeRequest("GET", "/devices", "{}"));
  EXPECT_EQ("xcrun simctl list devices available -j", runner.commandLines().back());
  for (const char* other : {"", "zsh: command not found: xcrun", "{\"devices\":"}) {
    output = other;
    EXPECT_EQ(R"({"error":"simctl not available"})", server.routeRequest("GET", "/devices", "{}")) << other;
  }
}

TEST_F(HTTPServerTest, ScreenshotWithoutAPictureHasNone) {
  output = "";
  EXPECT_EQ(R"({"text":"Error: no simulator configured","image":null})",
            server.routeRequest("GET", "/screenshot", "{}"));
}

TEST_F(HTTPServerTest, TapGoesStraightToTheDevice) {
  sim.setDefaults({{"simulatorId", "SIM1"}});
  EXPECT_EQ("OK", call("tap", R"({"x":10,"y":20.9,"label":"Pay","postDelay":0.5})"));
  EXPECT_EQ((Arguments{"axe", "tap", "--udid", "SIM1", "-x", "10", "-y", "20", "--post-delay", "0.5"}),
            lastArguments());
  call("tap", R"({"x":"10","y":20,"label":"Pay"})");
  EXPECT_EQ((Arguments{"axe", "tap", "--udid", "SIM1", "--label", "Pay"}), lastArguments());
  EXPECT_EQ("Error: provide x+y coordinates or label or id", call("tap", R"({"x":10})"));
}

TEST_F(HTTPServerTest, SwipeGoesStraightToTheDevice) {
  sim.setDefaults({{"simulatorId", "SIM1"}});
  EXPECT_EQ("OK", call("swipe", R"({"x1":1,"y1":2,"x2":3,"y2":-4.5,"duration":2})"));
  EXPECT_EQ((Arguments{"axe", "swipe", "--udid", "SIM1", "--start-x", "1", "--start-y", "2", "--end-x", "3",
                       "--end-y", "-4", "--duration", "2.0"}),
            lastArguments());
}

TEST_F(HTTPServerTest, SwipeNeedsAllFourCoordinates) {
  sim.setDefaults({{"simulatorId", "SIM1"}});
  EXPECT_EQ("Error: swipe requires x1,y1,x2,y2 coordinates", call("swipe", R"({"x1":1,"y1":2,"x2":3})"));
}

TEST_F(HTTPServerTest, TextGoesToTheSimulator) {
  sim.setDefaults({{"simulatorId", "SIM1"}});
  EXPECT_EQ("OK", call("type_text", R"({"text":"it's me"})"));
  EXPECT_EQ((Arguments{"axe", "type", "it's me", "--udid", "SIM1"}), lastArguments());
}

TEST_F(HTTPServerTest, TextWithoutASimulatorIsRefused) {
  output = "";
  EXPECT_EQ("Error: no simulator configured", call("type_text", R"({"text":"hello"})"));
}

TEST_F(HTTPServerTest, TextGoesToTheAndroidDeviceWhenOneIsSet) {
  sim.setDefaults({{"simulatorId", "SIM1"}, {"androidSerial", "emulator-5554"}});
  EXPECT_EQ("Typed: a b", call("type_text", R"({"text":"a b"})"));
  EXPECT_EQ("'" + home_.string() +
                "/Library/Android/sdk/platform-tools/adb' -s emulator-5554 shell input text 'a%sb' 2>&1",
            runner.commandLines().back());
}

TEST_F(HTTPServerTest, ButtonIsHomeUnlessNamed) {
  sim.setDefaults({{"simulatorId", "SIM1"}});
  EXPECT_EQ("OK", call("button"));
  EXPECT_EQ((Arguments{"axe", "button", "home", "--udid", "SIM1"}), lastArguments());
  call("button", R"({"buttonType":"lock","duration":1})");
  EXPECT_EQ((Arguments{"axe", "button", "lock", "--udid", "SIM1", "--duration", "1.0"}), lastArguments());
}

TEST_F(HTTPServerTest, UnknownToolIsNamed) {
  EXPECT_EQ("Unknown tool: screenshot", call("screenshot"));
  EXPECT_EQ("Unknown tool: ", call(""));
}

TEST_F(HTTPServerTest, ToolTextIsValidJSONWhateverItHolds) {
  output = "line\n\"quoted\" \x01 \xE2\x80\x94";
  sim.setDefaults({{"simulatorId", "SIM1"}});
  EXPECT_EQ("{\"result\":\"line\\n\\\"quoted\\\" \\u0001 \xE2\x80\x94\"}",
            server.routeRequest("POST", "/button", ""));
}

TEST_F(HTTPServerTest, AnnouncesWhereItListens) {
  const auto port = listen();
  EXPECT_EQ("[http] Listening on http://localhost:" + std::to_string(port) + "\n", log);
}

TEST_F(HTTPServerTest, AnswersOverTheWire) {
  EXPECT_EQ(kAnswerHead + std::string("121\r\n\r\n") +
                R"({"error":"Not found","path":"/x","method":"GET",)"
                R"("hint":"GET /status for server info, GET /screenshot for screen capture"})",
            exchange("GET /x HTTP/1.1\r\n\r\n"));
  EXPECT_EQ(
      "HTTP/1.1 204 No Content\r\nAccess-Control-Allow-Origin: *\r\n"
      "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
      "Access-Control-Allow-Headers: Content-Type, Authorization\r\n\r\n",
      exchange("OPTIONS /wherever HTTP/1.1\r\n\r\n"));
  EXPECT_EQ(kAnswerHead + std::string("36\r\n\r\n") + R"({"jsonrpc":"2.0","id":7,"result":{}})",
            exchange("POST /mcp HTTP/1.1\r\nContent-Length: 40\r\n\r\n"
                     R"({"jsonrpc":"2.0","id":7,"method":"ping"})"));
}

TEST_F(HTTPServerTest, MCPAnswersWhatIsNoRequestToo) {
  EXPECT_EQ(kAnswerHead + std::string("75\r\n\r\n") +
                R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})",
            exchange("POST /mcp HTTP/1.1\r\nContent-Length: 5\r\n\r\n[1,2]"));
  EXPECT_EQ(kAnswerHead + std::string("2\r\n\r\n{}"),
            exchange("POST /mcp HTTP/1.1\r\nContent-Length: 54\r\n\r\n"
                     R"({"jsonrpc":"2.0","method":"notifications/initialized"})"));
  EXPECT_NE(std::string::npos, exchange("GET /mcp HTTP/1.1\r\n\r\n").find("Not found"));
}

#if defined(__linux__)
TEST_F(HTTPServerTest, NetworkThreadReadsNoCapture) {
  std::filesystem::create_directories(home_ / ".wyvletqa");
  std::ofstream(home_ / ".wyvletqa/android-capture.json") << "{}";
  EXPECT_NE(std::string::npos, exchange("GET /status HTTP/1.1\r\n\r\n").find(R"("android":false)"));
  std::set<std::string> threads;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    threads.insert(name);
  }
  EXPECT_TRUE(threads.contains("wyvlet-http-job"));
}
#endif

TEST_F(HTTPServerTest, TakenPortIsOneLogLine) {
  std::uint16_t taken = 0;
  const int fd = test::listenOnLoopback(taken);
  HTTPServer second(mcpServer, taken);
  ::testing::internal::CaptureStderr();
  {
    HTTPServer late(mcpServer, taken);
    late.start();
  }
  EXPECT_EQ("[http] Failed to bind port " + std::to_string(taken) + "\n",
            ::testing::internal::GetCapturedStderr());
  ::close(fd);
}

TEST_F(HTTPServerTest, HostThatIsNoAddressIsNotReplacedByAnother) {
  ::setenv("WYVLET_HTTP_HOST", "localhost", 1);
  ::testing::internal::CaptureStderr();
  {
    HTTPServer unreachable(mcpServer, 0);
    unreachable.start();
  }
  EXPECT_EQ("[http] WYVLET_HTTP_HOST is not an IP address: localhost\n",
            ::testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace wyvlet
