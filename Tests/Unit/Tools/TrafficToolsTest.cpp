#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "Samples.h"
#include "Tools/TrafficTools.h"

namespace wyvlet::test {
namespace {

constexpr auto kNone = std::nullopt;

TEST(NetworkLogs, WithoutApp) { EXPECT_EQ(networkLogs({}, 20, kNone, kNone), "Wyvlet not connected"); }

TEST(NetworkLogs, NewestFirstUpToLimit) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {sampleRequest(1, "GET", "https://x/1"), sampleRequest(2, "POST", "https://x/2", 201),
                        sampleRequest(3, "GET", "https://x/3", 404)};
  EXPECT_EQ(networkLogs(cache, 2, kNone, kNone),
            "Recent HTTP Requests (2):\n[00000003] GET 404 125ms https://x/3\n"
            "[00000002] POST 201 125ms https://x/2");
}

TEST(NetworkLogs, LimitBeyondTheCacheListsAll) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {sampleRequest(1, "GET", "u")};
  EXPECT_EQ(networkLogs(cache, std::numeric_limits<std::int64_t>::max(), kNone, kNone),
            "Recent HTTP Requests (1):\n[00000001] GET 200 125ms u");
}

TEST(NetworkLogs, LimitOfZeroOrBelowListsNothing) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {sampleRequest(1, "GET", "u")};
  EXPECT_EQ(networkLogs(cache, 0, kNone, kNone), "No HTTP requests captured yet.");
  EXPECT_EQ(networkLogs(cache, -1, kNone, kNone), "No HTTP requests captured yet.");
  EXPECT_EQ(networkLogs(cache, std::numeric_limits<std::int64_t>::min(), kNone, "native"),
            "No HTTP requests matching source \"native\".");
}

TEST(NetworkLogs, LineShowsTagsAndScreen) {
  auto request = sampleRequest(10, "GET", "https://x", std::nullopt);
  request.duration = 0.0004;
  request.isMocked = true;
  request.isIntercepted = true;
  request.isEnvironmentRewritten = true;
  request.source = "WebView";
  request.screenName = "Cart";
  CacheSnapshot cache = connected();
  cache.httpRequests = {request};
  EXPECT_EQ(networkLogs(cache, 20, kNone, kNone),
            "Recent HTTP Requests (1):\n"
            "[0000000A] GET — 0ms https://x (MOCKED,INTERCEPTED,REWRITTEN,WEBVIEW) from: Cart");
}

TEST(NetworkLogs, OneTagAloneAndScreenWithoutTags) {
  auto rewritten = sampleRequest(1, "GET", "a");
  rewritten.isEnvironmentRewritten = true;
  auto onScreen = sampleRequest(2, "GET", "b");
  onScreen.screenName = "";
  CacheSnapshot cache = connected();
  cache.httpRequests = {rewritten, onScreen};
  EXPECT_EQ(networkLogs(cache, 20, kNone, kNone),
            "Recent HTTP Requests (2):\n[00000002] GET 200 125ms b from: \n"
            "[00000001] GET 200 125ms a (REWRITTEN)");
}

TEST(NetworkLogs, AbsurdDurationsAreShownAsTheyAre) {
  auto request = sampleRequest(1, "GET", "u");
  request.duration = 1e300;
  CacheSnapshot cache = connected();
  cache.httpRequests = {request};
  const std::string text = networkLogs(cache, 1, kNone, kNone);
  EXPECT_TRUE(text.ends_with("ms u")) << text;
  request.duration = -2.5;
  cache.httpRequests = {request};
  EXPECT_EQ(networkLogs(cache, 1, kNone, kNone), "Recent HTTP Requests (1):\n[00000001] GET 200 -2500ms u");
}

class NetworkLogFilters : public ::testing::Test {
 protected:
  NetworkLogFilters() {
    auto web = sampleRequest(1, "GET", "web");
    web.source = "WebView";
    web.screenName = "Confirm Booking";
    auto native = sampleRequest(2, "GET", "native");
    native.screenName = "ÜBERSICHT";
    auto other = sampleRequest(3, "GET", "other");
    other.source = "webview";  // not the capture path's exact name
    cache.httpRequests = {web, native, other};
  }

  CacheSnapshot cache = connected();
};

TEST_F(NetworkLogFilters, ScreenIsASubstringInAnyCase) {
  EXPECT_EQ(networkLogs(cache, 20, "confirm", kNone),
            "Recent HTTP Requests (1):\n[00000001] GET 200 125ms web (WEBVIEW) from: Confirm Booking");
  EXPECT_EQ(networkLogs(cache, 20, "übers", kNone),
            "Recent HTTP Requests (1):\n[00000002] GET 200 125ms native from: ÜBERSICHT");
}

