#include <gtest/gtest.h>

#include "Android/AndroidCapture.h"
#include "Android/UIDump.h"
#include "Peers/DeviceStandIn.h"

namespace wyvlet {
namespace {

constexpr std::string_view kEmptyScreen = "<screen platform=\"android\">\n</screen>";

/// The line of the only node of a dump.
std::string lineOf(const std::string& node) {
  const auto html = convertUIXMLToHTML("<hierarchy>" + node + "</hierarchy>");
  const std::string begin = "<screen platform=\"android\">\n";
  const std::string end = "\n</screen>";
  EXPECT_TRUE(html.starts_with(begin) && html.ends_with(end)) << html;
  if (html == kEmptyScreen) return "";
  return html.substr(begin.size(), html.size() - begin.size() - end.size());
}

TEST(UIDump, ANodeIsALineWithItsCentre) {
  EXPECT_EQ(
      lineOf(
          R"(<node text="OK" class="android.widget.Button" bounds="[100,200][300,260]" clickable="true" />)"),
      R"(  <Button clickable center="200,230">OK</Button>)");
}

TEST(UIDump, SelectedFollowsClickable) {
  EXPECT_EQ(lineOf(R"(<node text="A" class="x.Tab" clickable="true" selected="true" bounds="[0,0][2,2]"/>)"),
            R"(  <Tab clickable selected center="1,1">A</Tab>)");
  EXPECT_EQ(lineOf(R"(<node text="A" class="x.Tab" clickable="false" selected="true" bounds="[0,0][2,2]"/>)"),
            R"(  <Tab selected center="1,1">A</Tab>)");
}

TEST(UIDump, OnlyTheExactWordTrueIsTrue) {
  EXPECT_EQ(lineOf(R"(<node text="A" class="T" clickable="TRUE" selected="true " bounds="[0,0][2,2]"/>)"),
            R"(  <T center="1,1">A</T>)");
}

TEST(UIDump, TheDescriptionStandsInForAnEmptyText) {
  EXPECT_EQ(lineOf(R"(<node text="" content-desc="Back" class="a.ImageButton" bounds="[0,0][10,20]"/>)"),
            R"(  <ImageButton center="5,10">Back</ImageButton>)");
  EXPECT_EQ(lineOf(R"(<node text="Text" content-desc="Back" class="a.B" bounds="[0,0][10,20]"/>)"),
            R"(  <B center="5,10">Text</B>)");
}

TEST(UIDump, ANodeWithoutALabelIsLeftOut) {
  EXPECT_EQ(lineOf(R"(<node text="" content-desc="" class="android.widget.ImageView" clickable="true"/>)"),
            "");
  EXPECT_EQ(lineOf(R"(<node class="android.widget.ImageView" clickable="true"/>)"), "");
}

TEST(UIDump, TheTypeIsTheLastPartOfTheClass) {
  EXPECT_EQ(lineOf(R"(<node text="A" class="Plain"/>)"), R"(  <Plain center="0,0">A</Plain>)");
  EXPECT_EQ(lineOf(R"(<node text="A" class="ends.with."/>)"), R"(  < center="0,0">A</>)");
  EXPECT_EQ(lineOf(R"(<node text="A"/>)"), R"(  < center="0,0">A</>)");
}

TEST(UIDump, LabelsStayAsTheyStandInTheDump) {
  EXPECT_EQ(lineOf(R"(<node text="Tom &amp; Jerry&#10;{}" class="a.T"/>)"),
            R"(  <T center="0,0">Tom &amp; Jerry&#10;{}</T>)");
}

TEST(UIDump, TheFirstOfTwoAttributesCounts) {
  EXPECT_EQ(lineOf(R"(<node text="first" text="second" class="a.T"/>)"), R"(  <T center="0,0">first</T>)");
}

TEST(UIDump, AnAttributeWithoutItsEndIsMissing) {
  EXPECT_EQ(lineOf(R"(<node class="a.T" text="never ends)"), "");
}

TEST(UIDump, NodesAreListedFlatInDocumentOrder) {
  EXPECT_EQ(
      convertUIXMLToHTML(R"(<?xml?><hierarchy><node text="a" class="A"><node text="b" class="B"/></node>)"
                         R"(<node text="c" class="C"/></hierarchy>)"),
      "<screen platform=\"android\">\n"
      "  <A center=\"0,0\">a</A>\n"
      "  <B center=\"0,0\">b</B>\n"
      "  <C center=\"0,0\">c</C>\n"
      "</screen>");
}

TEST(UIDump, WhatIsNoDumpIsAnEmptyScreen) {
  for (const std::string_view text :
       {"", "ERROR: could not get idle state.", "<nodes/>", "<node/>", "text=\"A\" class=\"B\""}) {
    EXPECT_EQ(convertUIXMLToHTML(text), kEmptyScreen) << text;
  }
}

TEST(UIBounds, GiveCornerSizeAndCentre) {
  EXPECT_EQ(parseUIBounds("[100,200][301,261]"),
            (UIBounds{.x = 100, .y = 200, .width = 201, .height = 61, .centerX = 200, .centerY = 230}));
  EXPECT_EQ(parseUIBounds("[-21,-3][20,0]"),
            (UIBounds{.x = -21, .y = -3, .width = 41, .height = 3, .centerX = 0, .centerY = -1}));
}

TEST(UIBounds, AreAllZeroWhenTheyAreNotTwoPairsOfIntegers) {
  for (const std::string_view text :
       {"", "[", "[]", "[][]", "[1,2]", "[1,2][3,4][5,6]", "[1,2][3]", "[1,2,3][4,5]", "[1,2][3,x]",
        "[ 1,2][3,4]", "[1.0,2][3,4]", "1,2,3,4", "[1,2] [3,4]", "[99999999999999999999,0][1,1]", "[1,2][,4]",
        "[0x1,2][3,4]", "[9223372036854775807,0][9223372036854775807,1]", "[-9223372036854775808,0][1,1]"}) {
    EXPECT_EQ(parseUIBounds(text), UIBounds{}) << text;
  }
}

TEST(UIBounds, MayBeAsLargeAsNumbersGet) {
  EXPECT_EQ(
      parseUIBounds("[0,0][9223372036854775807,2]"),
      (UIBounds{.width = 9223372036854775807, .height = 2, .centerX = 4611686018427387903, .centerY = 1}));
}

TEST(UIDump, ARecordedLauncherIsReadToTheCharacter) {
  EXPECT_EQ(convertUIXMLToHTML(test::recordedDump("launcher.xml")),
            "<screen platform=\"android\">\n"
            "  <View clickable center=\"240,400\">Home screen 3</View>\n"
            "  <AppWidgetHostView center=\"240,255\">Analog clock</AppWidgetHostView>\n"
            "  <View clickable center=\"240,255\">11:33</View>\n"
            "  <LinearLayout clickable center=\"240,73\">Search</LinearLayout>\n"
            "  <TextView clickable center=\"48,753\">Phone</TextView>\n"
            "  <TextView clickable center=\"144,753\">People</TextView>\n"
            "  <TextView clickable center=\"240,753\">Apps</TextView>\n"
            "  <TextView clickable center=\"336,753\">Messaging</TextView>\n"
            "  <TextView clickable center=\"432,753\">Browser</TextView>\n"
            "</screen>");
}

TEST(UIDump, ARecordedShopIsReadToTheCharacter) {
  EXPECT_EQ(convertUIXMLToHTML(test::recordedDump("catalogue.xml")),
            "<screen platform=\"android\">\n"
            "  <TextView center=\"540,222\">Tom &amp; Jerry&#10;Box set</TextView>\n"
            "  <ImageButton clickable center=\"1006,129\">Cart, 3 items</ImageButton>\n"
            "  <ComposeView clickable selected center=\"529,1487\">Größe wählen 👟</ComposeView>\n"
            "  <Button clickable center=\"540,2274\">Add to cart</Button>\n"
            "</screen>");
}

TEST(UIDump, AHostileDumpHarmsNothing) {
  EXPECT_EQ(convertUIXMLToHTML(test::recordedDump("hostile.xml")),
            "<screen platform=\"android\">\n"
            "  < center=\"0,0\">no class</>\n"
            "  <B center=\"0,0\">huge bounds</B>\n"
            "  <B center=\"0,0\">beyond numbers</B>\n"
            "  <B center=\"0,0\">fractions</B>\n"
            "  <B center=\"0,0\">three corners</B>\n"
            "  <B center=\"0,0\">words</B>\n"
            "  < center=\"2,3\">dotted</>\n"
            "  <B center=\"-7,-13\">first</B>\n"
            "  <B clickable selected center=\"3,3\"><b>markup</b></B>\n"
            "</screen>");
}

TEST(UIText, ListsTheLabels) {
  EXPECT_EQ(formatUIText(parseUIDump(test::recordedDump("catalogue.xml"))),
            "Screen: Android\n"
            "Visible text (4 items):\n"
            "  Tom &amp; Jerry&#10;Box set\n"
            "  Cart, 3 items\n"
            "  Größe wählen 👟\n"
            "  Add to cart");
}

TEST(UIText, OfAnEmptyScreenHasItsHeading) {
  EXPECT_EQ(formatUIText({}), "Screen: Android\nVisible text (0 items):");
}

std::string found(const std::string& dump, std::string_view query, bool exact) {
  return formatUIMatches(parseUIDump(test::recordedDump(dump)), query, exact);
}

TEST(UIMatches, ArePartialAndOfAnyCase) {
  EXPECT_EQ(found("catalogue.xml", "CART", false),
            "Screen: Android\n"
            "Found 2 match(es) for \"CART\":\n"
            "  ImageButton \"Cart, 3 items\" at (943,66) 126x126 center=(1006,129) [BUTTON]\n"
            "  Button \"Add to cart\" at (42,2201) 996x147 center=(540,2274) [BUTTON]");
  EXPECT_EQ(found("catalogue.xml", "GRÖSSE", false),
            "Screen: Android\nNo elements found matching \"GRÖSSE\"");
  EXPECT_EQ(found("catalogue.xml", "GRÖßE", false),
            "Screen: Android\n"
            "Found 1 match(es) for \"GRÖßE\":\n"
            "  ComposeView \"Größe wählen 👟\" at (-21,1420) 1101x135 center=(529,1487) [BUTTON]");
}

TEST(UIMatches, OfAnExactQueryAreTheSameToTheLetter) {
  EXPECT_EQ(found("launcher.xml", "Phone", true),
            "Screen: Android\n"
            "Found 1 match(es) for \"Phone\":\n"
            "  TextView \"Phone\" at (0,706) 96x94 center=(48,753) [BUTTON]");
  EXPECT_EQ(found("launcher.xml", "phone", true), "Screen: Android\nNo elements found matching \"phone\"");
  EXPECT_EQ(found("launcher.xml", "Phon", true), "Screen: Android\nNo elements found matching \"Phon\"");
}

TEST(UIMatches, ThatCannotBeTappedAreNoButtons) {
  EXPECT_EQ(found("launcher.xml", "Analog clock", true),
            "Screen: Android\n"
            "Found 1 match(es) for \"Analog clock\":\n"
            "  AppWidgetHostView \"Analog clock\" at (120,105) 240x300 center=(240,255)");
}

TEST(UIMatches, MayBeAskedForByTheDecodedLabel) {
  const std::string line = "\n  TextView \"Tom &amp; Jerry&#10;Box set\" at (42,180) 996x85 center=(540,222)";
  EXPECT_EQ(found("catalogue.xml", "tom & jerry", false),
            "Screen: Android\nFound 1 match(es) for \"tom & jerry\":" + line);
  EXPECT_EQ(found("catalogue.xml", "Tom & Jerry\nBox set", true),
            "Screen: Android\nFound 1 match(es) for \"Tom & Jerry\nBox set\":" + line);
  EXPECT_EQ(found("catalogue.xml", "Tom &amp; Jerry", false),
            "Screen: Android\nFound 1 match(es) for \"Tom &amp; Jerry\":" + line);
}

TEST(UIMatches, OfAnEmptyQueryAreAllOrNone) {
  EXPECT_TRUE(
      found("catalogue.xml", "", false).starts_with("Screen: Android\nFound 4 match(es) for \"\":\n"));
  EXPECT_EQ(found("catalogue.xml", "", true), "Screen: Android\nNo elements found matching \"\"");
}

}  // namespace
}  // namespace wyvlet
