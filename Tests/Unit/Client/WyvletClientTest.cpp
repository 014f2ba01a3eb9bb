#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <boost/json.hpp>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <limits>
#include <thread>

#include "Client/WyvletClient.h"
#include "Unit/Client/LogCapture.h"
#include "Unit/Client/RawPeer.h"
#include "Unit/Client/TestApp.h"
#include "WyvletShared/Responses.h"

namespace wyvlet {
namespace {

using test::frameOf;
using test::kPatience;
using test::LogCapture;
using test::logEntry;
using test::RawPeer;
using test::request;
using test::TestApp;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

/// How long a wait may take that is meant to time out.
constexpr double kShort = 0.1;

/// No browse of these tests may find what happens to be announced on the machine that runs them.
class NoServiceDaemon : public ::testing::Environment {
 public:
  void SetUp() override { ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1); }
};
const auto* const kNoServiceDaemon = ::testing::AddGlobalTestEnvironment(new NoServiceDaemon);

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

LenientSyncPayload syncOf(const std::string& screen) {
  LenientSyncPayload sync;
  sync.currentScreen = screen;
  return sync;
}

class Client : public ::testing::Test {
 protected:
  ~Client() override { std::filesystem::remove_all(folder_); }

  std::string marker() const { return (folder_ / "ready").string(); }
  void makeMarker() const { std::ofstream(marker()) << "ready"; }
  bool isMarkerPresent() const { return std::filesystem::exists(marker()); }

  bool connect(const TestApp& app, double timeoutSeconds = kPatience) {
    return client_.connectDirectTCP("127.0.0.1", app.port(), timeoutSeconds);
  }

  /// Waits until the client has handled everything that `app` has sent so far.
  void settle(TestApp& app) {
    app.onCommand("command.perfSnapshot", [&app] {
      app.sendsFree("response.perfSnapshot",
                    R"({"fps":1,"memoryMB":1,"avgFPS":1,"peakMemoryMB":1,"screen":"-"})");
    });
    ASSERT_THAT(client_.requestPerfSnapshot(kPatience), StartsWith("Screen: -"));
  }

  static std::filesystem::path makeFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "wyvlet-client-XXXXXX").string();
    return ::mkdtemp(folder.data());
  }

  const std::filesystem::path folder_ = makeFolder();
  LogCapture log_;
  WyvletClient client_{WyvletClient::Options{.markerPath = marker()}};
};

// ---- Connecting directly ----

TEST_F(Client, StartsNothing) {
  const WyvletClient client;
  EXPECT_FALSE(client.isConnected());
  EXPECT_FALSE(client.hasSynced());
  EXPECT_FALSE(client.isReady());
  EXPECT_EQ(client.currentScreen(), "Unknown");
  EXPECT_FALSE(client.snapshot().isConnected);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

#if defined(__linux__)
TEST_F(Client, HasNoThreadBeforeItIsUsed) {
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const auto before = threads();
  const WyvletClient client;
  EXPECT_EQ(threads(), before);
}
#endif

TEST_F(Client, ConnectsDirectlyAndWaitsForTheSync) {
  LenientSyncPayload sync = syncOf("Trips");
  sync.httpRequests = {request("/a"), request("/b")};
  sync.logEntries = {logEntry("boot")};
  const TestApp app(sync);
  EXPECT_TRUE(connect(app, 8.5));
  EXPECT_TRUE(client_.isConnected());
  EXPECT_TRUE(client_.hasSynced());
  EXPECT_TRUE(client_.isReady());
  EXPECT_EQ(client_.currentScreen(), "Trips");
  EXPECT_TRUE(client_.snapshot().isConnected);
  EXPECT_EQ(client_.snapshot().httpRequests.size(), 2U);
  ASSERT_TRUE(log_.waitFor("[wyvlet] Direct TCP — synced: true, connected: true"));
  const auto lines = log_.lines();
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines.front(), "[wyvlet] Direct TCP connect to 127.0.0.1:" + std::to_string(app.port()) + "...");
  EXPECT_EQ(lines.back(), "[wyvlet] Direct TCP — synced: true, connected: true");
  EXPECT_EQ(log_.count("[wyvlet] Waiting for direct TCP sync (up to 8s)..."), 1U);
  EXPECT_EQ(log_.count("[wyvlet] Connected!"), 1U);
  EXPECT_EQ(log_.count("[wyvlet] Received: syncFull"), 1U);
  EXPECT_EQ(log_.count("[wyvlet] Synced: 2 reqs, 1 logs, 0 envs, 0 QA, 0 UD"), 1U);
}

