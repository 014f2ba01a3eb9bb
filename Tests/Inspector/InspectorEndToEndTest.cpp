// The page for people against the real server, in a real browser.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "Inspector/Browser.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

const std::string kPage = "file://" WYVLET_SOURCE_DIR "/share/inspector.html";

/// A person with the page open.
class Inspector : public ::testing::Test {
 protected:
  void open(const std::string& hash = "") {
    browser = std::make_unique<Browser>(kPage + hash);
    browser->evaluate(
        "window.violations = []; document.addEventListener('securitypolicyviolation',"
        " event => violations.push(event.violatedDirective + ' ' + event.blockedURI))");
    choose("interval", "1000");
  }

  void TearDown() override {
    if (!browser) return;
    EXPECT_EQ("[]", browser->text("JSON.stringify(violations)"));
    browser.reset();
  }

  void click(const std::string& id) { browser->evaluate("$(" + literal(id) + ").click()"); }
  void write(const std::string& id, const std::string& value, const std::string& event = "input") {
    browser->evaluate("$(" + literal(id) + ").value = " + literal(value) + "; $(" + literal(id) +
                      ").dispatchEvent(new Event('" + event + "'))");
  }
  void choose(const std::string& id, const std::string& value) { write(id, value, "change"); }

  /// Waits until the element shows a text, and tells what it showed instead.
  void expectShown(const std::string& id, const std::string& text) {
    const auto content = "$(" + literal(id) + ").textContent";
    EXPECT_TRUE(browser->waitUntil(content + ".includes(" + literal(text) + ")"))
        << id << " shows: " << browser->text(content);
  }
  void expectState(const std::string& text) { expectShown("state", text); }

  std::unique_ptr<Browser> browser;
};

/// The same with the travel app connected.
class InspectorWithSampleApp : public Inspector {
 protected:
  InspectorWithSampleApp() {
    server.connect();
    open();
    expectState("App connected");
  }

  SampleApp app{{"--no-announce"}};
  Server server;
};

TEST_F(Inspector, FollowsServerAndApp) {
  open();
  expectState("No server");
  expectShown("banner-text", "Nothing answers on port 8686.");
  EXPECT_TRUE(browser->waitUntil("$('connect').hidden"));

  Server server;
  expectState("Server runs, no app");
  EXPECT_TRUE(browser->waitUntil("!$('connect-usb').hidden"));

  SampleApp app({"--no-announce"});
  click("connect-usb");
  expectState("App connected");
  expectShown("note", "Connected via USB tunnel");
  EXPECT_TRUE(browser->waitUntil("$('banner').hidden"));
  EXPECT_TRUE(browser->waitUntil("$('requests-table').rows.length > 1"));
}

TEST_F(Inspector, AsksThePortThatThePersonGives) {
  Server server({.arguments = {}, .environment = {{"WYVLET_PORT", "9123"}}});
  ASSERT_TRUE(waitForPort(9123));
  open();
  expectState("No server");
  choose("port", "9123");
  expectState("Server runs, no app");
}

TEST_F(Inspector, TakesThePortFromTheAddress) {
  Server server({.arguments = {}, .environment = {{"WYVLET_PORT", "9123"}}});
  ASSERT_TRUE(waitForPort(9123));
  open("#port=9123");
  expectState("Server runs, no app");
}

TEST_F(InspectorWithSampleApp, ListsRequestsAndShowsOneInDetail) {
  app.control("emit-request POST https://api.harbor.travel/v1/telemetry?beat=1 {\"beat\":1}");
  write("requests-filter", "POST 204 https://api.harbor.travel/v1/telemetry?beat=1");
  ASSERT_TRUE(browser->waitUntil("$('requests-table').tBodies[0].rows.length === 1"));
  browser->evaluate("$('requests-table').tBodies[0].rows[0].click()");
  expectShown("detail", "Request: POST https://api.harbor.travel/v1/telemetry?beat=1");
  expectShown("detail", "Request Headers");
  expectShown("detail", "\"beat\": 1");
  write("requests-filter", "there is no such request");
  expectShown("requests-empty", "No request contains that.");
}

