// The HTTP port of the real server, spoken to by raw sockets and by the clients that people use.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "EndToEnd/Harness.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr std::uint16_t kPort = 8686;

/// The bytes of an ordinary answer with that body.
std::string answerWith(const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
         "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
         "Access-Control-Allow-Headers: Content-Type, Authorization\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// Sends a request and returns the body of its answer.
std::string ask(const std::string& method, const std::string& target, const std::string& body = "") {
  auto request = method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n";
  if (!body.empty()) request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  const auto answer = httpExchange(request + "\r\n" + body, kPort);
  const auto end = answer.find("\r\n\r\n");
  if (end == std::string::npos) return "<no answer>";
  EXPECT_EQ(answerWith(answer.substr(end + 4)), answer);
  return answer.substr(end + 4);
}

/// The text of a tool that a route brings.
std::string result(const std::string& method, const std::string& target, const std::string& body = "") {
  const auto answer = boost::json::parse(ask(method, target, body));
  const auto* text = answer.as_object().if_contains("result");
  return text != nullptr ? std::string(text->as_string()) : boost::json::serialize(answer);
}

/// A connection that says only what it is told to.
class RawClient {
 public:
  explicit RawClient(std::string_view bytes = "", const char* host = "127.0.0.1")
      : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kPort);
    ::inet_pton(AF_INET, host, &address.sin_addr);
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (connected_ && !bytes.empty()) ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  ~RawClient() { ::close(fd_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  bool isConnected() const { return connected_; }

 private:
  int fd_;
  bool connected_;
};

/// What a command line prints, its error output included.
std::string run(const std::string& commandLine) {
  FILE* pipe = ::popen((commandLine + " 2>&1").c_str(), "re");
  std::string output;
  std::array<char, 4096> chunk{};
  for (std::size_t count = 0; (count = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0;) {
    output.append(chunk.data(), count);
  }
  ::pclose(pipe);
  return output;
}

void writeFile(const std::string& path, const std::string& content, bool executable = false) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << content;
  if (executable) std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/// A ping whose body is at least `bytes` long, and its answer.
std::string longPing(std::size_t bytes) {
  return R"({"jsonrpc":"2.0","id":1,"method":"ping","params":{"padding":")" + std::string(bytes, 'p') +
         "\"}}";
}
constexpr const char* kPong = R"({"jsonrpc":"2.0","id":1,"result":{}})";

constexpr const char* kFreshStatus =
    R"({"status":"ok","server":"WyvletMCP","port":8686,"android":false,"simulatorId":null,"bundleId":null,)"
    R"("wyvletConnected":false})";

TEST(HTTP, ListensOnItsPortAndSaysSo) {
  Server server;
  EXPECT_TRUE(server.waitForLog("[http] Listening on http://localhost:8686\n"));
  EXPECT_EQ(answerWith(kFreshStatus), httpExchange("GET /status HTTP/1.1\r\n\r\n"));
}

TEST(HTTP, PortMovesToAValidSettingOnly) {
  for (const auto& [setting, port] : {std::pair{"9000", 9000},
                                      {"+9001", 9001},
                                      {"70000", 8686},
                                      {"abc", 8686},
                                      {" 9000", 8686},
                                      {"", 8686}}) {
    Server server({.environment = {{"WYVLET_PORT", setting}}});
    EXPECT_TRUE(server.waitForLog("[http] Listening on http://localhost:" + std::to_string(port) + "\n"))
        << setting;
  }
}

TEST(HTTP, TakenPortLeavesTheRestAtWork) {
  Server first;
  ASSERT_TRUE(first.waitForLog("[http] Listening"));
  Server second;
  EXPECT_TRUE(second.waitForLog("[http] Failed to bind port 8686\n"));
  EXPECT_TRUE(second.request("ping").contains("result"));
  EXPECT_EQ(kFreshStatus, ask("GET", "/status"));
}

TEST(HTTP, EndOfStandardInputLeavesThePortOpen) {
  Server server;
  server.process().closeInput();
  EXPECT_EQ(kFreshStatus, ask("GET", "/status"));
}

TEST(HTTP, ListensEverywhereOrOnTheOneAddressGiven) {
  {
    Server server;
    ASSERT_TRUE(server.waitForLog("[http] Listening"));
    EXPECT_TRUE(RawClient("", "127.0.0.2").isConnected());
  }
  {
    Server server({.environment = {{"WYVLET_HTTP_HOST", "127.0.0.1"}}});
    ASSERT_TRUE(server.waitForLog("[http] Listening on http://localhost:8686\n"));
    EXPECT_TRUE(RawClient("", "127.0.0.1").isConnected());
    EXPECT_FALSE(RawClient("", "127.0.0.2").isConnected());
  }
  Server server({.environment = {{"WYVLET_HTTP_HOST", "localhost"}}});
  EXPECT_TRUE(server.waitForLog("[http] WYVLET_HTTP_HOST is not an IP address: localhost\n"));
  EXPECT_FALSE(RawClient().isConnected());
}

TEST(HTTP, PreflightAndUnknownPaths) {
  Server server;
  EXPECT_EQ(
      "HTTP/1.1 204 No Content\r\nAccess-Control-Allow-Origin: *\r\n"
      "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
      "Access-Control-Allow-Headers: Content-Type, Authorization\r\n\r\n",
      httpExchange("OPTIONS /any/path HTTP/1.1\r\nOrigin: http://localhost:3000\r\n\r\n"));
  EXPECT_EQ(R"({"error":"Not found","path":"/nothing?here=1","method":"PATCH",)"
            R"("hint":"GET /status for server info, GET /screenshot for screen capture"})",
            ask("PATCH", "/nothing?here=1"));
}

TEST(HTTP, RoutesAnswerFromTheApp) {
  LenientSyncPayload sync;
  sync.currentScreen = "Cart";
  sync.httpRequests.emplace();
  for (int i = 0; i < 30; ++i) {
    TransferableNetworkRequest request;
    request.id = UUID::random();
    request.url = "https://api.example.com/" + std::to_string(i);
    request.method = "GET";
    request.statusCode = 200;
    sync.httpRequests->push_back(request);
  }
  TransferableLogEntry entry;
  entry.level = "INFO";
  entry.category = "boot";
  entry.message = "ready — \"now\"";
  sync.logEntries = {entry, entry};
  sync.userDefaultsEntries = {{"1", "dark mode", "1", "Bool"}, {"2", "language", "en", "String"}};
  ScriptedApp app(sync);
  app.answerWith("command.screenText", "response.screenText", ScreenTextResponse{"Cart", {"Total", "Pay"}});
  app.answerWith("command.findElement", "response.findElement", FindResponse{"Cart", "Pay", {}});
  Server server;
  server.connect();

  EXPECT_THAT(ask("GET", "/status"), HasSubstr(R"("wyvletConnected":true)"));
  EXPECT_EQ(server.call("wyvlet_status"), result("GET", "/wyvlet/status"));
  EXPECT_THAT(result("GET", "/wyvlet/status"), StartsWith("Wyvlet: CONNECTED ✅"));

  EXPECT_EQ(server.call("wyvlet_get_network_logs"), result("GET", "/wyvlet/network-logs"));
  EXPECT_EQ(server.call("wyvlet_get_network_logs", {{"limit", 3}}),
            result("GET", "/wyvlet/network-logs?limit=3"));
  EXPECT_THAT(result("GET", "/wyvlet/network-logs?limit=x"), StartsWith("Recent HTTP Requests (20):"));
  const auto id = sync.httpRequests->front().id.shortText();
  EXPECT_EQ(server.call("wyvlet_get_request_detail", {{"request_id", id}}),
            result("GET", "/wyvlet/request/" + id));
  EXPECT_THAT(result("GET", "/wyvlet/request/" + id), HasSubstr("https://api.example.com/0"));
  EXPECT_EQ("App Logs (1):\n[INFO] [boot] ready — \"now\"  (:0)", result("GET", "/wyvlet/app-logs?limit=1"));
  EXPECT_EQ("UserDefaults (1 entries):\n  [Bool] dark mode = 1",
            result("GET", "/wyvlet/user-defaults?filter=dark%20mode"));
  EXPECT_THAT(result("GET", "/wyvlet/user-defaults"), StartsWith("UserDefaults (2 entries):"));
  EXPECT_EQ(server.call("wyvlet_get_rules"), result("GET", "/wyvlet/rules"));
  EXPECT_EQ("Screen: Cart\nVisible text (2 items):\n  Total\n  Pay", result("GET", "/wyvlet/screen-text"));
  EXPECT_EQ("Screen: Cart\nNo elements found matching \"Pay\"",
            result("POST", "/wyvlet/find-element", R"({"text":"Pay"})"));
  EXPECT_EQ(server.call("wyvlet_assert_request", {{"url_pattern", "/7"}}),
            result("POST", "/wyvlet/assert-request", R"({"url_pattern":"/7"})"));

  EXPECT_EQ("Mock rule added: Mock /cart (ANY /cart → 503)",
            result("POST", "/wyvlet/mock-rule", R"({"url_pattern":"/cart","status_code":503})"));
  EXPECT_TRUE(app.waitForCommand("command.addMockRule"));
  EXPECT_EQ("Mock rule removed: rule one", result("DELETE", "/wyvlet/mock-rule/rule%20one"));
  EXPECT_EQ(R"({"ruleId":"rule one"})", app.waitForCommand("command.removeMockRule"));
}

TEST(HTTP, ToolRoutesWaitForTheAppAndStatusDoesNot) {
  Server server;
  ASSERT_TRUE(waitForPort(kPort));
  const auto begin = std::chrono::steady_clock::now();
  std::string answer;
  std::thread waiting([&] { answer = result("GET", "/wyvlet/status"); });
  EXPECT_EQ(kFreshStatus, ask("GET", "/status"));
  const auto statusTook = std::chrono::steady_clock::now() - begin;
  waiting.join();
  const auto toolTook = std::chrono::steady_clock::now() - begin;
  EXPECT_THAT(answer, StartsWith("Wyvlet: NOT CONNECTED\n"));
  EXPECT_LT(statusTook, std::chrono::seconds(4));
  EXPECT_GT(toolTook, std::chrono::seconds(7));
}

TEST(HTTP, MCPAnswersAsStandardOutputDoes) {
  ScriptedApp app;
  Server server;
  server.connect();
  for (
      const char* message :
      {R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18"}})",
       R"({"jsonrpc":"2.0","id":"two","method":"tools/list"})",
       R"({"jsonrpc":"2.0","id":3.50,"method":"ping"})",
       R"({"jsonrpc":"2.0","id":4,"method":"resources/list"})",
       R"({"jsonrpc":"2.0","id":5,"method":"tools/call","params":{"name":"wyvlet_get_rules","arguments":{}}})",
       R"({"jsonrpc":"2.0","id":6,"method":"tools/call","params":{"name":"session_show_defaults"}})"}) {
    server.sendLine(message);
    EXPECT_EQ(server.readLine(), ask("POST", "/mcp", message)) << message;
  }
}

TEST(HTTP, MCPAnswersNotificationsAndGarbageToo) {
  Server server;
  constexpr const char* kParseError =
      R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})";
  EXPECT_EQ("{}", ask("POST", "/mcp", R"({"jsonrpc":"2.0","method":"notifications/initialized"})"));
  EXPECT_EQ("{}", ask("POST", "/mcp", R"({"jsonrpc":"2.0","method":"notifications/cancelled"})"));
  EXPECT_EQ(kParseError, ask("POST", "/mcp", "garbage"));
  EXPECT_EQ(kParseError, ask("POST", "/mcp", "[1]"));
  EXPECT_THAT(ask("GET", "/mcp"), HasSubstr("Not found"));
  EXPECT_THAT(ask("DELETE", "/mcp"), HasSubstr("Not found"));
}