TEST_F(Client, ARefusedConnectionWaitsOutItsTimeAndFails) {
  std::uint16_t port = 0;
  {
    const RawPeer peer;
    port = peer.port();
  }
  const auto start = Clock::now();
  EXPECT_FALSE(client_.connectDirectTCP("127.0.0.1", port, kShort));
  EXPECT_GE(secondsSince(start), kShort);
  EXPECT_FALSE(client_.isConnected());
  ASSERT_TRUE(log_.waitFor("[wyvlet] Direct TCP — synced: false, connected: false"));
  EXPECT_EQ(log_.count("[wyvlet] Waiting for direct TCP sync (up to 0s)..."), 1U);
  EXPECT_TRUE(log_.waitFor("[wyvlet] Connection failed: Connection refused"));
  EXPECT_EQ(log_.lines().size(), 4U);
}

TEST_F(Client, ALinkThatNeverSyncsIsAFailure) {
  TestApp app(std::nullopt);
  auto connecting = std::async(std::launch::async, [&] { return connect(app, 1.0); });
  ASSERT_TRUE(log_.waitFor("[wyvlet] Connected!"));
  EXPECT_FALSE(connecting.get());
  EXPECT_TRUE(client_.isConnected());
  EXPECT_FALSE(client_.hasSynced());
  EXPECT_TRUE(client_.isReady());
  EXPECT_TRUE(log_.waitFor("[wyvlet] Direct TCP — synced: false, connected: true"));
}

TEST_F(Client, ASyncThatDoesNotDecodeWakesNobodyAndChangesNothing) {
  TestApp good(syncOf("Trips"));
  ASSERT_TRUE(connect(good));
  TestApp bad(std::nullopt);
  auto connecting = std::async(std::launch::async, [&] { return connect(bad, 1.0); });
  ASSERT_TRUE(bad.waitForLink());
  bad.sendsPayload(CompanionMessageType::syncFull, R"({"currentScreen":"Broken","httpRequests":{}})");
  EXPECT_FALSE(log_.waitForPrefix("[wyvlet] Sync decode error: ").empty());
  EXPECT_FALSE(connecting.get());
  EXPECT_FALSE(client_.hasSynced());
  EXPECT_EQ(client_.currentScreen(), "Trips");
}

TEST_F(Client, ALaterSyncReplacesEverything) {
  LenientSyncPayload sync = syncOf("Trips");
  sync.httpRequests = {request("/a"), request("/b")};
  TestApp app(sync);
  ASSERT_TRUE(connect(app));
  app.sends(CompanionMessageType::eventLog, logEntry("boot"));
  app.sends(CompanionMessageType::syncFull, syncOf("Login"));
  settle(app);
  EXPECT_TRUE(client_.snapshot().httpRequests.empty());
  EXPECT_TRUE(client_.snapshot().logEntries.empty());
  EXPECT_EQ(log_.count("[wyvlet] Synced: 0 reqs, 0 logs, 0 envs, 0 QA, 0 UD"), 1U);
}

TEST_F(Client, TimeoutsOfEveryKindAreBorne) {
  TestApp app;
  for (const double timeout : {0.0, -1.0, std::nan(""), -std::numeric_limits<double>::infinity()}) {
    connect(app, timeout);
    client_.waitForConnection(timeout);
  }
  EXPECT_TRUE(connect(app, std::numeric_limits<double>::infinity()));
  EXPECT_TRUE(connect(app, 1e300));
}

// ---- Events over the wire ----

