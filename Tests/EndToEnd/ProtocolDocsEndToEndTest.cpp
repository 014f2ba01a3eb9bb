// Holds docs/protocol.md to what the program does: its examples are what the encoder writes and what the
// real server sends. WYVLET_UPDATE_DOCS=1 in the environment writes them into the page instead.

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "EndToEnd/Harness.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

const std::string kPagePath = WYVLET_SOURCE_DIR "/docs/protocol.md";
constexpr std::size_t kColumns = 110;

/// Compact JSON as people like to read it: what fits into a line stays in one, the rest is indented.
class JSONLayout {
 public:
  static std::string of(const std::string& json) { return JSONLayout(json).value(0) + "\n"; }

 private:
  explicit JSONLayout(const std::string& json) : json_(json) {}

  std::string value(std::size_t indentation) {
    const char first = json_.at(at_);
    if (first == '"') return text();
    if (first != '{' && first != '[') {
      const auto end = json_.find_first_of(",]}", at_);
      const auto word = json_.substr(at_, end - at_);
      at_ += word.size();
      return word;
    }
    const char last = first == '{' ? '}' : ']';
    std::vector<std::string> members;
    for (++at_; json_.at(at_) != last; at_ += json_.at(at_) == ',') {
      std::string key;
      if (first == '{') {
        key = text() + ": ";
        ++at_;
      }
      members.push_back(key + value(indentation + 2));
    }
    ++at_;
    return container(first, members, last, indentation);
  }

  std::string text() {
    const auto begin = at_++;
    while (json_.at(at_) != '"') at_ += json_.at(at_) == '\\' ? 2 : 1;
    return json_.substr(begin, ++at_ - begin);
  }

  static std::string container(char first, const std::vector<std::string>& members, char last,
                               std::size_t indentation) {
    std::string line(1, first), block(1, first);
    for (const auto& member : members) {
      const bool isFirst = line.size() == 1;
      line += (isFirst ? "" : ", ") + member;
      block += (isFirst ? "\n" : ",\n") + std::string(indentation + 2, ' ') + member;
    }
    line += last;
    block += "\n" + std::string(indentation, ' ') + last;
    return line.find('\n') == std::string::npos && indentation + line.size() <= kColumns ? line : block;
  }

  const std::string& json_;
  std::size_t at_ = 0;
};

/// The page; its examples are fenced blocks behind a mark.
class Page {
 public:
  Page() {
    std::ostringstream content;
    content << std::ifstream(kPagePath).rdbuf();
    text_ = content.str();
  }

  const std::string& text() const { return text_; }

  /// Checks the example behind `<!-- mark -->`, or puts it there.
  void expect(const std::string& mark, const std::string& content) {
    const auto marked = text_.find("<!-- " + mark + " -->\n```");
    ASSERT_NE(std::string::npos, marked) << "the page has no " << mark;
    const auto begin = text_.find('\n', text_.find("```", marked)) + 1;
    const auto end = text_.find("```\n", begin);
    if (std::getenv("WYVLET_UPDATE_DOCS") != nullptr) {
      text_.replace(begin, end - begin, content);
      std::ofstream(kPagePath) << text_;
      return;
    }
    EXPECT_EQ(content, text_.substr(begin, end - begin))
        << mark << " is stale; run this test with WYVLET_UPDATE_DOCS=1";
  }

  template <class Record>
  void expectRecord(const std::string& name, const Record& record) {
    const auto json = encodeRecord(record);
    EXPECT_TRUE(decodeRecord<Record>(json)) << name;
    expect("example: " + name, JSONLayout::of(json));
  }

 private:
  std::string text_;
};

UUID identifier(const char* text) { return *UUID::parse(text); }

const UUID kBooking = identifier("5E2F1C6A-9B0D-4E37-8A41-7C90D2B3E4F5");
const UUID kStaging = identifier("0B9E3C51-77D2-4C4A-9F10-2D6A8E5B1C34");
const UUID kCheck = identifier("A1B2C3D4-5E6F-4A7B-8C9D-0E1F2A3B4C5D");
const UUID kRule = identifier("C0FFEE12-3456-4789-8ABC-DEF012345678");
constexpr double kNow = 1767225600.25;  // 2026-01-01, a quarter of a second past midnight