TEST_F(NetworkLogFilters, EmptyScreenKeepsWhateverHasAScreen) {
  EXPECT_TRUE(networkLogs(cache, 20, "", kNone).starts_with("Recent HTTP Requests (2):"));
}

TEST_F(NetworkLogFilters, WebViewHasItsOwnTitleInThisSpellingOnly) {
  const std::string line = "\n[00000001] GET 200 125ms web (WEBVIEW) from: Confirm Booking";
  EXPECT_EQ(networkLogs(cache, 20, kNone, "webview"), "WebView HTTP Requests (1):" + line);
  EXPECT_EQ(networkLogs(cache, 20, kNone, "WEBVIEW"), "WebView HTTP Requests (1):" + line);
  EXPECT_EQ(networkLogs(cache, 20, kNone, "web_view"), "Recent HTTP Requests (1):" + line);
}

TEST_F(NetworkLogFilters, NativeIsEverythingElse) {
  const std::string text =
      "Recent HTTP Requests (2):\n[00000003] GET 200 125ms other\n"
      "[00000002] GET 200 125ms native from: ÜBERSICHT";
  for (const char* word : {"native", "NATIVE", "urlsession", "URL_Session"}) {
    EXPECT_EQ(networkLogs(cache, 20, kNone, word), text) << word;
  }
}

TEST_F(NetworkLogFilters, UnknownSourceFiltersNothing) {
  EXPECT_TRUE(networkLogs(cache, 20, kNone, "carrier pigeon").starts_with("Recent HTTP Requests (3):\n"));
}

TEST_F(NetworkLogFilters, LimitCountsWhatPasses) {
  EXPECT_EQ(networkLogs(cache, 1, "confirm", "webview"),
            "WebView HTTP Requests (1):\n[00000001] GET 200 125ms web (WEBVIEW) from: Confirm Booking");
}

TEST_F(NetworkLogFilters, NothingLeftNamesTheFiltersAsTyped) {
  EXPECT_EQ(networkLogs(cache, 20, "Nowhere", kNone), "No HTTP requests matching screen \"Nowhere\".");
  EXPECT_EQ(networkLogs(connected(), 20, kNone, "WebView"), "No HTTP requests matching source \"WebView\".");
  EXPECT_EQ(networkLogs(cache, 20, "Nowhere", "NATIVE"),
            "No HTTP requests matching screen \"Nowhere\" + source \"NATIVE\".");
}

TEST(RequestDetail, WithoutAppOrWithoutMatch) {
  EXPECT_EQ(requestDetail({}, ""), "Wyvlet not connected");
  const std::string notFound = "Request not found. Use wyvlet_get_network_logs to see available requests.";
  EXPECT_EQ(requestDetail(connected(), ""), notFound);
  CacheSnapshot cache = connected();
  cache.httpRequests = {sampleRequest(0xAB, "GET", "u")};
  EXPECT_EQ(requestDetail(cache, "000000ab"), notFound);
  EXPECT_EQ(requestDetail(cache, sampleId(0xAB).text() + "0"), notFound);
}

TEST(RequestDetail, FoundByShortIdWholeIdOrNone) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {sampleRequest(1, "GET", "first"), sampleRequest(2, "GET", "second"),
                        sampleRequest(2, "GET", "same id")};
  EXPECT_TRUE(requestDetail(cache, "00000002").starts_with("Request: GET second\n"));
  EXPECT_TRUE(requestDetail(cache, sampleId(2).text()).starts_with("Request: GET second\n"));
  EXPECT_TRUE(requestDetail(cache, "").starts_with("Request: GET first\n"));
}

TEST(RequestDetail, EverySection) {
  auto request = sampleRequest(1, "POST", "https://x/book", 500);
  request.duration = 1.2346;
  request.screenName = "Checkout";
  request.requestHeaders = {{"Content-Type", "application/json"}, {"Accept", "*/*"}, {"x-id", "7"}};
  request.requestBody = Bytes{"{\"seat\":1}"};
  request.responseHeaders = {{"Server", "s"}};
  request.responseBody = Bytes{"oops"};
  request.errorDescription = "timed out";
  CacheSnapshot cache = connected();
  cache.httpRequests = {request};
  EXPECT_EQ(requestDetail(cache, "0"),
            "Request: POST https://x/book\nStatus: 500\nDuration: 1235ms\nScreen: Checkout\n\n"
            "--- Request Headers ---\nAccept: */*\nContent-Type: application/json\nx-id: 7\n\n"
            "--- Request Body ---\n{\"seat\":1}\n\n--- Response Headers ---\nServer: s\n\n"
            "--- Response Body ---\noops\n\n--- Error ---\ntimed out");
}

