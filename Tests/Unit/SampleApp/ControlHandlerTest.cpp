#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <fstream>
#include <sstream>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/ControlHandler.h"
#include "WyvletSampleApp/ScreenRenderer.h"

namespace wyvlet::sample {
namespace {

class ControlHandlerTest : public testing::Test {
 protected:
  ControlHandlerTest() { world.launch(); }

  /// The answer's line; "" while there is none.
  std::string says(const std::string& line) {
    std::string answer;
    handler.handle(line, [&](const ControlAnswer& given) { answer = given.line(); });
    return answer;
  }
  boost::json::value saysJSON(const std::string& line) { return boost::json::parse(says(line).substr(3)); }

  World world;
  PerformanceMeter meter{world.loop};
  CommandHandler commands{world.app, world.probe, meter, 1};
  CompanionServer server{world.loop, world.probe, world.app, commands, MarkerFile("")};
  TemporaryDirectory directory;
  ControlHandler handler{world.loop,    world.app, world.probe,
                         world.network, server,    {"com.harbor.travel", directory.path(), 1}};
};

TEST_F(ControlHandlerTest, InputReachesTheApp) {
  EXPECT_EQ(says("tap 169 320"), "ok tapped TextField \"To\"");
  EXPECT_EQ(says("type Vila Real"), "ok Typed 9 character(s) into toField");
  EXPECT_EQ(world.app.state().to, "Vila Real");
  EXPECT_EQ(says("tap-id moreButton"), "ok tapped Button \"More passengers\"");
  EXPECT_EQ(says("tap-label Search"), "ok tapped Button \"Search\"");
  world.pass(1);
  EXPECT_EQ(says("swipe 195 700 195 600"), "ok scrolled to 100");
  EXPECT_EQ(says("touch-down 195 400"), "ok touching Button \"HB106 12:20-15:25 €28.00\"");
  EXPECT_EQ(says("touch-up 195 400"), "ok tapped Button \"HB106 12:20-15:25 €28.00\"");
  EXPECT_EQ(says("button home"), "ok pressed home: the app is in the background");
  EXPECT_EQ(says("activate"), "ok");
}

TEST_F(ControlHandlerTest, TypedTextKeepsItsSpacesAndLineFeeds) {
  says("tap-id toField");
  EXPECT_EQ(says("type  a\\nb "), "ok Typed 5 character(s) into toField");
  EXPECT_EQ(world.app.state().to, " a\nb ");
}

TEST_F(ControlHandlerTest, BadCommandsAreErrors) {
  EXPECT_EQ(says(""), "error unknown command ");
  EXPECT_EQ(says("dance"), "error unknown command dance");
  EXPECT_EQ(says("dance\\nnow"), "error unknown command dance\\nnow");
  EXPECT_EQ(says("tap"), "error usage: tap X Y");
  EXPECT_EQ(says("tap 1"), "error usage: tap X Y");
  EXPECT_EQ(says("tap 1 2 3"), "error usage: tap X Y");
  EXPECT_EQ(says("tap 1 99999999999"), "error usage: tap X Y");
  EXPECT_EQ(says("tap 1.5 2"), "error usage: tap X Y");
  EXPECT_EQ(says("swipe a b c d"), "error usage: swipe X1 Y1 X2 Y2");
  EXPECT_EQ(says("type x"), "error No text field is focused. Tap a text field first.");
  EXPECT_EQ(says("log WARN"), "error usage: log LEVEL CATEGORY MESSAGE");
  EXPECT_EQ(says("emit-log -1"), "error usage: emit-log N, at most 100000");
  EXPECT_EQ(says("emit-log 100001"), "error usage: emit-log N, at most 100000");
  EXPECT_EQ(says("emit-request nowhere"), "error usage: emit-request [METHOD] URL [BODY]");
  EXPECT_EQ(says("emit-request  https://api.harbor.travel/"),
            "error usage: emit-request [METHOD] URL [BODY]");
  for (const char* seconds : {"soon", "nan", "inf"}) {
    EXPECT_EQ(says(std::string("settle ") + seconds), "error usage: settle [SECONDS]") << seconds;
  }
  EXPECT_EQ(says("environment Moon"), "error no environment Moon");
  EXPECT_EQ(says("deep-link harbor://moon"), "error no screen for harbor://moon");
  EXPECT_EQ(says("approve"), "error nothing is held");
  EXPECT_EQ(says("stop-recording"), "error no recording");
}

TEST_F(ControlHandlerTest, TheScreenIsDescribedInFull) {
  const auto screen = saysJSON("screen");
  EXPECT_EQ(screen.at("screen").as_string(), "Home");
  const auto& elements = screen.at("elements").as_array();
  ASSERT_EQ(elements.size(), world.app.elements().size());
  const auto& title = elements[0];
  EXPECT_EQ(title.at("text").as_string(), "Harbor Travel");
  EXPECT_EQ(title.at("frame").at("x").as_int64(), 20);
  EXPECT_FALSE(title.at("isButton").as_bool());
}

TEST_F(ControlHandlerTest, TheAccessibilityTreeHasOneRoot) {
  const auto tree = saysJSON("describe-ui");
  ASSERT_EQ(tree.as_array().size(), 1U);
  const auto& root = tree.as_array()[0];
  EXPECT_EQ(root.at("type").as_string(), "Application");
  EXPECT_EQ(root.at("frame").at("width").as_int64(), 390);
  EXPECT_EQ(root.at("children").as_array().size(), world.app.elements().size());
}

TEST_F(ControlHandlerTest, AScreenshotIsSaved) {
  const std::string path = directory.file("screen shot.png");
  EXPECT_EQ(says("screenshot " + path), "ok " + path);
  std::ifstream file(path, std::ios::binary);
  std::stringstream content;
  content << file.rdbuf();
  EXPECT_EQ(content.str(), drawScreen(world.app.state()).png());
  EXPECT_EQ(says("screenshot /nonexistent/x.png"), "error No such file or directory");
  EXPECT_EQ(says("screenshot"), "error usage: screenshot PATH");
}

TEST_F(ControlHandlerTest, SettleWaitsForCallsUnderWay) {
  says("tap-label Search");
  std::string answer;
  handler.handle("settle", [&](const ControlAnswer& given) { answer = given.line(); });
  world.pass(0.1);
  EXPECT_EQ(answer, "");
  world.pass(0.2);
  EXPECT_EQ(answer, "ok");
  EXPECT_EQ(says("settle"), "ok");
}

TEST_F(ControlHandlerTest, SettleGivesUp) {
  says("emit-request https://metrics.harbor.travel/");
  std::string answer;
  handler.handle("settle 0.5", [&](const ControlAnswer& given) { answer = given.line(); });
  world.pass(0.6);
  EXPECT_EQ(answer, "error still busy");
}

TEST_F(ControlHandlerTest, ARequestMayHaveABodyWithoutAMethod) {
  EXPECT_EQ(says("emit-request https://api.harbor.travel/v1/init {\"next\": \"https://other\"}"), "ok");
  world.pass(1);
  const auto request = world.newestRequest();
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.url, "https://api.harbor.travel/v1/init");
  EXPECT_EQ(request.requestBody->data, "{\"next\": \"https://other\"}");
}

TEST_F(ControlHandlerTest, HeldCallsAreListedAndApproved) {
  TransferableInterceptRule rule;
  rule.matchPattern = {"contains", "/v1/"};
  rule.isEnabled = true;
  world.probe.rules().addIntercept(rule);
  EXPECT_EQ(says("emit-request POST https://api.harbor.travel/v1/bookings {\"a\": 1}"), "ok");
  EXPECT_EQ(says("emit-request https://api.harbor.travel/v1/init"), "ok");
  const auto held = saysJSON("held").as_array();
  ASSERT_EQ(held.size(), 2U);
  EXPECT_EQ(held[0].at("request").as_string(), "POST https://api.harbor.travel/v1/bookings");
  const std::string id(held[0].at("id").as_string());
  EXPECT_EQ(says("approve " + id), "ok released 1");
  world.pass(1);
  EXPECT_EQ(world.newestRequest().requestBody->data, "{\"a\": 1}");
  EXPECT_TRUE(world.newestRequest().isIntercepted);
  EXPECT_EQ(says("approve all"), "ok released 1");
  EXPECT_EQ(says("held"), "ok []");
}

TEST_F(ControlHandlerTest, LogsAreEmitted) {
  EXPECT_EQ(says("emit-log 3"), "ok logged 3");
  EXPECT_EQ(world.logged("bulk"), "bulk entry 3 of 3");
  EXPECT_EQ(says("log ERROR Net it is down"), "ok");
  const auto& entry = world.probe.logEntries().back();
  EXPECT_EQ(entry.level, "ERROR");
  EXPECT_EQ(entry.category, "Net");
  EXPECT_EQ(entry.message, "it is down");
}

TEST_F(ControlHandlerTest, EnvironmentLinksAndFlows) {
  EXPECT_EQ(says("environment"), "ok Production");
  EXPECT_EQ(says("environment staging"), "ok Staging");
  EXPECT_EQ(says("deep-link harbor://profile"), "ok Profile");
  EXPECT_EQ(says("record My flow"), "ok");
  says("tap-label Home");
  EXPECT_EQ(says("stop-recording"), "ok recorded 1 step(s)");
  EXPECT_EQ(world.sync().recordedFlows->back().name, "My flow");
  EXPECT_EQ(says("links"), "ok 0");
  EXPECT_EQ(says("restart-link"), "ok");
}

TEST_F(ControlHandlerTest, OverlaysAreListed) {
  EXPECT_EQ(says("overlays"), R"(ok {"visible":false,"notices":[]})");
  world.probe.showOverlay({"verify", "event", true, {}});
  world.probe.showOverlay({"scan", {}, {}, {}});
  EXPECT_EQ(
      says("overlays"),
      R"(ok {"visible":true,"notices":[{"category":"verify","detail":"event","passed":true},{"category":"scan"}]})");
}

TEST_F(ControlHandlerTest, CrashAndQuitHappenAfterTheirAnswer) {
  ControlAnswer crash;
  handler.handle("crash out of memory", [&](ControlAnswer given) { crash = std::move(given); });
  EXPECT_EQ(crash.line(), "ok " + directory.file("wyvlet_crash_com_harbor_travel.json"));
  ASSERT_TRUE(crash.afterwards);
  EXPECT_DEATH(crash.afterwards(), "");
  std::ifstream file(directory.file("wyvlet_crash_com_harbor_travel.json"));
  std::stringstream content;
  content << file.rdbuf();
  const auto report = boost::json::parse(content.str());
  EXPECT_EQ(report.at("reason").as_string(), "out of memory");
  EXPECT_EQ(report.at("screen").as_string(), "Home");
  EXPECT_EQ(report.at("lastRequest").as_string(),
            "POST https://metrics.harbor.travel/v1/collect → no response");

  ControlAnswer quit;
  handler.handle("quit", [&](ControlAnswer given) { quit = std::move(given); });
  EXPECT_EQ(quit.line(), "ok");
  ASSERT_TRUE(quit.afterwards);
  EXPECT_TRUE(world.loop.post([] {}));
  quit.afterwards();
  EXPECT_FALSE(world.loop.post([] {}));
}

TEST_F(ControlHandlerTest, HelpNamesEveryCommand) {
  const std::string help = says("help");
  for (const char* name : {"tap", "settle", "crash", "quit", "describe-ui"}) {
    EXPECT_NE(help.find(std::string(" ") + name), std::string::npos) << name;
  }
}

}  // namespace
}  // namespace wyvlet::sample