TEST_F(InspectorWithSampleApp, ReplaysARequest) {
  ASSERT_TRUE(browser->waitUntil("$('requests-table').rows.length > 1"));
  write("requests-filter", "/v1/init");
  const auto before = browser->evaluate("$('requests-table').tBodies[0].rows.length").to_number<int>();
  browser->evaluate("$('requests-table').tBodies[0].rows[0].click()");
  ASSERT_TRUE(browser->waitUntil("$('detail-replay')"));
  click("detail-replay");
  expectShown("note", "Replaying: GET https://api.harbor.travel/v1/init");
  EXPECT_TRUE(browser->waitUntil("$('requests-table').tBodies[0].rows.length > " + std::to_string(before)));
}

TEST_F(InspectorWithSampleApp, FollowsTheLog) {
  click("tab-logs");
  app.control("log ERROR payment the card was refused");
  expectShown("logs-table", "the card was refused");
  EXPECT_TRUE(browser->waitUntil("[...$('logs-level').options].some(option => option.value === 'ERROR')"));
  choose("logs-level", "ERROR");
  write("logs-filter", "refused");
  EXPECT_EQ(1, browser->evaluate("$('logs-table').tBodies[0].rows.length"));
  EXPECT_EQ("ERROR payment the card was refused",
            browser->text("[...$('logs-table').tBodies[0].rows[0].cells].slice(0, 3).map(cell => "
                          "cell.textContent).join(' ')"));
}

TEST_F(InspectorWithSampleApp, ShowsTheTimelineNewestFirst) {
  app.control("log INFO test first of the timeline");
  app.control("log INFO test second of the timeline");
  click("tab-timeline");
  expectShown("timeline-table", "second of the timeline");
  expectShown("timeline-title", "Timeline (last 300s, ");
  EXPECT_EQ("second of the timeline",
            browser->text("$('timeline-table').tBodies[0].rows[0].cells[2].textContent"));
}

TEST_F(InspectorWithSampleApp, AddsAndRemovesAMockThatWorks) {
  click("tab-rules");
  write("mock-pattern", "/v1/promotions");
  choose("mock-method", "GET");
  write("mock-status", "418");
  write("mock-body", "{\"mocked\":true}");
  write("mock-name", "Teapot");
  browser->evaluate("$('mock-form').requestSubmit()");
  expectShown("note", "Mock rule added: Teapot (GET /v1/promotions → 418)");
  expectShown("rules-list", "Teapot");

  app.control("emit-request GET https://api.harbor.travel/v1/promotions");
  click("tab-requests");
  EXPECT_TRUE(browser->waitUntil(
      "[...$('requests-table').tBodies[0].rows].some(row => row.textContent.includes('418') &&"
      " row.textContent.includes('MOCKED'))"));

  click("tab-rules");
  ASSERT_TRUE(browser->waitUntil("$('rules-list').textContent.includes('Teapot')"));
  browser->evaluate(
      "[...document.querySelectorAll('.rule')].find(rule => rule.textContent.includes('Teapot'))"
      ".querySelector('button').click()");
  expectShown("note", "Mock rule removed: ");
  EXPECT_TRUE(browser->waitUntil("!$('rules-list').textContent.includes('Teapot')"));
}

TEST_F(InspectorWithSampleApp, AddsAndRemovesAnIntercept) {
  click("tab-rules");
  write("intercept-pattern", "/v1/bookings");
  browser->evaluate("$('intercept-form').requestSubmit()");
  expectShown("note", "Intercept rule added: Intercept /v1/bookings — /v1/bookings");
  expectShown("rules-list", "Intercept Rules");
  browser->evaluate(
      "[...document.querySelectorAll('.rule')].find(rule => rule.textContent.includes('Intercept "
      "/v1/bookings'))"
      ".querySelector('button').click()");
  expectShown("note", "Intercept rule removed: ");
  EXPECT_TRUE(browser->waitUntil("!$('rules-list').textContent.includes('Intercept /v1/bookings')"));
}

TEST_F(InspectorWithSampleApp, AFormThatIsNotFilledInSendsNothing) {
  click("tab-rules");
  browser->evaluate("$('mock-form').requestSubmit()");
  EXPECT_EQ("", browser->text("$('note').textContent"));
}

TEST_F(InspectorWithSampleApp, PrefillsAMockFromARequest) {
  ASSERT_TRUE(browser->waitUntil("$('requests-table').rows.length > 1"));
  write("requests-filter", "/v1/profile");
  browser->evaluate("$('requests-table').tBodies[0].rows[0].click()");
  ASSERT_TRUE(browser->waitUntil("$('detail-mock')"));
  click("detail-mock");
  EXPECT_EQ("/v1/profile", browser->text("$('mock-pattern').value"));
  EXPECT_EQ("GET", browser->text("$('mock-method').value"));
  EXPECT_EQ(false, browser->evaluate("$('rules').hidden"));
}