TEST_F(Client, KeepsTheNewestFiveHundredStreamedEvents) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  for (int i = 0; i <= 500; ++i) {
    app.sends(CompanionMessageType::eventHttpRequest, request("/" + std::to_string(i)));
    app.sends(CompanionMessageType::eventLog, logEntry(std::to_string(i)));
  }
  settle(app);
  const auto snapshot = client_.snapshot();
  ASSERT_EQ(snapshot.httpRequests.size(), 500U);
  EXPECT_EQ(snapshot.httpRequests[0].path, "/1");
  EXPECT_EQ(snapshot.httpRequests[499].path, "/500");
  ASSERT_EQ(snapshot.logEntries.size(), 500U);
  EXPECT_EQ(snapshot.logEntries[0].message, "1");
  ASSERT_TRUE(log_.waitFor("[wyvlet] Received: eventHttpRequest", 501));
}

TEST_F(Client, ASyncOfEightHundredKeepsAllOfThem) {
  LenientSyncPayload sync;
  sync.httpRequests.emplace();
  for (int i = 0; i < 800; ++i) sync.httpRequests->push_back(request("/" + std::to_string(i)));
  TestApp app(sync);
  ASSERT_TRUE(connect(app));
  EXPECT_EQ(client_.snapshot().httpRequests.size(), 800U);
  app.sends(CompanionMessageType::eventHttpRequest, request("/new"));
  settle(app);
  const auto list = client_.snapshot().httpRequests;
  ASSERT_EQ(list.size(), 800U);
  EXPECT_EQ(list[0].path, "/1");
  EXPECT_EQ(list[799].path, "/new");
}

TEST_F(Client, ResynchronisesAfterJunk) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  const std::string junk(4'000'000, '\xFF');
  app.sendsBytes(junk);
  app.sends(CompanionMessageType::eventLog, logEntry("after"));
  app.sendsBytes(encodeFrame("no envelope") + encodeFrame("[1,2]"));
  app.sends(CompanionMessageType::eventLog, logEntry("and after"));
  settle(app);
  EXPECT_EQ(client_.snapshot().logEntries.size(), 2U);
  ASSERT_TRUE(log_.waitFor("[wyvlet] Bad length: 999900 more in a row, skipped"));
  EXPECT_EQ(log_.count("[wyvlet] Bad length: 4294967295, skipping"), 100U);
  EXPECT_EQ(log_.countPrefix("[wyvlet] Decode error (11 bytes): "), 1U);
  EXPECT_EQ(log_.countPrefix("[wyvlet] Decode error (5 bytes): "), 1U);
}

TEST_F(Client, ReadersSeeWholeSnapshotsWhileTheAppSends) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  std::atomic<bool> isSending = true;
  std::thread reader([&] {
    while (isSending) {
      const auto snapshot = client_.snapshot();
      for (const auto& entry : snapshot.logEntries) EXPECT_EQ(entry.level, "INFO");
      EXPECT_TRUE(client_.isReady());
      EXPECT_FALSE(client_.currentScreen().empty());
    }
  });
  for (int i = 0; i < 2000; ++i) app.sends(CompanionMessageType::eventLog, logEntry(std::to_string(i)));
  settle(app);
  isSending = false;
  reader.join();
  EXPECT_EQ(client_.snapshot().logEntries.size(), 500U);
}

// ---- How links end ----

TEST_F(Client, AnAppThatGoesAwayLeavesItsCacheBehind) {
  TestApp app(syncOf("Trips"));
  ASSERT_TRUE(connect(app));
  app.closeLink();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Connection closed"));
  while (client_.isConnected()) std::this_thread::yield();  // the flag follows the line at once
  EXPECT_TRUE(client_.hasSynced());
  EXPECT_FALSE(client_.isReady());
  EXPECT_FALSE(client_.snapshot().isConnected);
  EXPECT_EQ(client_.currentScreen(), "Trips");
  EXPECT_EQ(client_.requestScreenText(kPatience), "Wyvlet not connected");
}