TransferableNetworkRequest booking() {
  TransferableNetworkRequest request;
  request.id = kBooking;
  request.timestamp = {kNow};
  request.url = "https://api.example.com/v1/bookings";
  request.host = "api.example.com";
  request.path = "/v1/bookings";
  request.method = "POST";
  request.requestHeaders = {{"Content-Type", "application/json"}};
  request.requestBody = Bytes{R"({"fare":"F1"})"};
  request.statusCode = 201;
  request.responseHeaders = {{"Content-Type", "application/json"}};
  request.responseBody = Bytes{R"({"id":"B1"})"};
  request.duration = 0.184;
  request.mimeType = "application/json";
  request.screenName = "Checkout";
  return request;
}

TransferableNetworkRequest failedRequest() {
  auto request = booking();
  request.id = identifier("77A0B1C2-D3E4-4F56-8789-9ABCDEF01234");
  request.url = request.originalURL.emplace("https://api.example.com/v1/fares");
  request.url.replace(8, 3, "staging");
  request.host = "staging.example.com";
  request.path = "/v1/fares";
  request.method = "GET";
  request.requestHeaders = {};
  request.requestBody = {};
  request.statusCode = {};
  request.responseHeaders = {};
  request.responseBody = {};
  request.duration = 10.0;
  request.errorDescription = "The request timed out.";
  request.mimeType = {};
  request.isEnvironmentRewritten = true;
  request.source = "WebView";
  return request;
}

TransferableLogEntry logEntry() {
  return {identifier("3D2C1B0A-9F8E-4D7C-8B6A-594837261504"),
          {kNow + 0.2},
          "INFO",
          "analytics",
          "booking_created currency=EUR",
          "Checkout.swift",
          88,
          "Checkout"};
}

EnvironmentStatePayload environments() {
  return {
      std::vector<TransferableEnvironment>{
          {identifier("1C8D6E2F-4A5B-4C3D-9E0F-112233445566"), "Production", {"https://api.example.com"}, ""},
          {kStaging, "Staging", {"https://staging.example.com"}, "reset every night"}},
      kStaging};
}

std::vector<TransferableQAResult> checklist() {
  return {{kCheck,
           "Total includes taxes",
           "Compare with the fare page",
           "high",
           {"/v1/fares"},
           "PENDING",
           "",
           {}}};
}

LenientSyncPayload fullSync() {
  LenientSyncPayload sync;
  sync.httpRequests = {booking()};
  TransferableWSConnection prices;
  prices.id = identifier("9A8B7C6D-5E4F-4A3B-8C2D-1E0F9A8B7C6D");
  prices.url = "wss://live.example.com/prices";
  prices.host = "live.example.com";
  prices.startTime = {kNow - 60};
  prices.status = "open";
  prices.frames = {{identifier("12345678-9ABC-4DEF-8123-456789ABCDEF"),
                    prices.id,
                    {kNow - 59.5},
                    "Sent",
                    "text",
                    {},
                    R"({"watch":"F1"})"}};
  sync.wsConnections = {prices};
  sync.logEntries = {logEntry()};
  sync.environmentState = environments();
  sync.rulesState = LenientRulesState{
      std::vector<TransferableRewriteRule>{{identifier("D00DFEED-1111-4222-8333-444455556666"),
                                            "Images from the cache",
                                            {"contains", "/images/"},
                                            "cache.example.com",
                                            true,
                                            {kNow - 3600}}},
      std::vector<TransferableMockRule>{{kRule,
                                         "Bookings down",
                                         {"contains", "/v1/bookings"},
                                         "POST",
                                         503,
                                         {{"Content-Type", "application/json"}},
                                         Bytes{R"({"error":"unavailable"})"},
                                         false,
                                         {kNow - 1800}}},
      std::vector<TransferableInterceptRule>{}};
  sync.qaState = LenientQAState{checklist(), "2.4.1 (1187)"};
  sync.userDefaultsEntries =
      std::vector<TransferableUserDefaultsEntry>{{"currency", "currency", "EUR", "String"}};
  sync.keychainEntries = std::vector<TransferableKeychainEntry>{
      {"kc-1", "genp", "com.example.travel.session", "maria@example.com", {}, "session"}};
  sync.currentScreen = "Checkout";
  sync.deviceName = "iPhone 15";
  sync.appName = "Travel";
  sync.appVersion = "2.4.1";
  sync.recordedFlows =
      std::vector<RecordedFlowData>{{identifier("F10F10F1-0000-4111-8222-333344445555"),
                                     "Book the cheapest crossing",
                                     "From the home screen",
                                     {kNow - 86400},
                                     {{"tap", "Home", "Search", {}, Coords{195, 612}, {}, {}},
                                      {"type", "Search", {}, "Calais", {}, {}, {}}}}};
  return sync;
}

