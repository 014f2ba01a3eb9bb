#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "Client/ResponseFormatters.h"

namespace wyvlet {
namespace {

/// The times in these texts are local.
class WebViewConsole : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
};

void expectFailure(const FormattedResponse& answer, const char* text) {
  EXPECT_EQ(answer.text, text);
  EXPECT_FALSE(answer.screen);
  EXPECT_FALSE(answer.imageBase64);
}

TEST(Snapshot, ListsElementsInOrder) {
  const auto answer = formatSnapshotResponse(
      R"({"screen":"Checkout","elements":[
        {"label":"Pay","identifier":"pay_button","type":"Button","x":16,"y":700,"width":358,"height":50,"interactive":true},
        {"identifier":"total","type":"Label","x":-4,"y":0,"width":10,"height":20,"interactive":false},
        {"label":null,"type":"View","x":0,"y":0,"width":390,"height":844,"interactive":false},
        {"label":"","identifier":"hidden","type":"Image","x":1,"y":2,"width":3,"height":4,"interactive":true}]})");
  EXPECT_EQ(answer.text,
            "Screen: Checkout\n"
            "Elements (4):\n"
            "  Button \"Pay\" at (16,700) 358x50 [tappable]\n"
            "  Label \"total\" at (-4,0) 10x20\n"
            "  View \"\" at (0,0) 390x844\n"
            "  Image \"\" at (1,2) 3x4 [tappable]");
  EXPECT_FALSE(answer.screen) << "a snapshot does not say which screen is current";
}

TEST(Snapshot, WithoutElementsIsTwoLines) {
  EXPECT_EQ(formatSnapshotResponse(R"({"screen":"","elements":[]})").text, "Screen: \nElements (0):");
}

TEST(Snapshot, AMissingKeyIsAFailure) {
  expectFailure(formatSnapshotResponse(R"({"screen":"Home"})"), "Failed to decode snapshot");
  expectFailure(formatSnapshotResponse(""), "Failed to decode snapshot");
}

TEST(Screenshot, CountsTheCharactersOfTheText) {
  const auto answer = formatScreenshotResponse(R"({"screen":"Home","base64PNG":"iVBORw0KGgo="})");
  EXPECT_EQ(answer.text, "Screen: Home\nScreenshot captured (12 bytes base64)");
  EXPECT_EQ(answer.screen, "Home");
  EXPECT_EQ(answer.imageBase64, "iVBORw0KGgo=");
}

TEST(Screenshot, AnEmptyPictureIsStillAPicture) {
  const auto answer = formatScreenshotResponse(R"({"screen":"Home","base64PNG":""})");
  EXPECT_EQ(answer.text, "Screen: Home\nScreenshot captured (0 bytes base64)");
  EXPECT_EQ(answer.imageBase64, "");
}

TEST(Screenshot, AWrongTypeIsAFailure) {
  expectFailure(formatScreenshotResponse(R"({"screen":"Home","base64PNG":7})"), "Screenshot decode failed");
  expectFailure(formatScreenshotResponse(R"({"screen":"Home","base64PNG":null})"),
                "Screenshot decode failed");
}

TEST(Find, ListsMatches) {
  const auto answer = formatFindResponse(
      R"({"screen":"Search","query":"Berlin","results":[
        {"label":"Berlin Hbf","type":"Cell","x":0,"y":120,"width":390,"height":64,"centerX":195,"centerY":152,"isButton":false},
        {"label":"Berlin \"Ost\"","type":"Button","x":1,"y":2,"width":3,"height":4,"centerX":2,"centerY":4,"isButton":true}]})");
  EXPECT_EQ(answer.text,
            "Screen: Search\n"
            "Found 2 match(es) for \"Berlin\":\n"
            "  Cell \"Berlin Hbf\" at (0,120) 390x64 center=(195,152)\n"
            "  Button \"Berlin \"Ost\"\" at (1,2) 3x4 center=(2,4) [BUTTON]");
  EXPECT_EQ(answer.screen, "Search");
}

