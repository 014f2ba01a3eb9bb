#include <gtest/gtest.h>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/AppModel.h"
#include "WyvletSampleApp/Screens.h"

namespace wyvlet::sample {
namespace {

class AppModelTest : public testing::Test {
 protected:
  AppModelTest() { world.launch(); }

  void tapsLabel(std::string_view label) {
    const auto result = app.tapLabel(label);
    ASSERT_TRUE(result) << result.reason();
    EXPECT_TRUE(result->starts_with("tapped ")) << *result;
    world.pass(1);
  }
  void taps(std::string_view identifier) {
    const auto result = app.tapIdentifier(identifier);
    ASSERT_TRUE(result) << result.reason();
    world.pass(1);
  }
  void opensCrossing() {
    tapsLabel("Search");
    taps("fareHB104");
  }
  void mocks(std::string pattern, std::int64_t status, std::string body) {
    TransferableMockRule rule;
    rule.id = UUID::random();
    rule.matchPattern = {"contains", std::move(pattern)};
    rule.mockStatusCode = status;
    rule.mockResponseBody = Bytes{std::move(body)};
    rule.isEnabled = true;
    world.probe.rules().addMock(std::move(rule));
  }
  /// From now on such calls wait until they are released.
  void holds(std::string pattern) {
    TransferableInterceptRule rule;
    rule.id = UUID::random();
    rule.matchPattern = {"contains", std::move(pattern)};
    rule.isEnabled = true;
    world.probe.rules().addIntercept(std::move(rule));
  }
  void releasesCalls() {
    EXPECT_EQ(world.network.release(), 1U);
    world.pass(1);
  }