TEST_F(InspectorWithSampleApp, ShowsTheScreenAndItsText) {
  click("tab-screen");
  EXPECT_TRUE(browser->waitUntil("!$('shot').hidden && $('shot').naturalWidth === 390"));
  expectShown("screen-text", "Visible text (");
  const auto before = browser->text("$('screen-text').textContent");
  app.control("deep-link harbor://profile");
  EXPECT_TRUE(browser->waitUntil("$('screen-text').textContent !== " + literal(before)));
}

TEST_F(InspectorWithSampleApp, LeavesAnAppAloneInWhichNothingHappens) {
  ASSERT_TRUE(browser->waitUntil("$('requests-table').rows.length > 1"));
  browser->evaluate("performance.clearResourceTimings()");
  ASSERT_TRUE(
      browser->waitUntil("performance.getEntriesByType('resource').filter(entry => "
                         "entry.name.endsWith('/status')).length >= 6"));
  EXPECT_EQ("[\"/status\",\"/wyvlet/status\"]",
            browser->text("JSON.stringify([...new Set(performance.getEntriesByType('resource')"
                          ".map(entry => new URL(entry.name).pathname))].sort())"));
}

TEST_F(InspectorWithSampleApp, ArrowKeysMoveBetweenTheViews) {
  browser->evaluate(
      "$('tab-requests').dispatchEvent(new KeyboardEvent('keydown', {key: 'ArrowLeft', bubbles: true}))");
  EXPECT_EQ(false, browser->evaluate("$('screen').hidden"));
  EXPECT_EQ("tab-screen", browser->text("document.activeElement.id"));
}

TEST_F(Inspector, OpensTheViewThatTheAddressNames) {
  open("#view=rules");
  EXPECT_EQ(false, browser->evaluate("$('rules').hidden"));
}

TEST_F(Inspector, SwitchesBetweenLightAndDark) {
  open();
  const auto light = browser->text("getComputedStyle(document.body).backgroundColor");
  click("theme");
  const auto dark = browser->text("getComputedStyle(document.body).backgroundColor");
  EXPECT_NE(light, dark);
  click("theme");
  EXPECT_EQ(light, browser->text("getComputedStyle(document.body).backgroundColor"));
}

TEST_F(Inspector, ShowsAnAndroidCapture) {
  const auto folder = homeDirectoryOfTest() + "/.wyvletqa";
  std::filesystem::create_directories(folder);
  // A clock that is ahead keeps the capture fresh for as long as the test runs.
  std::ofstream(folder + "/android-capture.json")
      << R"({"connected": true, "package": "com.example.travel", "timestamp": 99999999999999,)"
      << R"("httpRequests": [{"id": "r-1", "url": "https://api.example.com/old", "method": "GET", "statusCode": 200,)"
      << R"("duration": 12}, {"id": "r-2", "url": "https://api.example.com/new", "method": "POST"}],)"
      << R"("logEntries": [{"level": "WARN", "tag": "Booking", "message": "<b>late</b>"}]})";
  Server server;
  ASSERT_TRUE(waitForPort(8686));
  open();
  expectState("Android");
  expectShown("summary", "Android bridge: CONNECTED · com.example.travel");
  expectShown("requests-table", "https://api.example.com/new");
  EXPECT_EQ("POST 0 0 ms https://api.example.com/new",
            browser->text("[...$('requests-table').tBodies[0].rows[0].cells].slice(0, 4)"
                          ".map(cell => cell.textContent).join(' ')"));
  click("tab-logs");
  expectShown("logs-table", "<b>late</b>");
  click("tab-timeline");
  expectShown("timeline-empty", "An Android capture does not tell.");
  click("tab-rules");
  expectShown("rules-list", "An Android capture does not tell.");
  std::filesystem::remove_all(folder);
}

/// An app all of whose texts try to become part of the page.
class HostileApp : public Inspector {
 protected:
  static constexpr const char* kAttack =
      "<img src=x onerror=\"window.hacked=1\"><script>window.hacked=2</script>"
      "</pre></td><a href=\"javascript:window.hacked=3\">${window.hacked=4}</a>";