TEST(Find, NothingFoundIsTwoLines) {
  const auto answer = formatFindResponse(R"({"screen":"Search","query":"Zürich","results":[]})");
  EXPECT_EQ(answer.text, "Screen: Search\nNo elements found matching \"Zürich\"");
  EXPECT_EQ(answer.screen, "Search");
}

TEST(Find, BracesInTheAppsTextsStayAsTheyAre) {
  EXPECT_EQ(formatFindResponse(R"({"screen":"{}","query":"{0}","results":[]})").text,
            "Screen: {}\nNo elements found matching \"{0}\"");
}

TEST(Find, AFractionIsNoCoordinate) {
  expectFailure(
      formatFindResponse(
          R"({"screen":"S","query":"q","results":[{"label":"","type":"","x":0.5,"y":0,"width":0,"height":0,"centerX":0,"centerY":0,"isButton":false}]})"),
      "Find decode failed");
}

TEST(Find, AnIntegralNumberWithAFractionPartIsACoordinate) {
  EXPECT_EQ(
      formatFindResponse(
          R"({"screen":"S","query":"q","results":[{"label":"L","type":"T","x":20.0,"y":1e1,"width":0,"height":0,"centerX":0,"centerY":0,"isButton":false}]})")
          .text,
      "Screen: S\nFound 1 match(es) for \"q\":\n  T \"L\" at (20,10) 0x0 center=(0,0)");
}

TEST(ScreenText, IndentsEveryLine) {
  const auto answer = formatScreenTextResponse(R"({"screen":"Home","lines":["Trips","","2 travellers"]})");
  EXPECT_EQ(answer.text, "Screen: Home\nVisible text (3 items):\n  Trips\n  \n  2 travellers");
  EXPECT_EQ(answer.screen, "Home");
}

TEST(ScreenText, AnEmptyScreenIsTwoLines) {
  EXPECT_EQ(formatScreenTextResponse(R"({"screen":"Home","lines":[]})").text,
            "Screen: Home\nVisible text (0 items):");
  expectFailure(formatScreenTextResponse(R"({"screen":"Home","lines":[1]})"), "Screen text decode failed");
}

TEST(ScreenHTML, IsPassedOnUnchanged) {
  const auto answer = formatScreenHTMLResponse(
      R"({"screen":"Home","html":"<div>\n  <b>\u00e9</b>\n</div>","elementCount":2})");
  EXPECT_EQ(answer.text, "<div>\n  <b>é</b>\n</div>");
  EXPECT_EQ(answer.screen, "Home");
}

TEST(ScreenHTML, WithoutElementCountIsAFailure) {
  expectFailure(formatScreenHTMLResponse(R"({"screen":"Home","html":""})"), "Screen HTML decode failed");
}

TEST(PerfSnapshot, HasOneDecimal) {
  const auto answer = formatPerfSnapshotResponse(
      R"({"fps":59.97,"memoryMB":182.25,"avgFPS":58,"peakMemoryMB":1024.06,"screen":"Feed"})");
  EXPECT_EQ(answer.text,
            "Screen: Feed\nCurrent FPS: 60.0\nAverage FPS: 58.0\nMemory: 182.2 MB\nPeak Memory: 1024.1 MB");
  EXPECT_EQ(answer.screen, "Feed");
}

TEST(PerfSnapshot, TextIsNoNumber) {
  expectFailure(
      formatPerfSnapshotResponse(R"({"fps":"60","memoryMB":1,"avgFPS":1,"peakMemoryMB":1,"screen":"Feed"})"),
      "Perf snapshot decode failed");
}

TEST(AccessibilityAudit, WithoutIssuesPassesWhateverTheCount) {
  const auto answer = formatAccessibilityAuditResponse(R"({"screen":"Home","issues":[],"issueCount":9})");
  EXPECT_EQ(answer.text, "Screen: Home\nAccessibility Audit: PASS — No issues found");
  EXPECT_EQ(answer.screen, "Home");
}