TEST_F(Client, ALinkThatBreaksInsideABodyIsConnectedButNotReady) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  app.sendsBytes(std::string("\0\0\0\x10half a body", 15));
  app.closeLink();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Body error: End of file"));
  EXPECT_TRUE(client_.isConnected());
  EXPECT_TRUE(client_.hasSynced());
  EXPECT_FALSE(client_.isReady());
  EXPECT_EQ(client_.requestScreenText(kShort), "Screen text timed out");
  EXPECT_TRUE(log_.waitFor("[wyvlet] Send error: " + std::string(std::strerror(ENOTCONN))));
  TestApp restarted(syncOf("Again"));
  EXPECT_TRUE(connect(restarted));
  EXPECT_TRUE(client_.isReady());
  EXPECT_EQ(client_.currentScreen(), "Again");
}

TEST_F(Client, ForceDisconnectDropsTheLinkAndTheMarkerOnly) {
  TestApp app(syncOf("Trips"));
  ASSERT_TRUE(connect(app));
  makeMarker();
  client_.forceDisconnect();
  EXPECT_FALSE(client_.isConnected());
  EXPECT_FALSE(client_.hasSynced());
  EXPECT_FALSE(client_.isReady());
  EXPECT_FALSE(isMarkerPresent());
  EXPECT_TRUE(app.waitForEnd());
  EXPECT_EQ(client_.currentScreen(), "Trips");
  const auto lines = log_.lines().size();
  client_.forceDisconnect();
  EXPECT_EQ(log_.lines().size(), lines) << "neither the end of the link nor a missing marker is news";
}

TEST_F(Client, AReplacedLinkTouchesNothing) {
  TestApp first(syncOf("First"));
  TestApp second(syncOf("Second"));
  ASSERT_TRUE(connect(first));
  ASSERT_TRUE(connect(second));
  EXPECT_TRUE(first.waitForEnd());
  first.sends(CompanionMessageType::syncFull, syncOf("Ghost"));
  first.closeLink();
  settle(second);
  EXPECT_TRUE(client_.isReady());
  EXPECT_TRUE(client_.hasSynced());
  EXPECT_EQ(log_.count("[wyvlet] Connection closed"), 0U);
  EXPECT_EQ(log_.countPrefix("[wyvlet] Header error"), 0U);
  EXPECT_EQ(log_.count("[wyvlet] Received: syncFull"), 2U);
}

TEST_F(Client, ASyncOfADroppedLinkDoesNotCount) {
  TestApp app(std::nullopt);
  auto connecting = std::async(std::launch::async, [&] { return connect(app, 2.0); });
  ASSERT_TRUE(log_.waitFor("[wyvlet] Connected!"));
  client_.forceDisconnect();
  app.sends(CompanionMessageType::syncFull, syncOf("Ghost"));
  EXPECT_FALSE(connecting.get());
  EXPECT_FALSE(client_.hasSynced());
  EXPECT_EQ(client_.currentScreen(), "Unknown");
}

TEST_F(Client, AppsMayComeAndGoManyTimes) {
  for (int i = 0; i < 20; ++i) {
    TestApp app(syncOf(std::to_string(i)));
    ASSERT_TRUE(connect(app));
    EXPECT_EQ(client_.currentScreen(), std::to_string(i));
    if (i % 3 == 0) app.closeLink();
    if (i % 3 == 1) client_.forceDisconnect();
  }
}

TEST_F(Client, MayEndAtAnyMoment) {
  TestApp app;
  RawPeer silent(RawPeer::Family::IPv4, 0);
  {
    WyvletClient browsing{WyvletClient::Options{.markerPath = marker()}};
    browsing.startBrowsing();
  }
  {
    WyvletClient connecting{WyvletClient::Options{.markerPath = marker()}};
    connecting.connectDirectTCP("127.0.0.1", silent.port(), 0);
    connecting.connectDirectTCP("127.0.0.1", silent.port(), 0);
  }
  WyvletClient connected{WyvletClient::Options{.markerPath = marker()}};
  EXPECT_TRUE(connected.connectDirectTCP("127.0.0.1", app.port(), kPatience));
}

