#include <gtest/gtest.h>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/CommandHandler.h"
#include "WyvletSampleApp/ScreenRenderer.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {
namespace {

class CommandHandlerTest : public testing::Test {
 protected:
  CommandHandlerTest() { world.launch(); }

  /// Plays a server that sends a message; the answers are kept.
  void sends(const std::string& type, const std::string& payload = "") {
    const std::string body = encodeEnvelope(RawMessage{type, Bytes{payload}, Date::now()});
    handler.handle(decodeEnvelope(body),
                   [this](std::string answer) { answers.push_back(std::move(answer)); });
  }
  template <class Record>
  requires requires { Record::fields; }
  void sends(const std::string& type, const Record& record) { sends(type, encodeRecord(record)); }

  /// The only answer, which must be of `type`.
  template <class Record>
  Record answer(std::string_view type) {
    EXPECT_EQ(answers.size(), 1U);
    if (answers.empty()) return {};
    const auto message = decodeEnvelope(answers.back(), DateEpoch::Unix1970);
    answers.clear();
    const std::string_view got =
        message.registered ? rawString(message.registered->type) : std::string_view(message.free->type);
    EXPECT_EQ(got, type);
    const Bytes& payload = message.registered ? message.registered->payload : message.free->payload;
    const auto record = decodeRecord<Record>(payload.data);
    EXPECT_TRUE(record) << record.reason();
    return record ? *record : Record{};
  }

  void ignores(const std::string& type, const std::string& payload, const std::string& reason) {
    const std::size_t before = answers.size();
    sends(type, payload);
    EXPECT_EQ(answers.size(), before);
    EXPECT_EQ(world.logged("Ignored"), "Ignored " + type + ": " + reason);
  }

