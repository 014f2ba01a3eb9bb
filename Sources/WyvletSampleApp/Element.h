#pragma once

#include <string>
#include <string_view>

namespace wyvlet::sample {

/// A rectangle on the screen, in points.
struct Frame {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  bool contains(int px, int py) const { return px >= x && px < x + width && py >= y && py < y + height; }
  int centerX() const { return x + width / 2; }
  int centerY() const { return y + height / 2; }
  bool operator==(const Frame&) const = default;
};

enum class ElementKind { Heading, Label, Button, TextField, Switch, Image, WebView, Alert };

/// What a tap on an element does.
enum class Action {
  None,
  FocusField,  // argument: the field's identifier
  SwapCities,
  FewerPassengers,
  MorePassengers,
  OpenNotifications,
  Search,
  OpenFare,  // argument: the fare's id
  ConfirmBooking,
  FinishBooking,
  GoBack,
  OpenHome,
  OpenProfile,
  OpenHelp,
  RefreshProfile,
  TogglePush,
  ToggleDarkMode,
  ToggleRecording,
  ContactSupport,
};

/// One thing on the screen. What assistive software reads (`label`) and what the eye sees (`text`)
/// are two things on purpose: an icon has a label without text, a sloppy button neither.
struct Element {
  ElementKind kind = ElementKind::Label;
  std::string identifier;
  std::string label;
  std::string text;
  std::string value;  // of a text field or a switch
  Frame frame;
  Action action = Action::None;
  std::string argument;
  bool enabled = true;
  bool selected = false;
  bool focused = false;
  bool inBar = false;  // belongs to a bar, over the content that scrolls under it

  bool isButton() const { return kind == ElementKind::Button; }
  bool isInteractive() const { return action != Action::None; }
};

/// "StaticText", "Button", "TextField" and so on: the type as the app reports it.
std::string_view typeName(ElementKind kind);

}  // namespace wyvlet::sample
