#pragma once

#include <string_view>
#include <vector>

#include "WyvletSampleApp/AppState.h"
#include "WyvletSampleApp/Element.h"

namespace wyvlet::sample {

/// The size of the screen in points.
inline constexpr int kScreenWidth = 390;
inline constexpr int kScreenHeight = 844;

/// "Home", "Search Results", "Confirm Booking Details", "Confirmation", "Profile", "Help Center".
std::string_view screenName(ScreenID screen);

/// Everything now visible, from top to bottom; a pure function of the state.
/// Content that is scrolled out of sight is left out.
std::vector<Element> elementsOf(const AppState& state);

/// By how many points the content of the screen can be scrolled at most.
int scrollLimit(const AppState& state);

/// The foremost element at a point that does something when tapped, or null. Points into `elements`.
const Element* hitTest(const std::vector<Element>& elements, int x, int y);

/// The element that a label names: one whose label or text is exactly that, else the first that
/// contains it without regard to case; elements that do something when tapped go first. Null when
/// there is none.
const Element* elementLabelled(const std::vector<Element>& elements, std::string_view label);

}  // namespace wyvlet::sample