TEST(RequestDetail, WhatIsMissing) {
  CacheSnapshot cache = connected();
  cache.httpRequests = {sampleRequest(1, "GET", "u", std::nullopt)};
  EXPECT_EQ(requestDetail(cache, "0"),
            "Request: GET u\nStatus: 0\nDuration: 125ms\nScreen: unknown\n\n--- Request Headers ---\n\n"
            "--- Response Headers ---");
}

TEST(RequestDetail, BodiesThatAreEmptyOrNoTextAreLeftOut) {
  auto request = sampleRequest(1, "GET", "u");
  request.requestBody = Bytes{""};
  request.responseBody = Bytes{"abc\xFF"};
  CacheSnapshot cache = connected();
  cache.httpRequests = {request};
  EXPECT_EQ(requestDetail(cache, "0"),
            "Request: GET u\nStatus: 200\nDuration: 125ms\nScreen: unknown\n\n--- Request Headers ---\n\n"
            "--- Response Headers ---");
}

TEST(RequestDetail, BodiesAreCutBetweenCharacters) {
  // A family of three code points joined into one character, so that a cut by bytes or code points shows.
  const std::string family = "👨‍👩‍👧";
  auto request = sampleRequest(1, "GET", "u");
  request.requestBody = Bytes{repeated(family, 2001)};
  request.responseBody = Bytes{repeated("é", 4001)};
  CacheSnapshot cache = connected();
  cache.httpRequests = {request};
  EXPECT_EQ(requestDetail(cache, "0"),
            "Request: GET u\nStatus: 200\nDuration: 125ms\nScreen: unknown\n\n--- Request Headers ---\n\n"
            "--- Request Body ---\n" +
                repeated(family, 2000) +
                "\n\n--- Response Headers ---\n\n"
                "--- Response Body ---\n" +
                repeated("é", 4000));
}

TEST(RequestDetail, BodiesAtTheirLimitAreWhole) {
  auto request = sampleRequest(1, "GET", "u");
  request.requestBody = Bytes{repeated("a", 2000)};
  request.responseBody = Bytes{repeated("b", 4000)};
  CacheSnapshot cache = connected();
  cache.httpRequests = {request};
  const std::string text = requestDetail(cache, "0");
  EXPECT_NE(text.find("\n" + repeated("a", 2000) + "\n"), std::string::npos);
  EXPECT_TRUE(text.ends_with("\n" + repeated("b", 4000)));
}

TEST(AppLogs, WithoutApp) { EXPECT_EQ(appLogs({}, 20, kNone, kNone), "Wyvlet not connected"); }

TEST(AppLogs, NewestFirstUpToLimit) {
  auto onScreen = sampleEntry("INFO", "nav", "opened cart");
  onScreen.screenName = "Cart";
  CacheSnapshot cache = connected();
  cache.logEntries = {sampleEntry("DEBUG", "boot", "old"), onScreen, sampleEntry("ERROR", "net", "boom")};
  EXPECT_EQ(appLogs(cache, 2, kNone, kNone),
            "App Logs (2):\n[ERROR] [net] boom  (Cart.swift:42)\n"
            "[INFO] [nav] opened cart [Cart]  (Cart.swift:42)");
}

TEST(AppLogs, LevelIsExactAndScreenIsNot) {
  auto first = sampleEntry("ERROR", "a", "one");
  first.screenName = "Confirm Booking";
  auto second = sampleEntry("error", "b", "two");
  second.screenName = "confirm";
  CacheSnapshot cache = connected();
  cache.logEntries = {first, second, sampleEntry("ERROR", "c", "three")};
  EXPECT_EQ(appLogs(cache, 20, "ERROR", "CONFIRM"),
            "App Logs (1 on CONFIRM):\n[ERROR] [a] one [Confirm Booking]  (Cart.swift:42)");
  EXPECT_EQ(appLogs(cache, 20, "error", kNone), "App Logs (1):\n[error] [b] two [confirm]  (Cart.swift:42)");
  EXPECT_EQ(appLogs(cache, 20, "Error", kNone), "No log entries matching level Error.");
}

TEST(AppLogs, NothingLeftNamesTheFilters) {
  EXPECT_EQ(appLogs(connected(), 20, kNone, kNone), "No log entries.");
  EXPECT_EQ(appLogs(connected(), 20, "WARN", "Cart"),
            "No log entries matching level WARN + screen \"Cart\".");
  EXPECT_EQ(appLogs(connected(), 20, kNone, "Cart"), "No log entries matching screen \"Cart\".");
  CacheSnapshot cache = connected();
  cache.logEntries = {sampleEntry("INFO", "a", "b")};
  EXPECT_EQ(appLogs(cache, 0, kNone, kNone), "No log entries.");
}

