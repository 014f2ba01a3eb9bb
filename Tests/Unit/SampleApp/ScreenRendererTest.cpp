#include <gtest/gtest.h>

#include <set>
#include <string>

#include "WyvletSampleApp/ScreenRenderer.h"

namespace wyvlet::sample {
namespace {

TEST(ScreenRenderer, EqualStatesGiveEqualFiles) {
  AppState state;
  state.heroLoaded = true;
  state.promotion = "Sale";
  const AppState same = state;
  EXPECT_EQ(drawScreen(state).png(), drawScreen(same).png());
}

TEST(ScreenRenderer, EveryScreenLooksDifferent) {
  std::set<std::string> pictures;
  std::size_t count = 0;
  for (const ScreenID screen : {ScreenID::Home, ScreenID::Results, ScreenID::Booking, ScreenID::Confirmation,
                                ScreenID::Profile, ScreenID::Help}) {
    AppState state;
    state.screen = screen;
    pictures.insert(drawScreen(state).png());
    state.darkMode = true;
    pictures.insert(drawScreen(state).png());
    count += 2;
  }
  EXPECT_EQ(pictures.size(), count);
}

TEST(ScreenRenderer, TypedTextShows) {
  AppState state;
  const std::string before = drawScreen(state).png();
  state.to = "Porta";
  EXPECT_NE(drawScreen(state).png(), before);
}

TEST(ScreenRenderer, ABannerShows) {
  AppState state;
  state.screen = ScreenID::Booking;
  const std::string before = drawScreen(state).png();
  state.banner = "Booking failed (500). Please try again.";
  EXPECT_NE(drawScreen(state).png(), before);
}

TEST(ScreenRenderer, TheScaleMultipliesThePixels) {
  const Canvas canvas = drawScreen(AppState{}, 3);
  EXPECT_EQ(canvas.pixelWidth(), 1170);
  EXPECT_EQ(canvas.pixelHeight(), 2532);
  const Canvas plain = drawScreen(AppState{}, 1);
  EXPECT_EQ(plain.pixelWidth(), 390);
  EXPECT_EQ(plain.pixelHeight(), 844);
  EXPECT_EQ(canvas.pixel(3 * 60 + 1, 3 * 480 + 2), plain.pixel(60, 480));
}

TEST(ScreenRenderer, HostileTextStaysInItsFrame) {
  AppState state;
  const Canvas clean = drawScreen(state);
  state.from = std::string(5000, 'W') + "\xff\xfe";
  const Canvas canvas = drawScreen(state);
  // The margins beside the field are as they were.
  for (int y = 248; y < 292; ++y) {
    EXPECT_EQ(canvas.pixel(18, y), clean.pixel(18, y));
    EXPECT_EQ(canvas.pixel(319, y), clean.pixel(319, y));
  }
}

}  // namespace
}  // namespace wyvlet::sample