  World world;
  PerformanceMeter meter{world.loop};
  CommandHandler handler{world.app, world.probe, meter, 1};
  std::vector<std::string> answers;
};

TEST_F(CommandHandlerTest, FindElementAnswersWithItsQuery) {
  sends("command.findElement", R"({"text":"search","exact":false})");
  const auto found = answer<FindResponse>("response.findElement");
  EXPECT_EQ(found.screen, "Home");
  EXPECT_EQ(found.query, "search");
  ASSERT_EQ(found.results.size(), 2U);
  EXPECT_EQ(found.results[0].label, "Search");
  EXPECT_EQ(found.results[0].centerX, 195);
  EXPECT_EQ(found.results[0].centerY, 479);
  sends("command.findElement", R"({"text":"search","exact":true})");
  EXPECT_TRUE(answer<FindResponse>("response.findElement").results.empty());
  ignores("command.findElement", "{}", "text is missing");
  ignores("command.findElement", R"({"text":7})", "text is missing");
}

TEST_F(CommandHandlerTest, ScreenQuestionsAreAnswered) {
  sends("command.screenText");
  const auto text = answer<ScreenTextResponse>("response.screenText");
  EXPECT_EQ(text.screen, "Home");
  EXPECT_EQ(text.lines.front(), "Harbor Travel");
  sends("command.requestSnapshot");
  EXPECT_EQ(answer<SnapshotResponse>("response.snapshot").elements.size(), world.app.elements().size());
  sends("command.screenHTML");
  const auto html = answer<ScreenHTMLResponse>("response.screenHTML");
  EXPECT_EQ(html.elementCount, static_cast<std::int64_t>(world.app.elements().size()));
  EXPECT_NE(html.html.find(R"(<button id="searchButton" c="195,479">Search</button>)"), std::string::npos);
}

TEST_F(CommandHandlerTest, TheScreenshotIsThePictureOfTheScreen) {
  sends("command.requestScreenshot");
  const auto shot = answer<ScreenshotResponse>("response.screenshot");
  EXPECT_EQ(shot.screen, "Home");
  EXPECT_EQ(decodeBase64(shot.base64PNG), drawScreen(world.app.state()).png());
}

TEST_F(CommandHandlerTest, UnregisteredAnswersTravelFreeForm) {
  sends("command.perfSnapshot");
  EXPECT_EQ(answer<PerfSnapshotResponse>("response.perfSnapshot").screen, "Home");
  sends("command.accessibilityAudit");
  const auto audit = answer<AccessibilityAuditResponse>("response.accessibilityAudit");
  EXPECT_EQ(audit.issueCount, 3);
  EXPECT_EQ(audit.issues[0].issue, "Button has no accessibility label");
  sends("command.getWebViewConsole", R"({"limit":50})");
  EXPECT_EQ(answer<WebViewConsoleResponse>("response.webViewConsole").entries.size(), 2U);
  sends("command.getWebViewConsole", R"({"limit":50,"level":"warn"})");
  EXPECT_EQ(answer<WebViewConsoleResponse>("response.webViewConsole").entries.at(0).level, "warn");
  sends("command.getWebViewConsole", R"({"limit":1})");
  const auto limited = answer<WebViewConsoleResponse>("response.webViewConsole");
  EXPECT_EQ(limited.entries.size(), 1U);
  EXPECT_EQ(limited.totalCount, 2);
}

TEST_F(CommandHandlerTest, TypingGoesToTheFocusedField) {
  sends("command.typeText", R"({"text":"Faro"})");
  EXPECT_EQ(answer<InputResult>("response.typeText"),
            (InputResult{false, "No text field is focused. Tap a text field first."}));
  ASSERT_TRUE(world.app.tapIdentifier("toField"));
  sends("command.typeText", R"({"text":"Faro"})");
  EXPECT_EQ(answer<InputResult>("response.typeText"),
            (InputResult{true, "Typed 4 character(s) into toField"}));
  EXPECT_EQ(world.app.state().to, "Faro");
  ignores("command.typeText", "", "text is missing");
}

TEST_F(CommandHandlerTest, AMockRuleIsAddedAppliedAndRemoved) {
  const int syncs = world.syncs;
  sends(
      "command.addMockRule",
      R"({"urlPattern":"/v1/bookings","statusCode":500,"responseBody":"{}","name":"Down","httpMethod":"POST"})");
  EXPECT_EQ(world.syncs, syncs + 1);
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventRulesChanged), 1U);
  const auto rules = *world.sync().rulesState->mockRules;
  ASSERT_EQ(rules.size(), 1U);
  EXPECT_EQ(rules[0].name, "Down");
  EXPECT_EQ(rules[0].matchPattern, (TransferableURLMatchPattern{"contains", "/v1/bookings"}));
  EXPECT_EQ(rules[0].httpMethod, "POST");
  EXPECT_EQ(rules[0].mockStatusCode, 500);
  EXPECT_EQ(rules[0].mockResponseBody, Bytes{"{}"});
  EXPECT_TRUE(rules[0].isEnabled);

  HTTPCall call;
  call.method = "POST";
  call.url = "https://api.harbor.travel/v1/bookings";
  world.app.send(call);
  world.pass(1);
  EXPECT_TRUE(world.newestRequest().isMocked);
  EXPECT_EQ(world.newestRequest().statusCode, 500);

  sends("command.removeMockRule", R"({"ruleId":")" + rules[0].id.shortText() + R"("})");
  EXPECT_TRUE(world.sync().rulesState->mockRules->empty());
  EXPECT_EQ(world.syncs, syncs + 2);
  world.app.send(call);
  world.pass(1);
  EXPECT_FALSE(world.newestRequest().isMocked);
  ignores("command.removeMockRule", R"({"ruleId":"x"})", "no such rule");
  ignores("command.addMockRule", R"({"statusCode":500})", "urlPattern is missing");
}

