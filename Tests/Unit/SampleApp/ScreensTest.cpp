#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "WyvletSampleApp/Screens.h"

namespace wyvlet::sample {
namespace {

constexpr ScreenID kAll[] = {ScreenID::Home,         ScreenID::Results, ScreenID::Booking,
                             ScreenID::Confirmation, ScreenID::Profile, ScreenID::Help};

AppState withFares(int count) {
  AppState state;
  state.screen = ScreenID::Results;
  for (int i = 0; i < count; ++i) {
    state.fares.push_back({"HB" + std::to_string(101 + i), "06:15", "09:20", 4650});
  }
  return state;
}

const Element* named(const std::vector<Element>& elements, std::string_view identifier) {
  const auto found = std::find_if(elements.begin(), elements.end(),
                                  [&](const Element& element) { return element.identifier == identifier; });
  return found == elements.end() ? nullptr : &*found;
}

TEST(Screens, IdentifiersAreUniqueAndFramesLieOnTheScreen) {
  for (const ScreenID screen : kAll) {
    AppState state = withFares(12);
    state.screen = screen;
    state.quote = Quote{{"HB101", "06:15", "09:20", 4650}, 700, 5350};
    state.banner = "Something failed";
    state.promotion = "Sale";
    state.recentSearches = {"A to B", "C to D", "E to F", "G to H"};
    state.helpArticles = {"One", "Two"};
    std::set<std::string> identifiers;
    for (const Element& element : elementsOf(state)) {
      EXPECT_TRUE(identifiers.insert(element.identifier).second) << element.identifier;
      EXPECT_GE(element.frame.x, 0) << element.identifier;
      EXPECT_LE(element.frame.x + element.frame.width, kScreenWidth) << element.identifier;
      EXPECT_GE(element.frame.centerY(), 0) << element.identifier;
      EXPECT_LE(element.frame.y + element.frame.height, kScreenHeight) << element.identifier;
    }
  }
}

TEST(Screens, EveryScreenButHomeHasAWayBackAndItsTitle) {
  for (const ScreenID screen : kAll) {
    AppState state;
    state.screen = screen;
    const auto elements = elementsOf(state);
    EXPECT_EQ(named(elements, "backButton") != nullptr, screen != ScreenID::Home);
    ASSERT_NE(named(elements, "screenTitle"), nullptr);
    if (screen != ScreenID::Home) {
      EXPECT_EQ(named(elements, "screenTitle")->text, screenName(screen));
    }
  }
}

TEST(Screens, ContentScrollsUnderTheBars) {
  AppState state = withFares(12);
  const auto before = elementsOf(state);
  EXPECT_NE(named(before, "fareHB101"), nullptr);
  EXPECT_EQ(named(before, "fareHB112"), nullptr);
  state.scroll = scrollLimit(state);
  const auto after = elementsOf(state);
  EXPECT_EQ(named(after, "fareHB101"), nullptr);
  ASSERT_NE(named(after, "fareHB112"), nullptr);
  EXPECT_EQ(named(after, "fareHB112")->frame.y + named(after, "fareHB112")->frame.height, 770);
  EXPECT_NE(named(after, "backButton"), nullptr);
}

TEST(Screens, AScreenThatFitsDoesNotScroll) {
  EXPECT_EQ(scrollLimit(withFares(3)), 0);
  EXPECT_GT(scrollLimit(withFares(12)), 0);
}

TEST(Screens, ATapMeetsTheBarAndNotTheContentUnderIt) {
  AppState state = withFares(12);
  state.scroll = 30;
  const auto elements = elementsOf(state);
  const Element* first = named(elements, "fareHB101");
  ASSERT_NE(first, nullptr);
  ASSERT_GT(first->frame.y, 96);
  const Element* hit = hitTest(elements, 20, 70);
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(hit->identifier, "backButton");
  // The tenth crossing reaches under the tab bar.
  state.scroll = 0;
  const auto top = elementsOf(state);
  hit = hitTest(top, 60, 790);
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(hit->identifier, "homeTab");
}

TEST(Screens, ATapBesideEverythingMeetsNothing) {
  const auto elements = elementsOf(AppState{});
  EXPECT_EQ(hitTest(elements, 195, 20), nullptr);
  EXPECT_EQ(hitTest(elements, -1, 5000), nullptr);
}

TEST(Screens, FramesIncludeTheirFirstPointAndExcludeTheirLast) {
  const Frame frame{10, 20, 30, 40};
  EXPECT_TRUE(frame.contains(10, 20));
  EXPECT_TRUE(frame.contains(39, 59));
  EXPECT_FALSE(frame.contains(40, 59));
  EXPECT_FALSE(frame.contains(39, 60));
}

TEST(Screens, ALabelNamesTheExactElementFirstAndThenAPart) {
  const auto elements = elementsOf(AppState{});
  EXPECT_EQ(elementLabelled(elements, "Search")->identifier, "searchButton");
  EXPECT_EQ(elementLabelled(elements, "search")->identifier, "searchButton");
  EXPECT_EQ(elementLabelled(elements, "Recent searches")->identifier, "recentLabel");
  EXPECT_EQ(elementLabelled(elements, "swap")->identifier, "swapButton");
  EXPECT_EQ(elementLabelled(elements, "Home")->identifier, "homeTab");
  EXPECT_EQ(elementLabelled(elements, "nothing like it"), nullptr);
  EXPECT_EQ(elementLabelled(elements, ""), nullptr);
}

TEST(Screens, TheBookingButtonWaitsForTheQuote) {
  AppState state;
  state.screen = ScreenID::Booking;
  EXPECT_FALSE(named(elementsOf(state), "confirmButton")->enabled);
  state.quote = Quote{{"HB101", "06:15", "09:20", 4650}, 700, 5350};
  EXPECT_TRUE(named(elementsOf(state), "confirmButton")->enabled);
  state.booking = true;
  EXPECT_FALSE(named(elementsOf(state), "confirmButton")->enabled);
}

TEST(Screens, TheFocusedFieldSaysSo) {
  AppState state;
  state.focusedField = "toField";
  const auto elements = elementsOf(state);
  EXPECT_TRUE(named(elements, "toField")->focused);
  EXPECT_FALSE(named(elements, "fromField")->focused);
}

}  // namespace
}  // namespace wyvlet::sample