// ---- Waiting ----

TEST_F(Client, WaitingOnAReadyLinkReturnsAtOnceAndSaysNothing) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  ASSERT_TRUE(log_.waitFor("[wyvlet] Direct TCP — synced: true, connected: true"));
  const auto lines = log_.lines();
  client_.waitForConnection(kPatience);
  settle(app);  // asks outside the registry, which is not logged either
  EXPECT_EQ(log_.lines(), lines);
}

TEST_F(Client, AWaitAloneGoesThroughTheStatedSteps) {
  makeMarker();
  client_.waitForConnection(1.5);
  ASSERT_TRUE(log_.waitFor("[wyvlet] Wait complete — synced: false, connected: false"));
  const auto failure = log_.waitForPrefix("[wyvlet] Browse failed: ");
  EXPECT_NE(failure, "");
  auto lines = log_.lines();
  std::erase(lines, failure);
  EXPECT_THAT(lines, ElementsAre("[wyvlet] Browsing for Wyvlet...", "[wyvlet] Searching for Wyvlet...",
                                 "[wyvlet] Waiting for sync (up to 1s)...",
                                 "[wyvlet] Wait complete — synced: false, connected: false"));
  EXPECT_TRUE(isMarkerPresent());
}

TEST_F(Client, WithoutAMarkerBrowsingStartsAfterTheTimeout) {
  const auto start = Clock::now();
  client_.waitForConnection(0.3);
  EXPECT_GE(secondsSince(start), 0.6) << "the wait for the marker, then the wait for the sync";
  EXPECT_TRUE(log_.waitFor("[wyvlet] Waiting for sync (up to 0s)..."));
}

TEST_F(Client, AMarkerThatAppearsEndsItsWait) {
  const auto start = Clock::now();
  auto waiting = std::async(std::launch::async, [&] { client_.waitForConnection(kPatience); });
  makeMarker();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Browsing for Wyvlet..."));
  EXPECT_LT(secondsSince(start), 5.0);
  ASSERT_TRUE(log_.waitFor("[wyvlet] Waiting for sync (up to 30s)..."));
  TestApp app;
  EXPECT_TRUE(connect(app));
  waiting.get();
}

TEST_F(Client, AClosedLinkIsRebuiltWithoutTearingDown) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  app.closeLink();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Connection closed"));
  while (client_.isConnected()) std::this_thread::yield();
  makeMarker();
  client_.waitForConnection(kShort);
  EXPECT_TRUE(log_.waitFor("[wyvlet] Wait complete — synced: false, connected: false"));
  EXPECT_EQ(log_.countPrefix("[wyvlet] Connection state: "), 0U);
  EXPECT_TRUE(isMarkerPresent());
}

TEST_F(Client, ABrokenLinkIsTornDownFirst) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  app.sendsBytes(std::string("\0\0\0\x10half a body", 15));
  app.closeLink();
  ASSERT_TRUE(log_.waitFor("[wyvlet] Body error: End of file"));
  makeMarker();
  client_.waitForConnection(kShort);
  ASSERT_TRUE(log_.waitFor("[wyvlet] Wait complete — synced: false, connected: false"));
  EXPECT_EQ(log_.count("[wyvlet] Connection state: failed — forcing reconnect"), 1U);
  EXPECT_FALSE(isMarkerPresent());
  EXPECT_FALSE(client_.isConnected());
}

TEST_F(Client, OneSyncWakesEveryWaiter) {
  constexpr int kWaiters = 8;
  makeMarker();
  std::vector<std::future<void>> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.push_back(std::async(std::launch::async, [&] { client_.waitForConnection(kPatience); }));
  }
  ASSERT_TRUE(log_.waitFor("[wyvlet] Waiting for sync (up to 30s)...", kWaiters));
  const auto start = Clock::now();
  TestApp app;
  EXPECT_TRUE(connect(app));
  for (auto& waiter : waiters) waiter.get();
  EXPECT_LT(secondsSince(start), kPatience);
  EXPECT_TRUE(log_.waitFor("[wyvlet] Wait complete — synced: true, connected: true", kWaiters));
}