TEST(AccessibilityAudit, CountsExactSeveritiesAndShowsTheAppsOwnCount) {
  const auto answer = formatAccessibilityAuditResponse(
      R"({"screen":"Home","issueCount":7,"issues":[
        {"element":"UIButton","issue":"Missing label","severity":"error","x":1,"y":2,"width":30,"height":40},
        {"element":"UILabel","issue":"Low contrast","severity":"warning","x":-5,"y":0,"width":0,"height":1},
        {"element":"UIImage","issue":"Decorative","severity":"info","x":0,"y":0,"width":2,"height":2},
        {"element":"UIView","issue":"Shouting","severity":"ERROR","x":0,"y":0,"width":2,"height":2}]})");
  EXPECT_EQ(answer.text,
            "Screen: Home\n"
            "Accessibility Audit: 7 issue(s) — 1 error(s), 1 warning(s)\n"
            "  [ERROR] UIButton: Missing label at (1,2) 30x40\n"
            "  [WARN] UILabel: Low contrast at (-5,0) 0x1\n"
            "  [WARN] UIImage: Decorative at (0,0) 2x2\n"
            "  [WARN] UIView: Shouting at (0,0) 2x2");
}

TEST(AccessibilityAudit, WithoutACountIsAFailure) {
  expectFailure(formatAccessibilityAuditResponse(R"({"screen":"Home","issues":[]})"),
                "Accessibility audit decode failed");
}

TEST_F(WebViewConsole, ListsEntriesInOrder) {
  const auto answer = formatWebViewConsoleResponse(
      R"({"totalCount":12,"entries":[
        {"timestamp":1700000000.25,"level":"error","message":"Uncaught TypeError","url":"https://m.example.com/pay"},
        {"timestamp":1700000001.0004,"level":"Straße","message":""}]})");
  EXPECT_EQ(answer.text,
            "WebView Console (2 of 12 entries):\n"
            "  [22:13:20.250] [ERROR] Uncaught TypeError (https://m.example.com/pay)\n"
            "  [22:13:21.000] [STRASSE] ");
  EXPECT_FALSE(answer.screen);
}

TEST_F(WebViewConsole, CutsLongMessagesAndURLsBetweenCharacters) {
  const auto entry = [](const std::string& message, const std::string& url) {
    return formatWebViewConsoleResponse(
               R"({"totalCount":1,"entries":[{"timestamp":0,"level":"log","message":")" + message +
               R"(","url":")" + url + R"("}]})")
        .text;
  };
  const std::string head = "WebView Console (1 of 1 entries):\n  [00:00:00.000] [LOG] ";
  const std::string x299(299, 'x');
  EXPECT_EQ(entry(x299 + "x", ""), head + x299 + "x ()");
  EXPECT_EQ(entry(x299 + "xy", ""), head + x299 + "x ()");
  EXPECT_EQ(entry(x299 + "👩‍👩‍👧y", ""), head + x299 + "👩‍👩‍👧 ()");
  const std::string u59(59, 'u');
  EXPECT_EQ(entry("m", "a" + u59), head + "m (a" + u59 + ")");
  EXPECT_EQ(entry("m", "ba" + u59), head + "m (a" + u59 + ")");
  EXPECT_EQ(entry("m", "bé" + u59), head + "m (é" + u59 + ")");
}

TEST_F(WebViewConsole, WithoutEntriesSaysWhatCaptureNeeds) {
  EXPECT_EQ(formatWebViewConsoleResponse(R"({"entries":[],"totalCount":3})").text,
            "No WebView console entries captured.\n"
            "Note: Console capture requires WKWebView instances in the app.");
  expectFailure(formatWebViewConsoleResponse(R"({"entries":[]})"), "WebView console decode failed");
}

TEST(Input, SaysWhetherItWorked) {
  EXPECT_EQ(formatInputResponse(R"({"success":true,"message":"Typed 5 characters"})").text,
            "OK: Typed 5 characters");
  EXPECT_EQ(formatInputResponse(R"({"success":false,"message":"No field"})").text, "FAILED: No field");
  expectFailure(formatInputResponse(R"({"success":1,"message":"No field"})"), "Input response decode failed");
  expectFailure(formatInputResponse("{}"), "Input response decode failed");
}

}  // namespace
}  // namespace wyvlet
