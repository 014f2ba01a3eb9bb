#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "Client/ServiceBrowser.h"
#include "Client/WyvletClient.h"
#include "EndToEnd/Harness.h"
#include "EndToEnd/ServiceDaemons.h"

/// Finding apps by DNS-SD, with the real daemons of the platform.
namespace wyvlet::test {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using Clock = std::chrono::steady_clock;

LenientSyncPayload syncOf(const std::string& screen) {
  LenientSyncPayload sync;
  sync.currentScreen = screen;
  return sync;
}

std::size_t count(const std::string& text, std::string_view part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++found;
  return found;
}

void makeMarker() { std::ofstream("/tmp/wyvletprobe_ready") << "ready"; }

/// Collects what searches come to.
class Outcomes {
 public:
  ServiceBrowser::Done next() {
    return [this](ServiceBrowser::Outcome outcome) {
      const std::lock_guard lock(mutex_);
      outcomes_.push_back(std::move(outcome));
      changed_.notify_all();
    };
  }
  bool wait(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(kPatience),
                             [&] { return outcomes_.size() >= count; });
  }
  std::size_t size() {
    const std::lock_guard lock(mutex_);
    return outcomes_.size();
  }
  std::vector<AppAddress> addresses(std::size_t index) {
    const std::lock_guard lock(mutex_);
    return outcomes_[index] ? *outcomes_[index] : std::vector<AppAddress>();
  }
  std::string reason(std::size_t index) {
    const std::lock_guard lock(mutex_);
    return outcomes_[index] ? "" : outcomes_[index].reason();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ServiceBrowser::Outcome> outcomes_;
};

// ---- The browser ----

TEST(Browser, ResolvesAnAppToItsAddresses) {
  ServiceDaemons daemons;
  daemons.announce("Travel", 40123);
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(outcomes.next());
  ASSERT_TRUE(outcomes.wait(1));
  EXPECT_THAT(outcomes.addresses(0), Contains(AppAddress{"127.0.0.1", 40123}));
  EXPECT_THAT(outcomes.addresses(0), Each(AnyOf(AppAddress{"127.0.0.1", 40123}, AppAddress{"::1", 40123})));
}

TEST(Browser, FindsAnAppThatComesLater) {
  ServiceDaemons daemons;
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(outcomes.next());
  daemons.announce("Travel", 40123);
  ASSERT_TRUE(outcomes.wait(1));
  EXPECT_EQ(outcomes.addresses(0).front().port, 40123);
}

TEST(Browser, OfTwoAppsTakesOne) {
  ServiceDaemons daemons;
  daemons.announce("Travel", 40123);
  daemons.announce("Shop", 40124);
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(outcomes.next());
  ASSERT_TRUE(outcomes.wait(1));
  const auto addresses = outcomes.addresses(0);
  ASSERT_FALSE(addresses.empty());
  for (const auto& address : addresses) EXPECT_EQ(address.port, addresses.front().port);
}

TEST(Browser, ASearchThatWasReplacedIsSilent) {
  ServiceDaemons daemons;
  Outcomes replaced;
  Outcomes outcomes;
  ServiceBrowser browser;
  for (int i = 0; i < 20; ++i) browser.start(replaced.next());
  browser.start(outcomes.next());
  daemons.announce("Travel", 40123);
  ASSERT_TRUE(outcomes.wait(1));
  EXPECT_EQ(replaced.size(), 0U);
}

TEST(Browser, ACancelledSearchIsSilentAndTheNextOneWorks) {
  ServiceDaemons daemons;
  Outcomes cancelled;
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(cancelled.next());
  browser.cancel();
  daemons.announce("Travel", 40123);
  browser.start(outcomes.next());
  ASSERT_TRUE(outcomes.wait(1));
  browser.start(outcomes.next());
  ASSERT_TRUE(outcomes.wait(2));
  EXPECT_EQ(cancelled.size(), 0U);
}

TEST(Browser, EndsInTheMiddleOfASearch) {
  const ServiceDaemons daemons;
  Outcomes outcomes;
  {
    ServiceBrowser browser;
    browser.start(outcomes.next());
  }
  EXPECT_EQ(outcomes.size(), 0U);
}

TEST(Browser, FailsOnceWhenTheDaemonDies) {
  ServiceDaemons daemons;
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(outcomes.next());
  daemons.killAvahi();
  ASSERT_TRUE(outcomes.wait(1));
  EXPECT_NE(outcomes.reason(0), "");
  daemons.startAvahi();
  daemons.announce("Travel", 40123);
  Outcomes later;
  browser.start(later.next());
  ASSERT_TRUE(later.wait(1));
  EXPECT_FALSE(later.addresses(0).empty());
  EXPECT_EQ(outcomes.size(), 1U);
}

TEST(Browser, FailsOnceWhenTheBusDies) {
  ServiceDaemons daemons;
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(outcomes.next());
  daemons.killBus();
  ASSERT_TRUE(outcomes.wait(1));
  EXPECT_NE(outcomes.reason(0), "");
  browser.start(outcomes.next());
  ASSERT_TRUE(outcomes.wait(2));
  EXPECT_NE(outcomes.reason(1), "");
}

// ---- The client ----

TEST(Discovery, AWaiterFindsTheAnnouncedApp) {
  ServiceDaemons daemons;
  ScriptedApp app(syncOf("Trips"), 0);
  daemons.announce("Travel", app.port());
  makeMarker();
  WyvletClient client;
  client.waitForConnection(kPatience);
  EXPECT_TRUE(client.isReady());
  EXPECT_EQ(client.currentScreen(), "Trips");
}

TEST(Discovery, AnAppThatStartsAnewIsFoundAnew) {
  ServiceDaemons daemons;
  makeMarker();
  WyvletClient client;
  for (const auto* screen : {"First", "Second", "Third"}) {
    ScriptedApp app(syncOf(screen), 0);
    daemons.announce(screen, app.port());
    client.waitForConnection(kPatience);
    EXPECT_TRUE(client.isReady());
    EXPECT_EQ(client.currentScreen(), screen);
    daemons.withdraw(screen);
    app.dropLink();
    ASSERT_TRUE(eventually([&] { return !client.isConnected(); }));
  }
}

TEST(Discovery, WaitersOnTheSameAppAllReturn) {
  ServiceDaemons daemons;
  makeMarker();
  WyvletClient client;
  client.startBrowsing();
  std::vector<std::future<void>> waiters;
  for (int i = 0; i < 6; ++i) {
    waiters.push_back(std::async(std::launch::async, [&] { client.waitForConnection(kPatience); }));
  }
  const auto start = Clock::now();
  ScriptedApp app(syncOf("Trips"), 0);
  daemons.announce("Travel", app.port());
  for (auto& waiter : waiters) waiter.get();
  EXPECT_LT(Clock::now() - start, std::chrono::duration<double>(kPatience));
  EXPECT_TRUE(client.isReady());
}

TEST(Discovery, ADirectConnectionEndsTheSearch) {
  ServiceDaemons daemons;
  ScriptedApp direct(syncOf("Direct"), 0);
  ScriptedApp announced(syncOf("Announced"), 0);
  WyvletClient client;
  client.startBrowsing();
  ASSERT_TRUE(client.connectDirectTCP("127.0.0.1", direct.port(), kPatience));
  daemons.announce("Travel", announced.port());
  // A browser of the test's own sees the app, so the client's would have as well.
  Outcomes outcomes;
  ServiceBrowser browser;
  browser.start(outcomes.next());
  ASSERT_TRUE(outcomes.wait(1));
  EXPECT_TRUE(client.isReady());
  EXPECT_EQ(client.currentScreen(), "Direct");
}

TEST(Discovery, AnUnusedPortDoesNotConnectToItself) {
  // With one port to choose from, a connection to that port would come from that port.
  std::ofstream("/proc/sys/net/ipv4/ip_local_port_range") << "54321 54321";
  std::string range;
  std::getline(std::ifstream("/proc/sys/net/ipv4/ip_local_port_range"), range);
  ASSERT_EQ(range, "54321\t54321");
  WyvletClient client;
  EXPECT_FALSE(client.connectDirectTCP("127.0.0.1", kDirectPort, 0.5));
  EXPECT_FALSE(client.isConnected());
}

// ---- The server ----

TEST(Discovery, TheServerConnectsAtOnceToAnAppThatIsAnnounced) {
  ServiceDaemons daemons;
  ScriptedApp app(syncOf("Trips"));
  daemons.announce("Travel", app.port());
  const auto start = Clock::now();
  Server server;
  ASSERT_TRUE(server.waitForLog("[wyvlet] Synced: 0 reqs, 0 logs, 0 envs, 0 QA, 0 UD\n"));
  // The warm-up looks at the link after one second: this was the start-up browser.
  EXPECT_THAT(server.log(), Not(HasSubstr("Browsing for Wyvlet")));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
  EXPECT_THAT(server.log(), HasSubstr("[wyvlet] Searching for Wyvlet...\n"));
  EXPECT_THAT(server.log(), HasSubstr("[wyvlet] Connected!\n"));
  EXPECT_THAT(server.log(), HasSubstr("[wyvlet] Received: syncFull\n"));
  EXPECT_THAT(server.call("wyvlet_status"), HasSubstr("CONNECTED"));
  EXPECT_THAT(server.log(), Not(HasSubstr("Waiting for sync")));
}

TEST(Discovery, TheServerFindsAnAppThatComesLater) {
  ServiceDaemons daemons;
  Server server;
  ASSERT_TRUE(server.waitForLog("[wyvlet] Searching for Wyvlet...\n"));
  ScriptedApp app(syncOf("Trips"));
  daemons.announce("Travel", app.port());
  EXPECT_TRUE(server.waitForLog("[wyvlet] Synced: "));
}

TEST(Discovery, WithoutADaemonTheServerSaysSoOnceAndWorks) {
  Server server;
  ASSERT_TRUE(server.waitForLog("[wyvlet] Browse failed: "));
  ScriptedApp app(syncOf("Trips"));
  server.connect();
  EXPECT_THAT(server.call("wyvlet_status"), HasSubstr("CONNECTED"));
  EXPECT_EQ(count(server.log(), "[wyvlet] Browse failed: "), 1U);
}

TEST(Discovery, ADaemonThatDiesIsReportedOnce) {
  ServiceDaemons daemons;
  Server server;
  ASSERT_TRUE(server.waitForLog("[wyvlet] Searching for Wyvlet...\n"));
  ScriptedApp app(syncOf("Trips"));
  daemons.killAvahi();
  ASSERT_TRUE(server.waitForLog("[wyvlet] Browse failed: "));
  server.connect();
  EXPECT_EQ(count(server.log(), "[wyvlet] Browse failed: "), 1U);
}

TEST(Discovery, ABusThatDiesDoesNotTakeTheServerAlong) {
  ServiceDaemons daemons;
  Server server;
  ASSERT_TRUE(server.waitForLog("[wyvlet] Searching for Wyvlet...\n"));
  daemons.killBus();
  ASSERT_TRUE(server.waitForLog("[wyvlet] Browse failed: "));
  EXPECT_EQ(server.request("ping").at("result"), boost::json::value(boost::json::object()));
}

TEST(Discovery, TheSampleAppAndTheServerFindEachOther) {
  const ServiceDaemons daemons;
  SampleApp app;
  Server server;
  EXPECT_TRUE(server.waitForLog("[wyvlet] Synced: "));
  EXPECT_THAT(server.call("wyvlet_status"), HasSubstr("CONNECTED"));
}

}  // namespace
}  // namespace wyvlet::test