TEST_F(Client, AWaiterLeavesALinkAloneThatAnotherBroughtUp) {
  // Without the marker this wait has five seconds before it browses; the other caller needs far less.
  auto waiting = std::async(std::launch::async, [&] { client_.waitForConnection(kPatience); });
  TestApp app;
  ASSERT_TRUE(connect(app));
  waiting.get();
  settle(app);
  EXPECT_TRUE(client_.isReady());
  EXPECT_EQ(log_.count("[wyvlet] Browsing for Wyvlet..."), 0U);
  EXPECT_EQ(log_.countPrefix("[wyvlet] Wait complete"), 0U);
}

TEST_F(Client, ConcurrentDirectConnectionsEndOnOneLink) {
  TestApp app;
  std::vector<std::future<bool>> callers;
  for (int i = 0; i < 6; ++i) {
    callers.push_back(std::async(std::launch::async, [&] { return connect(app); }));
  }
  for (auto& caller : callers) caller.wait();
  // Whoever came last has torn down the others' links; what is left must work.
  ASSERT_TRUE(connect(app));
  settle(app);
  EXPECT_TRUE(client_.isReady());
}

TEST_F(Client, ASearchThatFailsIsOneLine) {
  client_.startBrowsing();
  EXPECT_NE(log_.waitForPrefix("[wyvlet] Browse failed: "), "");
  TestApp app;
  EXPECT_TRUE(connect(app)) << "an app can be reached directly all the same";
  EXPECT_EQ(log_.countPrefix("[wyvlet] Browse failed: "), 1U);
  EXPECT_EQ(log_.lines().front(), "[wyvlet] Searching for Wyvlet...");
}

// ---- Commands and questions ----

TEST_F(Client, WithoutALinkNothingIsSentAndNothingIsSaid) {
  client_.sendCommand(CompanionMessageType::commandMarkQAPassed, MarkQACommand{});
  client_.sendRawCommand("command.addMockRule", {{"urlPattern", "/x"}});
  client_.showOverlay("Tap", "Pay", true);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

/// A peer that only records bytes, to see what really goes out.
class Wire : public Client {
 protected:
  void connectToPeer() {
    auto connecting = std::async(
        std::launch::async, [&] { return client_.connectDirectTCP("127.0.0.1", peer_.port(), kPatience); });
    ASSERT_TRUE(peer_.accept());
    ASSERT_TRUE(peer_.send(frameOf(CompanionMessageType::syncFull, "{}")));
    ASSERT_TRUE(connecting.get());
  }
  boost::json::object receive() {
    std::uint32_t length = 0;
    for (const char byte : peer_.receive(4)) length = length << 8 | static_cast<unsigned char>(byte);
    body_ = peer_.receive(length);
    return boost::json::parse(body_).as_object();
  }
  static double number(const boost::json::value& value) { return value.to_number<double>(); }

  RawPeer peer_;
  std::string body_;
};

TEST_F(Wire, ATypedCommandIsFramedAndCountsFrom2001) {
  connectToPeer();
  const auto item = *UUID::parse("4c9b1f2e-0d1a-4b7e-9f63-2a8d7c5e1b40");
  client_.sendCommand(CompanionMessageType::commandMarkQAFailed,
                      MarkQACommand{item, std::nullopt, std::nullopt});
  const auto envelope = receive();
  EXPECT_THAT(body_, StartsWith(R"({"type":"command.markQAFailed","payload":")"
                                "eyJpdGVtSWQiOiI0QzlCMUYyRS0wRDFBLTRCN0UtOUY2My0yQThEN0M1RTFCNDAifQ=="
                                R"(","timestamp":)"));
  EXPECT_NEAR(number(envelope.at("timestamp")), Date::now().secondsSince1970 - 978307200.0, 60);
}

TEST_F(Wire, AFreeFormCommandIsFramedAndCountsFrom1970) {
  connectToPeer();
  client_.sendRawCommand("command.removeMockRule", {{"ruleId", "R"}});
  const auto envelope = receive();
  EXPECT_THAT(
      body_, StartsWith(R"({"type":"command.removeMockRule","payload":"eyJydWxlSWQiOiJSIn0=","timestamp":)"));
  EXPECT_NEAR(number(envelope.at("timestamp")), Date::now().secondsSince1970, 60);
}

TEST_F(Wire, NoArgumentsAreNoBytes) {
  connectToPeer();
  client_.sendRawCommand("command.hideOverlay", {});
  receive();
  EXPECT_THAT(body_, StartsWith(R"({"type":"command.hideOverlay","payload":"","timestamp":)"));
}

TEST_F(Client, AnOverlayCarriesWhatWasGiven) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  client_.showOverlay("Tap", std::nullopt, std::nullopt);
  client_.showOverlay("Find", "Pay", std::nullopt);
  client_.showOverlay("Assert", "", false);
  EXPECT_EQ(app.waitForCommand("command.showOverlay")->payload, R"({"category":"Tap"})");
  EXPECT_EQ(app.waitForCommand("command.showOverlay")->payload, R"({"category":"Find","detail":"Pay"})");
  EXPECT_EQ(app.waitForCommand("command.showOverlay")->payload,
            R"({"category":"Assert","detail":"","passed":false})");
  EXPECT_TRUE(log_.waitFor("[wyvlet] showOverlay: Tap / -"));
  EXPECT_TRUE(log_.waitFor("[wyvlet] showOverlay: Find / Pay"));
  EXPECT_TRUE(log_.waitFor("[wyvlet] showOverlay: Assert / "));
}