TEST(HTTP, DeviceRoutesRunTheDeviceTools) {
  const auto home = homeDirectoryOfTest();
  writeFile("/tmp/tools/xcrun",
            "#!/bin/sh\ncase \"$*\" in\n"
            "'simctl list devices available -j') echo '{\"devices\" : {}}' ;;\n"
            "'simctl io SIM1 screenshot '*) printf 'picture' > \"$5\" ;;\nesac\n",
            true);
  writeFile(home + "/Documents/kestrow/WyvletMCP/Bundled/axe", "#!/bin/sh\necho \"axe $*\"\n", true);
  Server server({.pathPrefix = "/tmp/tools"});

  EXPECT_EQ("{\"devices\" : {}}", ask("GET", "/devices"));
  EXPECT_EQ("Defaults updated: [\"simulatorId\": \"SIM1\"]",
            result("POST", "/devices/defaults", R"({"simulatorId":"SIM1"})"));
  EXPECT_EQ(R"x({"text":"Screenshot captured (7 bytes)","image":"cGljdHVyZQ=="})x",
            ask("GET", "/screenshot"));
  EXPECT_EQ("axe tap --udid SIM1 -x 10 -y 20 --post-delay 0.5",
            result("POST", "/tap", R"({"x":10,"y":20.0,"postDelay":0.5})"));
  EXPECT_EQ("axe tap --udid SIM1 --label Pay", result("POST", "/tap", R"({"label":"Pay"})"));
  EXPECT_EQ("axe swipe --udid SIM1 --start-x 1 --start-y 2 --end-x 3 --end-y 4",
            result("POST", "/swipe", R"({"x1":1,"y1":2,"x2":3,"y2":4})"));
  EXPECT_EQ("axe type hello --udid SIM1", result("POST", "/type", R"({"text":"hello"})"));
  EXPECT_EQ("axe button home --udid SIM1", result("POST", "/button"));
  EXPECT_EQ("Error: provide x+y coordinates or label or id", result("POST", "/tap", "not JSON"));
}