std::string hexDump(const std::string& bytes) {
  constexpr std::size_t kRow = 16;
  std::string dump;
  for (std::size_t row = 0; row < bytes.size(); row += kRow) {
    std::string characters;
    for (std::size_t i = row; i < row + kRow; ++i) {
      char hex[4] = "   ";
      if (i < bytes.size()) {
        std::snprintf(hex, sizeof hex, "%02x ", static_cast<unsigned char>(bytes[i]));
        characters += std::isprint(static_cast<unsigned char>(bytes[i])) ? bytes[i] : '.';
      }
      dump += hex;
    }
    dump += " " + characters + "\n";
  }
  return dump;
}

TEST(ProtocolDocs, FrameAndEnvelope) {
  Page page;
  const CompanionMessage heartbeat{CompanionMessageType::heartbeat, {}, {kNow}};
  page.expect("example: frame", hexDump(encodeFrame(encodeEnvelope(heartbeat, DateEpoch::Unix1970))));

  const CompanionMessage event{CompanionMessageType::eventLog, Bytes{encodeRecord(logEntry())}, {kNow + 0.2}};
  page.expect("example: envelope", encodeEnvelope(event, DateEpoch::Unix1970) + "\n");
  page.expectRecord("envelope-payload", logEntry());
}

TEST(ProtocolDocs, WhatTheAppSends) {
  Page page;
  page.expectRecord("sync.full", fullSync());
  page.expectRecord("event.httpRequest", failedRequest());
  page.expectRecord("event.log", logEntry());
  page.expectRecord("event.environmentChanged", environments());
}

TEST(ProtocolDocs, Answers) {
  Page page;
  page.expectRecord(
      "response.findElement",
      FindResponse{"Checkout", "Book", {{"Book now", "Button", 24, 700, 342, 50, 195, 725, true}}});
  page.expectRecord("response.screenText",
                    ScreenTextResponse{"Checkout", {"Total Payable", "€ 120.00", "Book now"}});
  page.expectRecord(
      "response.screenHTML",
      ScreenHTMLResponse{"Checkout", "<screen><button c=\"195,725\">Book now</button></screen>", 1});
  page.expectRecord("response.screenshot", ScreenshotResponse{"Checkout", "iVBORw0KGgo="});
  page.expectRecord(
      "response.snapshot",
      SnapshotResponse{"Checkout", {{"Book now", "book-button", "Button", 24, 700, 342, 50, true}}});
  page.expectRecord("response.perfSnapshot", PerfSnapshotResponse{59.8, 143.2, 58.9, 171.5, "Checkout"});
  page.expectRecord(
      "response.accessibilityAudit",
      AccessibilityAuditResponse{
          "Checkout", {{"Button", "Missing accessibility label", "error", 340, 60, 28, 28}}, 1});
  page.expectRecord("response.webViewConsole",
                    WebViewConsoleResponse{
                        {{kNow, "error", "fares is not defined", "https://promo.example.com/banner.js"}}, 1});
  page.expectRecord("response.typeText", InputResult{true, "Typed into Search"});
}