TEST_F(CommandHandlerTest, AMockRuleHasDefaults) {
  sends("command.addMockRule", R"({"urlPattern":"/x","statusCode":204.0})");
  sends("command.addMockRule", R"({"urlPattern":"/y","statusCode":"500"})");
  const auto rules = *world.sync().rulesState->mockRules;
  ASSERT_EQ(rules.size(), 2U);
  EXPECT_EQ(rules[0].mockStatusCode, 204);
  EXPECT_EQ(rules[0].mockResponseBody, Bytes{""});
  EXPECT_FALSE(rules[0].httpMethod);
  EXPECT_EQ(rules[1].mockStatusCode, 200);
}

TEST_F(CommandHandlerTest, AnInterceptRuleHoldsCalls) {
  sends("command.addInterceptRule", R"({"urlPattern":"/v1/profile","name":"Hold","httpMethod":"GET"})");
  HTTPCall call;
  call.url = "https://api.harbor.travel/v1/profile";
  world.app.send(call);
  EXPECT_EQ(world.network.held().size(), 1U);
  const auto rules = *world.sync().rulesState->interceptRules;
  ASSERT_EQ(rules.size(), 1U);
  sends("command.removeInterceptRule", R"({"ruleId":")" + rules[0].id.text() + R"("})");
  EXPECT_TRUE(world.sync().rulesState->interceptRules->empty());
  ignores("command.addInterceptRule", "[]", "urlPattern is missing");
  ignores("command.removeInterceptRule", "{}", "no such rule");
}

TEST_F(CommandHandlerTest, ARuleIsToggled) {
  const auto rule = world.sync().rulesState->rewriteRules->front();
  sends("command.toggleRule", ToggleRuleCommand{"rewrite", rule.id});
  EXPECT_FALSE(world.sync().rulesState->rewriteRules->front().isEnabled);
  sends("command.toggleRule", ToggleRuleCommand{"rewrite", rule.id});
  EXPECT_TRUE(world.sync().rulesState->rewriteRules->front().isEnabled);
  ignores("command.toggleRule", encodeRecord(ToggleRuleCommand{"mock", rule.id}), "no such rule");
}

TEST_F(CommandHandlerTest, AnEnvironmentSwitchIsAnEvent) {
  const auto environments = *world.sync().environmentState->environments;
  sends("command.switchEnvironment", SwitchEnvironmentCommand{environments[1].id});
  const auto event = std::find_if(world.events.rbegin(), world.events.rend(), [](const auto& message) {
    return message.type == CompanionMessageType::eventEnvironmentChanged;
  });
  ASSERT_NE(event, world.events.rend());
  const auto state = event->decodePayload<EnvironmentStatePayload>();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->activeEnvironmentId, environments[1].id);
  EXPECT_EQ(state->environments->size(), 3U);
  ignores("command.switchEnvironment", encodeRecord(SwitchEnvironmentCommand{UUID::random()}),
          "no such environment");
}

TEST_F(CommandHandlerTest, AReplayIsANewExchange) {
  const std::size_t before = world.requests().size();
  sends("command.replayRequest", ReplayRequestCommand{"https://api.harbor.travel/v1/bookings",
                                                      "POST",
                                                      {{"X-Test", "1"}},
                                                      Bytes{R"({"fareId":"HB101","passenger":"Ada"})"}});
  world.pass(1);
  EXPECT_EQ(world.requests().size(), before + 1);
  const auto request = world.newestRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, "https://api.harbor.travel/v1/bookings");
  EXPECT_EQ(request.requestHeaders, (std::map<std::string, std::string>{{"X-Test", "1"}}));
  EXPECT_EQ(request.requestBody->data, R"({"fareId":"HB101","passenger":"Ada"})");
  EXPECT_EQ(request.statusCode, 201);
  EXPECT_EQ(request.screenName, "Home");
}