TEST(HTTP, DevicesWithoutSimctlSaySo) {
  Server server;
  EXPECT_EQ(R"({"error":"simctl not available"})", ask("GET", "/devices"));
}

TEST(HTTP, CurlSendsLargeBodies) {
  Server server;
  ASSERT_TRUE(waitForPort(kPort));
  writeFile("/tmp/body", longPing(100'000));
  const std::string curl = "curl -sS --data-binary @/tmp/body http://127.0.0.1:8686/mcp";
  EXPECT_EQ(kPong, run(curl));
  EXPECT_EQ(kPong, run(curl + " -H 'Transfer-Encoding: chunked'"));
  EXPECT_EQ(kPong, run("curl -sS --http1.0 --data-binary @/tmp/body http://127.0.0.1:8686/mcp"));
  const auto expecting = run(curl + " -v -H 'Expect: 100-continue'");
  EXPECT_THAT(expecting, HasSubstr("< HTTP/1.1 100 Continue"));
  EXPECT_THAT(expecting, HasSubstr(kPong));
  writeFile("/tmp/body", longPing(5'000'000));
  EXPECT_EQ(kPong, run(curl));
}

TEST(HTTP, PythonSendsHeadAndBodyApart) {
  Server server;
  ASSERT_TRUE(waitForPort(kPort));
  writeFile("/tmp/client.py", R"(
import json, urllib.request
for size in [0, 1000, 100000] * 20:
    body = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "ping", "params": {"padding": "p" * size}}).encode()
    request = urllib.request.Request("http://127.0.0.1:8686/mcp", body, {"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=20) as answer:
        assert json.load(answer)["result"] == {}
with urllib.request.urlopen("http://127.0.0.1:8686/status", timeout=20) as answer:
    print(json.load(answer)["server"])
)");
  EXPECT_EQ("WyvletMCP\n", run("python3 /tmp/client.py"));
}

TEST(HTTP, NodeFetchNeverMeetsAConnectionThatIsAboutToClose) {
  Server server;
  ASSERT_TRUE(waitForPort(kPort));
  writeFile("/tmp/client.mjs", R"(
const ask = async (size) => {
  const body = JSON.stringify({jsonrpc: "2.0", id: 1, method: "ping", params: {padding: "p".repeat(size)}});
  const answer = await fetch("http://127.0.0.1:8686/mcp", {method: "POST", body});
  if (JSON.stringify((await answer.json()).result) !== "{}") throw new Error("no pong");
};
for (let round = 0; round < 100; ++round) await ask(round % 10 === 0 ? 100000 : 10);
await Promise.all(Array.from({length: 64}, () => ask(20000)));
console.log("fine");
)");
  EXPECT_EQ("fine\n", run("node /tmp/client.mjs"));
}

TEST(HTTP, NobodyIsHeldUpBySlowSilentAndHostileClients) {
  Server server;
  ASSERT_TRUE(waitForPort(kPort));
  std::vector<std::unique_ptr<RawClient>> others;
  for (int i = 0; i < 16; ++i) {
    others.push_back(std::make_unique<RawClient>());
    others.push_back(std::make_unique<RawClient>("GET /sta"));
    others.push_back(std::make_unique<RawClient>("POST /mcp HTTP/1.1\r\nContent-Length: 999999999\r\n\r\n{"));
    others.push_back(std::make_unique<RawClient>(std::string("\x16\x03\x01\x00\xFF\x00", 6)));
  }
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(kFreshStatus, ask("GET", "/status"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}

TEST(HTTP, StormLeavesNothingBehind) {
  Server server;
  ASSERT_EQ(kFreshStatus, ask("GET", "/status"));
  const auto folder = "/proc/" + std::to_string(server.process().pid());
  const auto count = [&](const char* kind) {
    const std::filesystem::directory_iterator entries(folder + kind);
    return std::distance(begin(entries), end(entries));
  };
  const auto before = count("/fd");
  std::atomic<int> answered = 0;
  std::vector<std::thread> clients;
  for (int i = 0; i < 64; ++i) {
    clients.emplace_back([&, i] {
      for (int round = 0; round < 16; ++round) {
        const bool quick = (i + round) % 2 == 0;
        const auto answer = quick ? ask("GET", "/status") : ask("POST", "/mcp", longPing(10));
        if (answer == (quick ? kFreshStatus : kPong)) ++answered;
      }
    });
  }
  for (auto& client : clients) client.join();
  EXPECT_EQ(64 * 16, answered);
  EXPECT_LE(count("/task"), 64 + 20);
  EXPECT_TRUE(eventually([&] { return count("/fd") <= before; }))
      << before << " before, now " << count("/fd");
}

}  // namespace
}  // namespace wyvlet::test