TEST(ProtocolDocs, CommandsThatNoToolSends) {
  Page page;
  page.expectRecord("command.clearStore", ClearStoreCommand{"logs"});
  page.expectRecord("command.toggleRule", ToggleRuleCommand{"mock", kRule});
  page.expectRecord("command.fireDeepLink", FireDeepLinkCommand{"travel://bookings/B1"});
  page.expectRecord("command.fetchBody", FetchBodyCommand{kBooking});
}

TEST(ProtocolDocs, CommandsAsTheServerSendsThem) {
  Page page;
  ScriptedApp app(fullSync());
  Server server;
  server.connect();
  const auto answer = [&](const char* command, const char* response, const auto& record) {
    app.answerWith(command, response, record);
  };
  answer("command.findElement", "response.findElement", FindResponse{"Checkout", "Book", {}});
  answer("command.typeText", "response.typeText", InputResult{true, ""});
  answer("command.getWebViewConsole", "response.webViewConsole", WebViewConsoleResponse{});
  const auto expectCommand = [&](const std::string& type) {
    const auto payload = app.waitForCommand(type);
    ASSERT_TRUE(payload.has_value()) << type << " did not come";
    page.expect("command: " + type, JSONLayout::of(*payload));
  };

  server.call("wyvlet_get_network_logs");
  expectCommand("command.showOverlay");
  server.call("wyvlet_find_element", {{"text", "Book"}});
  expectCommand("command.findElement");
  server.call("wyvlet_webview_console", {{"level", "error"}, {"limit", 20}});
  expectCommand("command.getWebViewConsole");
  server.call("type_text", {{"text", "Calais"}});
  expectCommand("command.typeText");
  server.call("wyvlet_switch_environment", {{"environment_name", "Staging"}});
  expectCommand("command.switchEnvironment");
  server.call("wyvlet_replay_request", {{"request_id", "5E2F1C6A"}});
  expectCommand("command.replayRequest");
  server.call("wyvlet_mark_qa",
              {{"item_id", "A1B2C3D4"}, {"status", "FAILED"}, {"notes", "Taxes are missing"}});
  expectCommand("command.markQAFailed");
  server.call("wyvlet_add_mock_rule", {{"url_pattern", "/v1/bookings"},
                                       {"method", "POST"},
                                       {"status_code", 503},
                                       {"response_body", "{\"error\":\"unavailable\"}"},
                                       {"name", "Bookings down"}});
  expectCommand("command.addMockRule");
  server.call("wyvlet_remove_mock_rule", {{"rule_id", "C0FFEE12"}});
  expectCommand("command.removeMockRule");
  server.call("wyvlet_add_intercept_rule", {{"url_pattern", "/v1/payments"}, {"name", "Hold payments"}});
  expectCommand("command.addInterceptRule");
}

TEST(ProtocolDocs, EveryTypeIsNamed) {
  const Page page;
  std::vector<std::string> types = {"command.perfSnapshot",
                                    "command.accessibilityAudit",
                                    "command.getWebViewConsole",
                                    "command.showOverlay",
                                    "command.hideOverlay",
                                    "command.typeText",
                                    "response.perfSnapshot",
                                    "response.accessibilityAudit",
                                    "response.webViewConsole",
                                    "response.typeText",
                                    "response.tap",
                                    "response.swipe",
                                    "response.input"};
  for (std::size_t i = 0; i < kCompanionMessageTypeCount; ++i) {
    types.emplace_back(rawString(static_cast<CompanionMessageType>(i)));
  }
  for (const auto& type : types) {
    EXPECT_NE(std::string::npos, page.text().find("`" + type + "`")) << type << " is not on the page";
  }
}

TEST(ProtocolDocs, TheProgramOnThePageIsAnApp) {
  const Page page;
  const auto begin = page.text().find("```python\n");
  ASSERT_NE(std::string::npos, begin);
  const auto program = page.text().substr(begin + 10, page.text().find("```\n", begin) - begin - 10);
  Process app({.arguments = {"python3", "-c", program}});
  ASSERT_TRUE(waitForPort(kDirectPort)) << app.errorText();
  Server server;
  server.connect();
  EXPECT_EQ("Current screen: Home", server.call("wyvlet_current_screen"));
}

}  // namespace
}  // namespace wyvlet::test
