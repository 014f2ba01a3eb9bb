#include <gtest/gtest.h>

#include "WyvletSampleApp/ScreenAnswers.h"

namespace wyvlet::sample {
namespace {

Element element(ElementKind kind, std::string identifier, std::string label, Frame frame) {
  Element result;
  result.kind = kind;
  result.identifier = std::move(identifier);
  result.label = label;
  result.text = label;
  result.frame = frame;
  return result;
}

std::vector<Element> sampleScreen() {
  std::vector<Element> elements;
  elements.push_back(element(ElementKind::Heading, "title", "Fish & <Chips>", {20, 50, 200, 32}));
  elements.push_back(element(ElementKind::Button, "go", "Search", {20, 200, 350, 50}));
  elements.back().action = Action::Search;
  elements.push_back(element(ElementKind::TextField, "to", "To", {20, 100, 300, 44}));
  elements.back().value = "Porto \"A\"";
  elements.back().action = Action::FocusField;
  elements.back().focused = true;
  elements.push_back(element(ElementKind::Button, "bell", "", {340, 52, 28, 29}));
  elements.back().text = "*";
  elements.back().action = Action::OpenNotifications;
  elements.push_back(element(ElementKind::Image, "hero", "", {0, 300, 390, 100}));
  elements.push_back(element(ElementKind::Switch, "push", "Push", {20, 410, 350, 44}));
  elements.back().selected = true;
  elements.back().value = "On";
  elements.back().action = Action::TogglePush;
  return elements;
}

TEST(ScreenAnswers, FindMatchesAPartWithoutRegardToCase) {
  const auto found = findElements("Home", sampleScreen(), "SEAR", false);
  EXPECT_EQ(found.screen, "Home");
  EXPECT_EQ(found.query, "SEAR");
  ASSERT_EQ(found.results.size(), 1U);
  EXPECT_EQ(found.results[0], (FoundElement{"Search", "Button", 20, 200, 350, 50, 195, 225, true}));
}

TEST(ScreenAnswers, ExactFindWantsTheWholeText) {
  EXPECT_TRUE(findElements("Home", sampleScreen(), "search", true).results.empty());
  EXPECT_EQ(findElements("Home", sampleScreen(), "Search", true).results.size(), 1U);
}

TEST(ScreenAnswers, AValueIsFoundUnderItsOwnText) {
  const auto found = findElements("Home", sampleScreen(), "porto", false);
  ASSERT_EQ(found.results.size(), 1U);
  EXPECT_EQ(found.results[0].label, "Porto \"A\"");
  EXPECT_EQ(found.results[0].type, "TextField");
  EXPECT_FALSE(found.results[0].isButton);
}

TEST(ScreenAnswers, AnEmptyQueryFindsWhateverHasAText) {
  EXPECT_EQ(findElements("Home", sampleScreen(), "", false).results.size(), 5U);
  EXPECT_TRUE(findElements("Home", sampleScreen(), "", true).results.empty());
}

TEST(ScreenAnswers, TextGoesFromTopToBottomAndLeftToRight) {
  const auto text = screenText("Home", sampleScreen());
  EXPECT_EQ(text.screen, "Home");
  EXPECT_EQ(text.lines,
            (std::vector<std::string>{"Fish & <Chips>", "*", "To", "Porto \"A\"", "Search", "Push"}));
}

TEST(ScreenAnswers, TheSnapshotNamesEveryElement) {
  const auto snapshot = screenSnapshot("Home", sampleScreen());
  ASSERT_EQ(snapshot.elements.size(), 6U);
  EXPECT_EQ(snapshot.elements[1].label, "Search");
  EXPECT_TRUE(snapshot.elements[1].interactive);
  EXPECT_FALSE(snapshot.elements[3].label);
  EXPECT_EQ(snapshot.elements[3].identifier, "bell");
  EXPECT_FALSE(snapshot.elements[0].interactive);
}

TEST(ScreenAnswers, HTMLIsOneTagAnElement) {
  const auto html = screenHTML("Home", sampleScreen());
  EXPECT_EQ(html.elementCount, 6);
  EXPECT_EQ(html.html,
            "<screen name=\"Home\">\n"
            "<h1 id=\"title\" c=\"120,66\">Fish &amp; &lt;Chips&gt;</h1>\n"
            "<button id=\"bell\" c=\"354,66\">*</button>\n"
            "<input id=\"to\" name=\"To\" value=\"Porto &quot;A&quot;\" c=\"170,122\" focused>\n"
            "<button id=\"go\" c=\"195,225\">Search</button>\n"
            "<img id=\"hero\" c=\"195,350\">\n"
            "<input id=\"push\" type=\"checkbox\" name=\"Push\" checked c=\"195,432\">\n"
            "</screen>");
}

TEST(ScreenAnswers, AnIconsNameGoesAlongInHTML) {
  std::vector<Element> elements = {element(ElementKind::Button, "swap", "Swap", {0, 0, 44, 44})};
  elements[0].text = "<>";
  elements[0].enabled = false;
  EXPECT_EQ(screenHTML("S", elements).html,
            "<screen name=\"S\">\n"
            "<button id=\"swap\" label=\"Swap\" c=\"22,22\" disabled>&lt;&gt;</button>\n"
            "</screen>");
}

TEST(ScreenAnswers, TheAuditFindsMissingLabelsSmallTargetsAndBlindImages) {
  const auto audit = accessibilityAudit("Home", sampleScreen());
  EXPECT_EQ(audit.issueCount, 3);
  ASSERT_EQ(audit.issues.size(), 3U);
  EXPECT_EQ(audit.issues[0],
            (AuditIssue{"bell", "Button has no accessibility label", "error", 340, 52, 28, 29}));
  EXPECT_EQ(audit.issues[1],
            (AuditIssue{"bell", "Touch target is 28x29, smaller than 44x44", "warning", 340, 52, 28, 29}));
  EXPECT_EQ(audit.issues[2], (AuditIssue{"hero", "Image has no description", "warning", 0, 300, 390, 100}));
}

TEST(ScreenAnswers, FortyFourPointsAreEnough) {
  auto elements = sampleScreen();
  elements.erase(elements.begin() + 3, elements.begin() + 5);
  EXPECT_TRUE(accessibilityAudit("Home", elements).issues.empty());
  elements[1].frame.height = 43;
  EXPECT_EQ(accessibilityAudit("Home", elements).issues.size(), 1U);
}

}  // namespace
}  // namespace wyvlet::sample
