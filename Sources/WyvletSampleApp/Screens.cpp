#include "WyvletSampleApp/Screens.h"

#include <algorithm>
#include <string>
#include <utility>

#include "Support/Text.h"

namespace wyvlet::sample {
namespace {

constexpr int kContentTop = 100;
constexpr int kContentBottom = 770;
constexpr int kMargin = 20;
constexpr int kColumn = kScreenWidth - 2 * kMargin;

/// An element that reads as it is named.
Element plain(ElementKind kind, std::string identifier, const std::string& text, Frame frame) {
  return {.kind = kind,
          .identifier = std::move(identifier),
          .label = text,
          .text = text,
          .value = {},
          .frame = frame,
          .argument = {}};
}

Element heading(std::string identifier, const std::string& text, Frame frame) {
  return plain(ElementKind::Heading, std::move(identifier), text, frame);
}

Element label(std::string identifier, const std::string& text, Frame frame) {
  return plain(ElementKind::Label, std::move(identifier), text, frame);
}

Element button(std::string identifier, const std::string& text, Frame frame, Action action,
               std::string argument = {}) {
  Element element = plain(ElementKind::Button, std::move(identifier), text, frame);
  element.action = action;
  element.argument = std::move(argument);
  return element;
}

/// A button that shows a sign instead of its name.
Element iconButton(std::string identifier, std::string name, const std::string& sign, Frame frame,
                   Action action) {
  Element element = button(std::move(identifier), sign, frame, action);
  element.label = std::move(name);
  return element;
}

Element field(const AppState& state, const std::string& identifier, const std::string& name,
              std::string value, Frame frame) {
  Element element{.kind = ElementKind::TextField,
                  .identifier = identifier,
                  .label = name,
                  .text = name,
                  .value = std::move(value),
                  .frame = frame,
                  .action = Action::FocusField,
                  .argument = identifier};
  element.focused = state.focusedField == identifier;
  return element;
}

Element toggle(std::string identifier, std::string name, bool on, Frame frame, Action action) {
  Element element = button(std::move(identifier), std::move(name), frame, action);
  element.kind = ElementKind::Switch;
  element.value = on ? "On" : "Off";
  element.selected = on;
  return element;
}

Element image(std::string identifier, std::string description, bool loaded, Frame frame) {
  Element element = label(std::move(identifier), std::move(description), frame);
  element.kind = ElementKind::Image;
  element.text.clear();
  element.selected = loaded;
  return element;
}

/// A label on the left and its value at the right end of the same line.
void addRow(std::vector<Element>& elements, const std::string& identifier, std::string name,
            std::string value, int y) {
  const int valueWidth = 190;
  elements.push_back(label(identifier + "Label", std::move(name), {kMargin, y, kColumn - valueWidth, 28}));
  elements.push_back(
      label(identifier + "Value", std::move(value), {kMargin + kColumn - valueWidth, y, valueWidth, 28}));
}

void addBanner(std::vector<Element>& elements, const AppState& state, int y) {
  if (!state.banner) return;
  Element banner = label("errorBanner", *state.banner, {kMargin, y, kColumn, 44});
  banner.kind = ElementKind::Alert;
  elements.push_back(std::move(banner));
}

std::vector<Element> navigationBar(const AppState& state) {
  std::vector<Element> elements;
  if (state.screen != ScreenID::Home) {
    elements.push_back(iconButton("backButton", "Back", "<", {4, 48, 44, 44}, Action::GoBack));
  }
  const bool home = state.screen == ScreenID::Home;
  const int left = home ? kMargin : 52;
  elements.push_back(heading("screenTitle", home ? "Harbor Travel" : std::string(screenName(state.screen)),
                             {left, 54, 330 - left, 32}));
  if (home) {
    // The bell was never given a name and is too small for a finger; the audit has to find it.
    elements.push_back(
        iconButton("notificationsButton", "", "•", {346, 56, 28, 28}, Action::OpenNotifications));
  }
  return elements;
}

std::vector<Element> tabBar(const AppState& state) {
  struct Tab {
    const char* identifier;
    const char* title;
    ScreenID screen;
    Action action;
  };
  constexpr Tab kTabs[] = {{"homeTab", "Home", ScreenID::Home, Action::OpenHome},
                           {"profileTab", "Profile", ScreenID::Profile, Action::OpenProfile},
                           {"helpTab", "Help", ScreenID::Help, Action::OpenHelp}};
  std::vector<Element> elements;
  int x = 0;
  for (const Tab& tab : kTabs) {
    Element element = button(tab.identifier, tab.title, {x, 776, 130, 60}, tab.action);
    element.selected = state.screen == tab.screen;
    elements.push_back(std::move(element));
    x += 130;
  }
  return elements;
}

std::vector<Element> homeContent(const AppState& state) {
  std::vector<Element> elements;
  elements.push_back(image("heroImage", "", state.heroLoaded, {kMargin, 104, kColumn, 100}));
  elements.push_back(label("questionLabel", "Where to next?", {kMargin, 214, kColumn, 28}));
  elements.push_back(field(state, "fromField", "From", state.from, {kMargin, 248, 298, 44}));
  elements.push_back(field(state, "toField", "To", state.to, {kMargin, 298, 298, 44}));
  elements.push_back(iconButton("swapButton", "Swap harbours", "↕", {326, 273, 44, 44}, Action::SwapCities));
  elements.push_back(field(state, "dateField", "Departure", state.date, {kMargin, 348, kColumn, 44}));
  elements.push_back(label("passengersLabel", "Passengers", {kMargin, 406, 180, 28}));
  elements.push_back(
      iconButton("fewerButton", "Fewer passengers", "-", {226, 398, 44, 44}, Action::FewerPassengers));
  elements.push_back(label("passengersValue", std::to_string(state.passengers), {282, 406, 36, 28}));
  elements.push_back(
      iconButton("moreButton", "More passengers", "+", {326, 398, 44, 44}, Action::MorePassengers));
  elements.push_back(button("searchButton", "Search", {kMargin, 454, kColumn, 50}, Action::Search));
  elements.back().enabled = !state.searching;
  elements.push_back(label("recentLabel", "Recent searches", {kMargin, 520, kColumn, 28}));
  int y = 552;
  for (std::size_t i = 0; i < state.recentSearches.size() && i < 3; ++i, y += 30) {
    elements.push_back(
        label("recentSearch" + std::to_string(i), state.recentSearches[i], {kMargin, y, kColumn, 28}));
  }
  if (!state.promotion.empty()) {
    Element banner = label("promotionWebView", state.promotion, {kMargin, 652, kColumn, 100});
    banner.kind = ElementKind::WebView;
    elements.push_back(std::move(banner));
  }
  return elements;
}

std::string fareText(const AppState& state, const Fare& fare) {
  return fare.id + " " + fare.departs + "-" + fare.arrives + " " + moneyText(fare.cents) +
         (state.savedFares.contains(fare.id) ? " ✓" : "");
}

std::vector<Element> resultsContent(const AppState& state) {
  std::vector<Element> elements;
  elements.push_back(label("routeLabel", state.from + " to " + state.to, {kMargin, 104, kColumn, 28}));
  int y = 140;
  if (state.banner) {
    addBanner(elements, state, y);
    y += 56;
  } else if (state.searching) {
    elements.push_back(label("statusLabel", "Searching...", {kMargin, y, kColumn, 28}));
  } else if (state.fares.empty()) {
    elements.push_back(label("statusLabel", "No crossings found", {kMargin, y, kColumn, 28}));
  }
  for (const Fare& fare : state.fares) {
    elements.push_back(button("fare" + fare.id, fareText(state, fare), {kMargin, y, kColumn, 56},
                              Action::OpenFare, fare.id));
    y += 64;
  }
  return elements;
}

std::vector<Element> bookingContent(const AppState& state) {
  std::vector<Element> elements;
  if (state.quote) {
    const Quote& quote = *state.quote;
    addRow(elements, "crossing", "Crossing", quote.fare.id, 110);
    addRow(elements, "departure", "Departs", state.date + " " + quote.fare.departs, 142);
    addRow(elements, "passengerCount", "Passengers", std::to_string(state.passengers), 174);
    addRow(elements, "fare", "Fare", moneyText(quote.fare.cents), 206);
    addRow(elements, "taxes", "Taxes", moneyText(quote.taxCents), 238);
    addRow(elements, "total", "Total Payable", moneyText(quote.totalCents), 270);
  } else if (!state.banner) {
    elements.push_back(label("statusLabel", "Loading fare...", {kMargin, 110, kColumn, 28}));
  }
  elements.push_back(field(state, "nameField", "Name", state.passengerName, {kMargin, 316, kColumn, 44}));
  elements.push_back(field(state, "emailField", "Email", state.email, {kMargin, 370, kColumn, 44}));
  addBanner(elements, state, 430);
  elements.push_back(button("confirmButton", state.booking ? "Booking..." : "Confirm Booking",
                            {kMargin, 490, kColumn, 50}, Action::ConfirmBooking));
  elements.back().enabled = state.quote.has_value() && !state.booking;
  elements.push_back(label("termsLabel", "Refundable until departure", {kMargin, 556, kColumn, 28}));
  return elements;
}

std::vector<Element> confirmationContent(const AppState& state) {
  std::vector<Element> elements;
  elements.push_back(image("doneImage", "Booking complete", true, {135, 120, 120, 120}));
  elements.push_back(heading("doneLabel", "Booking Confirmed", {kMargin, 260, kColumn, 32}));
  addRow(elements, "reference", "Reference", state.bookingReference, 306);
  if (state.quote) {
    addRow(elements, "crossing", "Crossing", state.quote->fare.id, 338);
    addRow(elements, "total", "Total Paid", moneyText(state.quote->totalCents), 370);
  }
  addRow(elements, "passenger", "Passenger", state.passengerName, 402);
  elements.push_back(button("doneButton", "Done", {kMargin, 460, kColumn, 50}, Action::FinishBooking));
  return elements;
}

std::vector<Element> profileContent(const AppState& state) {
  std::vector<Element> elements;
  elements.push_back(image("avatarImage", "Profile photo", state.avatarLoaded, {kMargin, 110, 80, 80}));
  elements.push_back(label("accountName", state.accountName.empty() ? "Not signed in" : state.accountName,
                           {116, 116, 254, 28}));
  elements.push_back(label("accountTier", state.accountTier.empty() ? "" : state.accountTier + " member",
                           {116, 148, 254, 28}));
  elements.push_back(
      button("refreshButton", "Refresh Profile", {kMargin, 210, kColumn, 50}, Action::RefreshProfile));
  elements.push_back(toggle("pushSwitch", "Push notifications", state.pushEnabled,
                            {kMargin, 276, kColumn, 44}, Action::TogglePush));
  elements.push_back(
      toggle("darkSwitch", "Dark mode", state.darkMode, {kMargin, 328, kColumn, 44}, Action::ToggleDarkMode));
  elements.push_back(button("recordButton", state.recording ? "Stop Recording" : "Record a Flow",
                            {kMargin, 388, kColumn, 50}, Action::ToggleRecording));
  addRow(elements, "environment", "Environment", state.environmentName, 456);
  addRow(elements, "build", "Build", state.buildNumber, 488);
  addBanner(elements, state, 530);
  return elements;
}

std::vector<Element> helpContent(const AppState& state) {
  std::vector<Element> elements;
  Element page = label("helpWebView", state.helpArticles.empty() ? "Loading articles..." : "Popular articles",
                       {kMargin, 104, kColumn, 300});
  page.kind = ElementKind::WebView;
  elements.push_back(std::move(page));
  int y = 144;
  for (std::size_t i = 0; i < state.helpArticles.size() && i < 6; ++i, y += 36) {
    elements.push_back(
        label("helpArticle" + std::to_string(i), state.helpArticles[i], {kMargin + 12, y, kColumn - 24, 28}));
  }
  // A text link: named, but a good deal lower than a finger needs.
  elements.push_back(
      button("supportButton", "Contact support", {kMargin, 420, kColumn, 30}, Action::ContactSupport));
  return elements;
}

std::vector<Element> contentOf(const AppState& state) {
  switch (state.screen) {
    case ScreenID::Home: return homeContent(state);
    case ScreenID::Results: return resultsContent(state);
    case ScreenID::Booking: return bookingContent(state);
    case ScreenID::Confirmation: return confirmationContent(state);
    case ScreenID::Profile: return profileContent(state);
    case ScreenID::Help: return helpContent(state);
  }
  return {};
}

}  // namespace

std::string_view typeName(ElementKind kind) {
  switch (kind) {
    case ElementKind::Heading: return "Heading";
    case ElementKind::Label: return "StaticText";
    case ElementKind::Button: return "Button";
    case ElementKind::TextField: return "TextField";
    case ElementKind::Switch: return "Switch";
    case ElementKind::Image: return "Image";
    case ElementKind::WebView: return "WebView";
    case ElementKind::Alert: return "Alert";
  }
  return "Other";
}

std::string_view screenName(ScreenID screen) {
  switch (screen) {
    case ScreenID::Home: return "Home";
    case ScreenID::Results: return "Search Results";
    case ScreenID::Booking: return "Confirm Booking Details";
    case ScreenID::Confirmation: return "Confirmation";
    case ScreenID::Profile: return "Profile";
    case ScreenID::Help: return "Help Center";
  }
  return "Unknown";
}

std::vector<Element> elementsOf(const AppState& state) {
  std::vector<Element> elements;
  const auto addBar = [&](std::vector<Element> bar) {
    for (Element& element : bar) {
      element.inBar = true;
      elements.push_back(std::move(element));
    }
  };
  addBar(navigationBar(state));
  for (Element& element : contentOf(state)) {
    element.frame.y -= state.scroll;
    const int middle = element.frame.centerY();
    const bool blank = element.kind == ElementKind::Label && element.text.empty();
    if (middle >= kContentTop && middle < kContentBottom && !blank) elements.push_back(std::move(element));
  }
  addBar(tabBar(state));
  return elements;
}

int scrollLimit(const AppState& state) {
  int bottom = 0;
  for (const Element& element : contentOf(state)) {
    bottom = std::max(bottom, element.frame.y + element.frame.height);
  }
  return std::max(0, bottom - kContentBottom);
}

const Element* hitTest(const std::vector<Element>& elements, int x, int y) {
  for (const bool inBar : {true, false}) {
    for (auto element = elements.rbegin(); element != elements.rend(); ++element) {
      if (element->inBar == inBar && element->isInteractive() && element->frame.contains(x, y))
        return &*element;
    }
  }
  return nullptr;
}

const Element* elementLabelled(const std::vector<Element>& elements, std::string_view label) {
  if (label.empty()) return nullptr;
  const auto exact = [&](const Element& element) { return element.label == label || element.text == label; };
  const auto partial = [&](const Element& element) {
    return containsIgnoringCase(element.label, label) || containsIgnoringCase(element.text, label);
  };
  const auto first = [&](const auto& test, bool interactive) -> const Element* {
    for (const Element& element : elements) {
      if (element.isInteractive() == interactive && test(element)) return &element;
    }
    return nullptr;
  };
  for (const bool interactive : {true, false}) {
    if (const Element* element = first(exact, interactive)) return element;
  }
  for (const bool interactive : {true, false}) {
    if (const Element* element = first(partial, interactive)) return element;
  }
  return nullptr;
}

}  // namespace wyvlet::sample