  static LenientSyncPayload sync() {
    const std::string attack = kAttack;
    TransferableNetworkRequest request;
    request.id = UUID::random();
    request.timestamp = Date::now();
    request.url = "https://x/" + attack;
    request.method = "<b>GET</b>";
    request.requestHeaders = {{attack, attack}};
    request.requestBody = Bytes{attack};
    request.responseHeaders = {{"a", attack}};
    request.responseBody = Bytes{"[\"" + std::string("<svg onload=window.hacked=5>") + "\"]"};
    request.errorDescription = attack;
    request.screenName = attack;
    TransferableLogEntry entry;
    entry.id = UUID::random();
    entry.timestamp = Date::now();
    entry.level = "<i>INFO</i>";
    entry.category = "<u>c</u>";
    entry.message = attack + "\n[00000000] forged line";
    entry.file = attack;
    entry.screenName = attack;
    TransferableMockRule rule;
    rule.id = UUID::random();
    rule.name = attack;
    rule.matchPattern = {attack, attack};
    rule.mockStatusCode = 200;
    LenientSyncPayload payload;
    payload.httpRequests = {request};
    payload.logEntries = {entry};
    payload.rulesState = LenientRulesState{{}, std::vector<TransferableMockRule>{rule}, {}};
    payload.qaState = LenientQAState{{}, attack};
    TransferableEnvironment environment{UUID::random(), attack, {attack}, attack};
    payload.environmentState =
        EnvironmentStatePayload{std::vector<TransferableEnvironment>{environment}, environment.id};
    payload.currentScreen = attack;
    return payload;
  }

  HostileApp() : app(sync()) {
    app.answerWith("command.screenText", "response.screenText",
                   ScreenTextResponse{kAttack, {kAttack, "second line"}});
    app.answerWith("command.requestScreenshot", "response.screenshot",
                   ScreenshotResponse{kAttack, "\"><img src=x onerror=window.hacked=6>"});
    server.connect();
    open();
    expectState("App connected");
  }

  void expectNothingHappened() {
    EXPECT_EQ("undefined", browser->text("typeof window.hacked"));
    EXPECT_EQ("script:1 img:1 a:0 svg:0 b:0 i:0 u:0 iframe:0",
              browser->text("['script', 'img', 'a', 'svg', 'b', 'i', 'u', 'iframe']"
                            ".map(tag => tag + ':' + document.querySelectorAll(tag).length).join(' ')"));
  }

  ScriptedApp app;
  Server server;
};

TEST_F(HostileApp, StaysTextEverywhere) {
  expectShown("summary", kAttack);
  expectShown("requests-table", kAttack);
  browser->evaluate("$('requests-table').tBodies[0].rows[0].click()");
  expectShown("detail", kAttack);
  expectShown("detail", "<svg onload=window.hacked=5>");
  expectShown("detail", "Error");
  expectNothingHappened();

  click("tab-logs");
  expectShown("logs-table", kAttack);
  expectShown("logs-table", "<i>INFO</i>");
  expectNothingHappened();

  click("tab-timeline");
  expectShown("timeline-table", "<img src=x onerror=");
  expectNothingHappened();

  click("tab-rules");
  expectShown("rules-list", kAttack);
  expectNothingHappened();

  click("tab-screen");
  expectShown("screen-text", kAttack);
  EXPECT_TRUE(browser->waitUntil("$('shot').hidden"));
  expectNothingHappened();
}

TEST_F(HostileApp, MarkupFromTextIsForbiddenByThePageItself) {
  EXPECT_EQ(true, browser->evaluate("(() => { try { document.body.innerHTML = '<p>'; return false; }"
                                    " catch (error) { return error instanceof TypeError; } })()"));
  // The policy reports what it refused; here that was wanted.
  EXPECT_TRUE(browser->waitUntil("violations.length === 1"));
  browser->evaluate("violations.length = 0");
}

TEST_F(HostileApp, ReachesNobodyElse) {
  EXPECT_EQ("refused",
            browser->text("fetch('http://127.0.0.2:8686/status').then(() => 'sent', () => 'refused')"));
  EXPECT_TRUE(browser->waitUntil("violations.length === 1"));
  browser->evaluate("violations.length = 0");
  EXPECT_EQ(
      "[\"http://localhost:8686\"]",
      browser->text(
          "JSON.stringify([...new Set(performance.getEntriesByType('resource')"
          ".map(entry => new URL(entry.name).origin))].filter(origin => !origin.includes('127.0.0.2')))"));
}

}  // namespace
}  // namespace wyvlet::test