TEST(AppLogs, LargestLineNumber) {
  auto entry = sampleEntry("INFO", "a", "b");
  entry.line = std::numeric_limits<std::uint64_t>::max();
  CacheSnapshot cache = connected();
  cache.logEntries = {entry};
  EXPECT_EQ(appLogs(cache, 1, kNone, kNone),
            "App Logs (1):\n[INFO] [a] b  (Cart.swift:18446744073709551615)");
}

TransferableWSFrame frame(std::string direction, std::string type, std::optional<std::string> text,
                          std::optional<Bytes> payload = std::nullopt) {
  TransferableWSFrame made;
  made.direction = std::move(direction);
  made.frameType = std::move(type);
  made.payloadString = std::move(text);
  made.payload = std::move(payload);
  return made;
}

class WebSocketLogs : public ::testing::Test {
 protected:
  WebSocketLogs() {
    TransferableWSConnection first;
    first.id = sampleId(1);
    first.url = "wss://x/live";
    first.status = "open";
    first.frames = {frame("Sent", "text", "hello"), frame("Received", "binary", kNone, Bytes{"12345"}),
                    frame("sent", "ping", kNone)};
    TransferableWSConnection second;
    second.id = sampleId(2);
    second.url = "wss://y";
    second.status = "closed";
    cache.wsConnections = {first, second};
  }

  CacheSnapshot cache = connected();
};

TEST_F(WebSocketLogs, WithoutAppOrConnections) {
  EXPECT_EQ(websocketLogs({}, 20), "Wyvlet not connected");
  EXPECT_EQ(websocketLogs(connected(), 20), "No WebSocket connections.");
}

TEST_F(WebSocketLogs, FramesOldestFirst) {
  EXPECT_EQ(websocketLogs(cache, 20),
            "WebSocket Connections (2):\n[00000001] wss://x/live — open\n  → [text] hello\n"
            "  ← [binary] 5 bytes\n  ← [ping] 0 bytes\n[00000002] wss://y — closed");
}

TEST_F(WebSocketLogs, LimitAppliesToFramesOnly) {
  EXPECT_EQ(websocketLogs(cache, 1),
            "WebSocket Connections (2):\n[00000001] wss://x/live — open\n  ← [ping] 0 bytes\n"
            "[00000002] wss://y — closed");
  const std::string bare =
      "WebSocket Connections (2):\n[00000001] wss://x/live — open\n[00000002] wss://y — closed";
  EXPECT_EQ(websocketLogs(cache, 0), bare);
  EXPECT_EQ(websocketLogs(cache, std::numeric_limits<std::int64_t>::min()), bare);
}

TEST_F(WebSocketLogs, TextWinsOverPayloadAndIsCut) {
  TransferableWSConnection connection;
  connection.id = sampleId(3);
  connection.frames = {frame("Sent", "text", repeated("🇩🇪", 201), Bytes{"xx"}), frame("Sent", "text", "")};
  cache.wsConnections = {connection};
  EXPECT_EQ(websocketLogs(cache, 20), "WebSocket Connections (1):\n[00000003]  — \n  → [text] " +
                                          repeated("🇩🇪", 200) + "\n  → [text] ");
}

class Replay : public ::testing::Test {
 protected:
  std::string replay(std::string_view id) {
    return replayRequest(cache, id, [&](const ReplayRequestCommand& command) { sent.push_back(command); });
  }

  CacheSnapshot cache = connected();
  std::vector<ReplayRequestCommand> sent;
};

TEST_F(Replay, SendsTheFieldsOfTheFoundRequest) {
  auto request = sampleRequest(2, "PUT", "https://x/2");
  request.requestHeaders = {{"A", "b"}};
  request.requestBody = Bytes{std::string("\x00\xFF", 2)};
  cache.httpRequests = {sampleRequest(1, "GET", "https://x/1"), request};
  EXPECT_EQ(replay("00000002"), "Replaying: PUT https://x/2");
  EXPECT_EQ(sent, (std::vector<ReplayRequestCommand>{
                      {"https://x/2", "PUT", {{"A", "b"}}, Bytes{std::string("\x00\xFF", 2)}}}));
}

TEST_F(Replay, AnAbsentBodyStaysAbsent) {
  cache.httpRequests = {sampleRequest(1, "GET", "u")};
  EXPECT_EQ(replay(""), "Replaying: GET u");
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].body, std::nullopt);
}

TEST_F(Replay, NothingIsSentWithoutAppOrRequest) {
  EXPECT_EQ(replay(""), "Request not found.");
  cache.httpRequests = {sampleRequest(1, "GET", "u")};
  EXPECT_EQ(replay("FFFF"), "Request not found.");
  cache.isConnected = false;
  EXPECT_EQ(replay("0"), "Wyvlet not connected");
  EXPECT_TRUE(sent.empty());
}

}  // namespace
}  // namespace wyvlet::test
