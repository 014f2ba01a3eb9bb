#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "WyvletSampleApp/TravelData.h"

namespace wyvlet::sample {

enum class ScreenID { Home, Results, Booking, Confirmation, Profile, Help };

/// Everything that decides what is on the screen, and nothing else: two equal states draw the same
/// picture.
struct AppState {
  ScreenID screen = ScreenID::Home;
  std::optional<std::string> focusedField;  // identifier of the text field that has the keyboard
  std::optional<std::string> banner;        // the error shown on the screen
  int scroll = 0;                           // points by which the content is moved up
  bool darkMode = false;

  std::string from = "Lisbon";
  std::string to = "Porto";
  std::string date = "2025-06-14";
  int passengers = 1;
  bool heroLoaded = false;
  std::string promotion;
  std::vector<std::string> recentSearches;

  bool searching = false;
  std::vector<Fare> fares;
  std::set<std::string> savedFares;

  std::optional<Quote> quote;
  bool booking = false;
  std::string passengerName;
  std::string email;
  std::string bookingReference;

  std::string accountName;
  std::string accountTier;
  bool avatarLoaded = false;
  bool pushEnabled = true;
  bool recording = false;
  std::string environmentName;
  std::string buildNumber;

  std::vector<std::string> helpArticles;

  bool operator==(const AppState&) const = default;
};

}  // namespace wyvlet::sample