TEST_F(CommandHandlerTest, QAItemsAreMarkedAndReset) {
  const UUID item = world.sync().qaState->results->front().id;
  sends("command.markQAFailed", MarkQACommand{item, "empty list", {}});
  EXPECT_EQ(world.sync().qaState->results->front().status, "FAILED");
  EXPECT_EQ(world.sync().qaState->results->front().failNotes, "empty list");
  sends("command.markQAPassed", MarkQACommand{item, {}, {}});
  EXPECT_EQ(world.sync().qaState->results->front().status, "PASSED");
  sends("command.resetQAItem", MarkQACommand{item, {}, {}});
  EXPECT_EQ(world.sync().qaState->results->front().status, "PENDING");
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventQAStatusChanged), 3U);
  ignores("command.markQAPassed", encodeRecord(MarkQACommand{UUID::random(), {}, {}}), "no such item");
}

TEST_F(CommandHandlerTest, AFetchedBodyComesAsTheSameExchange) {
  const auto requests = world.requests();
  const auto avatar = std::find_if(requests.begin(), requests.end(),
                                   [](const auto& request) { return request.path == "/avatars/ada.png"; });
  ASSERT_NE(avatar, requests.end());
  sends("command.fetchBody", FetchBodyCommand{avatar->id});
  const auto sent = world.events.back().decodePayload<TransferableNetworkRequest>();
  ASSERT_TRUE(sent);
  EXPECT_EQ(sent->id, avatar->id);
  EXPECT_GT(sent->responseBody->data.size(), Probe::kBodyLimit);
  ignores("command.fetchBody", encodeRecord(FetchBodyCommand{UUID::random()}), "no such request");
}

TEST_F(CommandHandlerTest, StoresAreClearedAndLinksOpened) {
  sends("command.clearStore", ClearStoreCommand{"requests"});
  EXPECT_TRUE(world.requests().empty());
  ignores("command.clearStore", R"({"storeName":"attic"})", "no store attic");
  sends("command.fireDeepLink", FireDeepLinkCommand{"harbor://profile"});
  EXPECT_EQ(world.app.screen(), "Profile");
  ignores("command.fireDeepLink", R"({"url":"harbor://attic"})", "no screen for it");
}

TEST_F(CommandHandlerTest, OverlaysAreShownAndHidden) {
  sends("command.showOverlay", R"({"category":"verify","detail":"event","passed":true})");
  ASSERT_EQ(world.probe.overlays().size(), 1U);
  EXPECT_EQ(world.probe.overlays()[0].category, "verify");
  EXPECT_EQ(world.probe.overlays()[0].detail, "event");
  EXPECT_EQ(world.probe.overlays()[0].passed, true);
  EXPECT_TRUE(world.probe.overlayVisible());
  sends("command.hideOverlay");
  EXPECT_FALSE(world.probe.overlayVisible());
  ignores("command.showOverlay", "{}", "category is missing");
}

TEST_F(CommandHandlerTest, MalformedPayloadsAreLoggedAndChangeNothing) {
  const auto before = world.sync().rulesState;
  for (const char* type :
       {"command.switchEnvironment", "command.clearStore", "command.toggleRule", "command.replayRequest",
        "command.fireDeepLink", "command.markQAPassed", "command.markQAFailed", "command.resetQAItem",
        "command.fetchBody", "command.addMockRule", "command.removeMockRule", "command.addInterceptRule",
        "command.removeInterceptRule", "command.findElement", "command.showOverlay", "command.typeText"}) {
    for (const char* payload : {"", "{", "null", "[]", "{\"urlPattern\":null}", "\xff\xfe"}) {
      sends(type, payload);
      EXPECT_TRUE(world.logged("Ignored").starts_with(std::string("Ignored ") + type + ": ")) << payload;
    }
  }
  EXPECT_TRUE(answers.empty());
  EXPECT_EQ(world.sync().rulesState, before);
}

TEST_F(CommandHandlerTest, WhatIsNoCommandIsIgnored) {
  sends("event.log", "{}");
  EXPECT_EQ(world.logged("Ignored"), "Ignored unknown message event.log");
  sends("command.selfDestruct");
  EXPECT_EQ(world.logged("Ignored"), "Ignored unknown message command.selfDestruct");
  EXPECT_TRUE(answers.empty());
}

}  // namespace
}  // namespace wyvlet::sample