  World world;
  AppModel& app = world.app;
};

TEST_F(AppModelTest, TheLaunchMakesItsCalls) {
  EXPECT_EQ(app.screen(), "Home");
  const auto requests = world.requests();
  const auto find = [&](std::string_view part) {
    for (const auto& request : requests) {
      if (request.url.find(part) != std::string::npos) return request;
    }
    ADD_FAILURE() << "no request for " << part;
    return TransferableNetworkRequest{};
  };
  EXPECT_EQ(find("/v1/init").statusCode, 200);
  EXPECT_EQ(find("/v1/init").screenName, "Home");
  EXPECT_EQ(find("/v1/promotions").statusCode, 404);
  EXPECT_EQ(find("/banner.html").source, "WebView");
  EXPECT_EQ(find("/hero.png").mimeType, "image/png");
  EXPECT_EQ(find("metrics").errorDescription, "The request timed out.");
  EXPECT_TRUE(find("/avatars/ada.png").isEnvironmentRewritten);
  EXPECT_FALSE(find("/avatars/ada.png").responseBody) << "too large to travel unasked";
  EXPECT_NE(find("/v1/telemetry").requestBody->data.find('\xff'), std::string::npos);
  EXPECT_EQ(world.network.inFlight(), 0U);
  for (const auto& request : requests) {
    EXPECT_LT(request.timestamp.secondsSince1970, Date::now().secondsSince1970);
  }
  EXPECT_TRUE(world.shows("Summer sale: 20% off"));
  EXPECT_EQ(world.logged("No promotions"), "No promotions for this account");
  EXPECT_EQ(world.sync().wsConnections->size(), 1U);
}

TEST_F(AppModelTest, ASearchNavigatesCallsAndLogs) {
  const int syncs = world.syncs;
  ASSERT_TRUE(app.tapLabel("Search"));
  EXPECT_EQ(app.screen(), "Search Results");
  EXPECT_TRUE(world.shows("Searching..."));
  world.pass(1);
  EXPECT_TRUE(world.shows("HB101 06:15-09:20 €46.50"));
  const auto request = world.newestRequest();
  EXPECT_EQ(request.url,
            "https://api.harbor.travel/v1/search?from=Lisbon&to=Porto&date=2025-06-14&passengers=1");
  EXPECT_EQ(request.statusCode, 200);
  EXPECT_EQ(request.screenName, "Home");
  EXPECT_EQ(world.logged("search_started"),
            R"(search_started {"from":"Lisbon","to":"Porto","date":"2025-06-14"})");
  EXPECT_EQ(world.logged("search_results"), R"(search_results {"count":12,"from":"Lisbon","to":"Porto"})");
  EXPECT_EQ(world.logged("screen_view"), R"(screen_view {"screen":"Search Results"})");
  EXPECT_EQ(world.probe.defaultValue("recent_searches"), R"(["Lisbon to Porto","Faro to Lisbon"])");
  EXPECT_GT(world.syncs, syncs) << "stored values reach servers only by a sync";
}

TEST_F(AppModelTest, TheBookingFlowEndsAtTheConfirmation) {
  opensCrossing();
  EXPECT_EQ(app.screen(), "Confirm Booking Details");
  EXPECT_TRUE(world.shows("Total Payable"));
  EXPECT_EQ(world.logged("Landed on cart"), R"(Landed on cart {"fare_id":"HB104","total":67.85})");
  tapsLabel("Confirm Booking");
  EXPECT_EQ(app.screen(), "Confirmation");
  const auto request = world.newestRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/v1/bookings");
  EXPECT_EQ(request.statusCode, 201);
  EXPECT_EQ(request.screenName, "Confirm Booking Details");
  EXPECT_EQ(request.requestBody->data,
            R"({"fareId":"HB104","passenger":"Ada Moreau","email":"ada@harbor.example","passengers":1})");
  const std::string reference = *world.probe.defaultValue("last_booking_reference");
  EXPECT_TRUE(world.shows(reference));
  EXPECT_EQ(world.logged("booking_created"),
            R"(booking_created {"reference":")" + reference + R"(","fare_id":"HB104","total":67.85})");
  tapsLabel("Done");
  EXPECT_EQ(app.screen(), "Home");
}

TEST_F(AppModelTest, AValueStandsUnderItsLabelInTheText) {
  opensCrossing();
  const auto lines = world.texts();
  const auto label = std::find(lines.begin(), lines.end(), "Total Payable");
  ASSERT_NE(label, lines.end());
  EXPECT_EQ(*(label + 1), "€67.85");
}

TEST_F(AppModelTest, AMockedFailureShowsABanner) {
  mocks("/v1/bookings", 500, R"({"error":"down"})");
  opensCrossing();
  tapsLabel("Confirm Booking");
  EXPECT_EQ(app.screen(), "Confirm Booking Details");
  EXPECT_TRUE(world.shows("Booking failed (500). Please try again."));
  EXPECT_EQ(world.logged("POST /v1/bookings"), "POST /v1/bookings failed with status 500");
  EXPECT_EQ(world.logged("booking_created"), "");
  EXPECT_TRUE(world.newestRequest().isMocked);
}

TEST_F(AppModelTest, ARepeatedBookingClearsTheBanner) {
  mocks("/v1/bookings", 500, "");
  opensCrossing();
  tapsLabel("Confirm Booking");
  world.probe.rules() = RuleBook();
  tapsLabel("Confirm Booking");
  EXPECT_EQ(app.screen(), "Confirmation");
}

TEST_F(AppModelTest, AMockedBodyIsWhatTheScreenShows) {
  mocks("/v1/search", 200, R"({"fares":[{"id":"MOCK1","departs":"01:00","arrives":"02:00","fare":1}]})");
  tapsLabel("Search");
  EXPECT_TRUE(world.shows("MOCK1 01:00-02:00 €1.00"));
  EXPECT_FALSE(world.shows("HB101 06:15-09:20 €46.50"));
}

TEST_F(AppModelTest, AnUnreadableAnswerNeverBreaksTheApp) {
  mocks("/v1/search", 200, "\xff\xfe{");
  tapsLabel("Search");
  EXPECT_TRUE(world.shows("No crossings found"));
}

TEST_F(AppModelTest, AFailedSearchShowsABanner) {
  taps("toField");
  ASSERT_TRUE(app.type("Atlantis"));
  tapsLabel("Search");
  EXPECT_TRUE(world.shows("Search failed (500). Please try again."));
}

TEST_F(AppModelTest, OnlyTheNewestSearchFillsTheList) {
  ASSERT_TRUE(app.openDeepLink("harbor://results?from=Faro&to=Lisbon"));
  world.pass(0.1);
  mocks("/v1/search", 200, R"({"fares":[{"id":"NEW"}]})");
  ASSERT_TRUE(app.openDeepLink("harbor://results?from=Porto&to=Faro"));
  world.pass(2);
  ASSERT_EQ(app.state().fares.size(), 1U);
  EXPECT_EQ(app.state().fares[0].id, "NEW");
}

TEST_F(AppModelTest, OnlyTheNewestFareIsOffered) {
  holds("/v1/fares/HB101");
  ASSERT_TRUE(app.openDeepLink("harbor://booking/HB101"));
  ASSERT_TRUE(app.openDeepLink("harbor://booking/HB102"));
  world.pass(1);
  releasesCalls();
  EXPECT_EQ(app.state().quote->fare.id, "HB102");
  EXPECT_EQ(world.logged("Landed on cart").substr(0, 33), R"(Landed on cart {"fare_id":"HB102")");
}

TEST_F(AppModelTest, ABookingThatEndsLateIsOfTheFareThatWasBooked) {
  holds("/v1/bookings");
  ASSERT_TRUE(app.openDeepLink("harbor://booking/HB104"));
  world.pass(1);
  tapsLabel("Confirm Booking");
  ASSERT_TRUE(app.openDeepLink("harbor://booking/HB102"));
  world.pass(1);
  releasesCalls();
  EXPECT_NE(world.logged("booking_created").find(R"("fare_id":"HB104","total":67.85)"), std::string::npos);
  EXPECT_EQ(app.screen(), "Confirm Booking Details") << "another fare is being looked at";
  EXPECT_EQ(app.state().quote->fare.id, "HB102");
}

TEST_F(AppModelTest, TypingReplacesTheFieldAndThenAppends) {
  taps("toField");
  const auto typed = app.type("Fa");
  ASSERT_TRUE(typed);
  EXPECT_EQ(*typed, "Typed 2 character(s) into toField");
  ASSERT_TRUE(app.type("ro"));
  EXPECT_EQ(app.state().to, "Faro");
}

TEST_F(AppModelTest, TypingNeedsAFocusedField) {
  const auto typed = app.type("x");
  ASSERT_FALSE(typed);
  EXPECT_EQ(typed.reason(), "No text field is focused. Tap a text field first.");
  taps("toField");
  ASSERT_TRUE(app.tap(195, 20));
  EXPECT_FALSE(app.type("x")) << "a tap elsewhere takes the focus away";
}

TEST_F(AppModelTest, TextThatIsNoUTF8IsMended) {
  taps("toField");
  ASSERT_TRUE(app.type("A\xff"));
  EXPECT_EQ(app.state().to, "A\xEF\xBF\xBD");
  ASSERT_TRUE(app.openDeepLink("harbor://results?from=B%FF&to=C%FF"));
  EXPECT_EQ(app.state().from, "B\xEF\xBF\xBD");
  EXPECT_EQ(app.state().to, "C\xEF\xBF\xBD");
}

TEST_F(AppModelTest, TapsAnswerWhatTheyMet) {
  EXPECT_EQ(*app.tap(195, 20), "nothing to tap at 195,20");
  EXPECT_EQ(*app.tap(195, 225), "nothing to tap at 195,225") << "a label";
  EXPECT_EQ(*app.tap(348, 295), "tapped Button \"Swap harbours\"");
  EXPECT_EQ(app.state().from, "Porto");
  EXPECT_EQ(*app.tap(360, 70), "tapped Button \"notificationsButton\"");
  EXPECT_EQ(app.tapLabel("no such thing").reason(), "no element labelled \"no such thing\"");
  EXPECT_EQ(app.tapIdentifier("x").reason(), "no element with identifier \"x\"");
}

TEST_F(AppModelTest, ADisabledButtonDoesNothing) {
  tapsLabel("Search");
  ASSERT_TRUE(app.tapIdentifier("fareHB101"));
  EXPECT_EQ(*app.tapLabel("Confirm Booking"), "Button \"Confirm Booking\" is disabled");
}

TEST_F(AppModelTest, PassengersStayBetweenOneAndNine) {
  for (int i = 0; i < 12; ++i) taps("moreButton");
  EXPECT_EQ(app.state().passengers, 9);
  for (int i = 0; i < 12; ++i) taps("fewerButton");
  EXPECT_EQ(app.state().passengers, 1);
}

TEST_F(AppModelTest, SwipesScrollAndGoBack) {
  tapsLabel("Search");
  EXPECT_EQ(*app.swipe(195, 700, 195, 600), "scrolled to 100");
  EXPECT_EQ(*app.swipe(195, 800, 195, 0), "scrolled to " + std::to_string(scrollLimit(app.state())));
  EXPECT_EQ(*app.swipe(195, 100, 195, 105), "too short for a swipe");
  EXPECT_EQ(*app.swipe(195, -2147483647 - 1, 195, 2147483647), "scrolled to 0");
  EXPECT_EQ(*app.swipe(100, 300, 300, 300), "nothing moved");
  EXPECT_EQ(*app.swipe(5, 300, 300, 300), "went back to Home");
}

TEST_F(AppModelTest, ALongTouchSavesACrossing) {
  tapsLabel("Search");
  const Frame frame{20, 140, 350, 56};
  ASSERT_TRUE(app.touchDown(frame.centerX(), frame.centerY()));
  world.pass(0.5);
  EXPECT_EQ(*app.touchUp(frame.centerX(), frame.centerY()), "held Button \"HB101 06:15-09:20 €46.50\"");
  EXPECT_TRUE(world.shows("HB101 06:15-09:20 €46.50 ✓"));
  EXPECT_EQ(app.screen(), "Search Results");
  ASSERT_TRUE(app.touchDown(frame.centerX(), frame.centerY()));
  world.pass(0.4);
  ASSERT_TRUE(app.touchUp(frame.centerX(), frame.centerY()));
  EXPECT_EQ(app.screen(), "Confirm Booking Details");
  EXPECT_FALSE(app.touchUp(1, 1));
}

TEST_F(AppModelTest, ATouchThatMovesAwayTapsNothing) {
  ASSERT_TRUE(app.touchDown(195, 479));
  EXPECT_EQ(*app.touchUp(195, 20), "touch ended elsewhere");
  EXPECT_EQ(app.screen(), "Home");
}

TEST_F(AppModelTest, ButtonsMoveTheAppToTheBackgroundAndBack) {
  EXPECT_EQ(*app.pressButton("home"), "pressed home: the app is in the background");
  EXPECT_EQ(app.tap(195, 479).reason(), "the app is in the background");
  EXPECT_EQ(app.type("x").reason(), "the app is in the background");
  EXPECT_EQ(app.swipe(0, 0, 0, 500).reason(), "the app is in the background");
  EXPECT_EQ(world.logged("Entered"), "Entered background");
  EXPECT_EQ(*app.pressButton("home"), "pressed home: the app is in the foreground");
  EXPECT_EQ(world.logged("Entered"), "Entered foreground");
  EXPECT_EQ(*app.pressButton("siri"), "pressed siri");
  EXPECT_EQ(app.pressButton("volume").reason(), "no button \"volume\"");
}

TEST_F(AppModelTest, TheBackgroundEndsATouch) {
  tapsLabel("Search");
  ASSERT_TRUE(app.touchDown(195, 168));
  world.pass(0.6);
  ASSERT_TRUE(app.pressButton("home"));
  EXPECT_EQ(app.touchUp(195, 168).reason(), "no touch to end");
  EXPECT_TRUE(app.state().savedFares.empty());
}

TEST_F(AppModelTest, DeepLinksOpenScreens) {
  EXPECT_TRUE(app.openDeepLink("harbor://profile"));
  EXPECT_EQ(app.screen(), "Profile");
  EXPECT_TRUE(app.openDeepLink("harbor://booking/HB107"));
  world.pass(1);
  EXPECT_EQ(app.screen(), "Confirm Booking Details");
  EXPECT_EQ(app.state().quote->fare.id, "HB107");
  EXPECT_TRUE(app.openDeepLink("harbor://confirmation"));
  EXPECT_TRUE(app.openDeepLink("harbor://help"));
  EXPECT_TRUE(app.openDeepLink("harbor://home"));
  EXPECT_EQ(app.screen(), "Home");
  EXPECT_FALSE(app.openDeepLink("harbor://nowhere"));
  EXPECT_FALSE(app.openDeepLink("https://home"));
  EXPECT_FALSE(app.openDeepLink(""));
  EXPECT_EQ(app.screen(), "Home");
}

TEST_F(AppModelTest, AnUnknownFareShowsABanner) {
  ASSERT_TRUE(app.openDeepLink("harbor://booking/HB999"));
  world.pass(1);
  EXPECT_TRUE(world.shows("Loading the fare failed (404). Please try again."));
}

TEST_F(AppModelTest, TheHelpScreenIsAWebView) {
  tapsLabel("Help");
  EXPECT_TRUE(world.shows("Refunds and changes"));
  EXPECT_EQ(world.newestRequest().source, "WebView");
  const auto console = world.probe.consoleEntries({}, 50);
  EXPECT_EQ(console.entries.back().message, "help center ready");
}

TEST_F(AppModelTest, SwitchesChangeStoredValues) {
  tapsLabel("Profile");
  tapsLabel("Push notifications");
  EXPECT_EQ(world.probe.defaultValue("push_enabled"), "false");
  EXPECT_EQ(world.newestRequest().method, "PUT");
  EXPECT_EQ(world.newestRequest().requestBody->data, R"({"push":false})");
  tapsLabel("Dark mode");
  EXPECT_EQ(world.probe.defaultValue("dark_mode"), "true");
  EXPECT_TRUE(app.state().darkMode);
}

TEST_F(AppModelTest, AnEnvironmentSwitchMovesLaterCalls) {
  ASSERT_TRUE(app.switchEnvironment(std::string_view("staging")));
  EXPECT_EQ(world.eventCount(CompanionMessageType::eventEnvironmentChanged), 1U);
  world.pass(1);
  const auto requests = world.requests();
  const auto init = std::find_if(requests.rbegin(), requests.rend(),
                                 [](const auto& request) { return request.path == "/v1/init"; });
  ASSERT_NE(init, requests.rend());
  EXPECT_EQ(init->host, "api.staging.harbor.travel");
  EXPECT_EQ(app.state().environmentName, "Staging");
  EXPECT_FALSE(app.switchEnvironment(UUID::random()));
  EXPECT_FALSE(app.switchEnvironment(std::string_view("nowhere")));
}

TEST_F(AppModelTest, ARecordingBecomesAFlow) {
  tapsLabel("Profile");
  tapsLabel("Record a Flow");
  const int syncs = world.syncs;
  tapsLabel("Home");
  taps("toField");
  ASSERT_TRUE(app.type("Faro"));
  ASSERT_TRUE(app.swipe(195, 600, 195, 500));
  tapsLabel("Profile");
  tapsLabel("Stop Recording");
  EXPECT_EQ(world.syncs, syncs + 1);
  const auto flows = *world.sync().recordedFlows;
  ASSERT_EQ(flows.size(), 2U);
  const auto& steps = flows[1].steps;
  ASSERT_EQ(steps.size(), 5U);
  EXPECT_EQ(steps[0].action, "tap");
  EXPECT_EQ(steps[0].label, "Home");
  EXPECT_EQ(steps[0].screen, "Profile");
  EXPECT_EQ(steps[2].action, "type");
  EXPECT_EQ(steps[2].text, "Faro");
  EXPECT_EQ(steps[3].endCoordinates, (Coords{195, 500}));
  EXPECT_FALSE(app.stopRecording());
}

}  // namespace
}  // namespace wyvlet::sample