TEST_F(Client, AQuestionIsAnsweredByTheApp) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  app.onCommand("command.screenText", [&] {
    app.sends(CompanionMessageType::responseScreenText, ScreenTextResponse{"Trips", {"Berlin"}});
  });
  EXPECT_EQ(client_.requestScreenText(kPatience), "Screen: Trips\nVisible text (1 items):\n  Berlin");
  EXPECT_EQ(client_.currentScreen(), "Trips");
  app.onCommand("command.requestScreenshot", [&] {
    app.sends(CompanionMessageType::responseScreenshot, ScreenshotResponse{"Pay", "AAAA"});
  });
  const auto shot = client_.requestScreenshot(kPatience);
  EXPECT_EQ(shot.text, "Screen: Pay\nScreenshot captured (4 bytes base64)");
  EXPECT_EQ(shot.imageBase64, "AAAA");
  EXPECT_EQ(client_.currentScreen(), "Pay");
}

TEST_F(Client, ALateAnswerServesTheNextQuestionAtOnce) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  EXPECT_EQ(client_.requestScreenText(kShort), "Screen text timed out");
  app.sends(CompanionMessageType::responseScreenText, ScreenTextResponse{"Late", {}});
  settle(app);
  EXPECT_EQ(client_.currentScreen(), "-");
  const auto start = Clock::now();
  EXPECT_EQ(client_.requestScreenText(kPatience), "No text");
  EXPECT_LT(secondsSince(start), kPatience);
}

TEST_F(Client, QuestionsOfSeveralThreadsReachTheAppWhole) {
  TestApp app;
  ASSERT_TRUE(connect(app));
  app.onCommand("command.findElement", [&] {
    app.sends(CompanionMessageType::responseFindElement, FindResponse{"S", "q", {}});
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 30; ++i) {
        client_.sendRawCommand("command.custom",
                               {{"text", std::string(static_cast<std::size_t>(i * 500 + t), 'x')}});
        EXPECT_EQ(client_.requestFindElement("q", false, kPatience),
                  "Screen: S\nNo elements found matching \"q\"");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  settle(app);
  std::size_t whole = 0;
  for (const auto& command : app.untaken()) {
    if (command.type == "command.custom") {
      EXPECT_TRUE(boost::json::parse(command.payload).is_object());
      ++whole;
    }
  }
  EXPECT_EQ(whole, 180U);
}

}  // namespace
}  // namespace wyvlet
