#include <gtest/gtest.h>

#include <filesystem>

#include "Unit/SampleApp/RunningApp.h"
#include "WyvletSampleApp/CompanionServer.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {
namespace {

/// Returns once `condition` holds; a failure when it never does.
template <class Condition>
void eventually(const Condition& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kPatience.tv_sec);
  while (!condition()) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    std::this_thread::yield();
  }
}

TEST(CompanionServer, ANewServerIsSyncedFirst) {
  RunningApp app;
  Peer server(app.port());
  const Message first = server.next();
  EXPECT_EQ(first.type, "sync.full");
  const auto sync = decodeRecord<LenientSyncPayload>(first.payload);
  ASSERT_TRUE(sync) << sync.reason();
  EXPECT_EQ(sync->currentScreen, "Home");
  EXPECT_EQ(sync->httpRequests->size(), 8U);
  EXPECT_EQ(sync->environmentState->environments->size(), 3U);
  EXPECT_EQ(sync->userDefaultsEntries->size(), 8U);
  EXPECT_EQ(sync->appName, "Harbor Travel");
}

TEST(CompanionServer, EveryServerGetsItsOwnSyncAndAllEvents) {
  RunningApp app;
  Peer one(app.port());
  one.sync();
  Peer two(app.port());
  two.sync();
  ControlPeer control(app.controlPath());
  EXPECT_EQ(control.says("links"), "ok 2");
  EXPECT_EQ(control.says("log WARN Test for both"), "ok");
  EXPECT_EQ(one.next<TransferableLogEntry>("event.log").message, "for both");
  EXPECT_EQ(two.next<TransferableLogEntry>("event.log").message, "for both");
}

TEST(CompanionServer, AnAnswerGoesOnlyToTheServerThatAsked) {
  RunningApp app;
  Peer one(app.port());
  Peer two(app.port());
  one.sync();
  two.sync();
  one.sends("command.screenText");
  EXPECT_EQ(one.next<ScreenTextResponse>("response.screenText").screen, "Home");
  two.sends("command.perfSnapshot");
  EXPECT_EQ(two.next().type, "response.perfSnapshot");
}

TEST(CompanionServer, AMockRuleComesBackInASyncAndOnTheNextCall) {
  RunningApp app;
  Peer server(app.port());
  server.sync();
  server.sends("command.addMockRule", R"({"urlPattern":"/v1/profile","statusCode":503,"responseBody":"no"})");
  EXPECT_EQ(server.sync().rulesState->mockRules->at(0).mockStatusCode, 503);
  ControlPeer control(app.controlPath());
  EXPECT_EQ(control.says("emit-request https://api.harbor.travel/v1/profile"), "ok");
  const auto exchange = server.next<TransferableNetworkRequest>("event.httpRequest");
  EXPECT_TRUE(exchange.isMocked);
  EXPECT_EQ(exchange.statusCode, 503);
  EXPECT_EQ(exchange.responseBody, Bytes{"no"});
}

TEST(CompanionServer, AnEnvironmentSwitchIsReportedAndFollowed) {
  RunningApp app;
  Peer server(app.port());
  const auto environments = *server.sync().environmentState->environments;
  server.sends("command.switchEnvironment", encodeRecord(SwitchEnvironmentCommand{environments[1].id}));
  EXPECT_EQ(server.next<EnvironmentStatePayload>("event.environmentChanged").activeEnvironmentId,
            environments[1].id);
  EXPECT_EQ(server.next<TransferableNetworkRequest>("event.httpRequest").host, "api.staging.harbor.travel");
}

TEST(CompanionServer, SeveralChangesInOneTurnAreOneSync) {
  RunningApp app;
  Peer server(app.port());
  server.sync();
  ControlPeer control(app.controlPath());
  // A search stores the route; the first sync that follows has it, and none follows that one.
  EXPECT_EQ(control.says("tap-label Search"), "ok tapped Button \"Search\"");
  const auto entries = *server.sync().userDefaultsEntries;
  EXPECT_NE(std::find_if(entries.begin(), entries.end(),
                         [](const auto& entry) {
                           return entry.displayValue.find("Lisbon to Porto") != std::string::npos;
                         }),
            entries.end());
  EXPECT_EQ(control.says("settle"), "ok");
  server.sends("command.screenText");
  for (Message message = server.next(); message.type != "response.screenText"; message = server.next()) {
    ASSERT_FALSE(message.type.empty());
    EXPECT_NE(message.type, "sync.full");
  }
}

TEST(CompanionServer, JunkOnALinkHarmsNobody) {
  RunningApp app;
  Peer good(app.port());
  good.sync();
  Peer bad(app.port());
  bad.sync();
  bad.connection().sendBody("this is no envelope");
  bad.connection().sendBody(R"({"type":"command.findElement","payload":"!!!","timestamp":0})");
  bad.sends("command.findElement", "\xff");
  bad.sends("nonsense", std::string(100'000, 'x'));
  bad.sends("command.screenText");
  EXPECT_EQ(bad.next<ScreenTextResponse>("response.screenText").screen, "Home");
  good.sends("command.screenText");
  EXPECT_EQ(good.next<ScreenTextResponse>("response.screenText").screen, "Home");
}

TEST(CompanionServer, ARestartedLinkEndsAndMayComeBack) {
  RunningApp app;
  Peer server(app.port());
  server.sync();
  ControlPeer control(app.controlPath());
  EXPECT_EQ(control.says("restart-link"), "ok");
  EXPECT_TRUE(server.isOver());
  Peer again(app.port());
  EXPECT_EQ(again.sync().currentScreen, "Home");
}

TEST(CompanionServer, ADepartedServerIsForgotten) {
  RunningApp app;
  ControlPeer control(app.controlPath());
  {
    Peer server(app.port());
    server.sync();
    EXPECT_EQ(control.says("links"), "ok 1");
  }
  eventually([&] { return control.says("links") == "ok 0"; });
}

TEST(CompanionServer, TheMarkerComesBackAfterAServerHasDeletedIt) {
  std::string marker;
  {
    RunningApp app;
    marker = app.file("ready");
    EXPECT_TRUE(std::filesystem::exists(marker));
    {
      Peer server(app.port());
      server.sync();
      std::filesystem::remove(marker);
    }
    eventually([&] { return std::filesystem::exists(marker); });
    // Servers close the link first and delete the marker a moment later.
    std::filesystem::remove(marker);
    eventually([&] { return std::filesystem::exists(marker); });
  }
  EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST(CompanionServer, TheAppEndsCleanlyWithServersConnected) {
  RunningApp app;
  Peer one(app.port());
  Peer two(app.port());
  one.sync();
  app.end();
}

TEST(CompanionServer, ATakenPortIsRefused) {
  RunningApp app;
  World world;
  PerformanceMeter meter(world.loop);
  CommandHandler commands(world.app, world.probe, meter, 1);
  CompanionServer second(world.loop, world.probe, world.app, commands, MarkerFile(""));
  EXPECT_FALSE(second.listen(app.port(), true));
}

}  // namespace
}  // namespace wyvlet::sample
