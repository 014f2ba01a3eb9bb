#include "WyvletSampleApp/AppModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cstdlib>
#include <utility>

#include "Support/Text.h"
#include "WyvletSampleApp/Screens.h"
#include "WyvletSampleApp/TravelData.h"
#include "WyvletSampleApp/URLText.h"

namespace wyvlet::sample {
namespace {

namespace json = boost::json;

constexpr std::string_view kAPI = "https://api.harbor.travel";
constexpr std::string_view kImages = "https://images.harbor.travel";
constexpr int kMostPassengers = 9;
constexpr double kLongPressSeconds = 0.5;
constexpr int kEdge = 20;        // a swipe that begins this close to the left edge goes back
constexpr int kSwipeLeast = 10;  // less is no swipe

std::string asJSON(const json::value& value) { return json::serialize(value); }

std::string described(const Element& element) {
  return fmt::format("{} \"{}\"", typeName(element.kind),
                     element.label.empty() ? element.identifier : element.label);
}

std::string failureText(std::string_view what, const HTTPReply& reply) {
  if (reply.status) return fmt::format("{} failed ({}). Please try again.", what, *reply.status);
  return fmt::format("{} failed: {}", what, reply.error.value_or("no response"));
}

}  // namespace

AppModel::AppModel(AppLoop& loop, Probe& probe, NetworkEngine& network)
    : loop_(loop), probe_(probe), network_(network), ticker_(loop, probe) {
  state_.environmentName = probe_.environments().active().name;
  state_.buildNumber = probe_.buildNumber();
  state_.pushEnabled = probe_.defaultValue("push_enabled") == "true";
  state_.darkMode = probe_.defaultValue("dark_mode") == "true";
  if (const auto stored = probe_.defaultValue("recent_searches")) {
    state_.recentSearches = readTexts("{\"list\":" + *stored + "}", "list");
  }
}

std::vector<Element> AppModel::elements() const { return elementsOf(state_); }

std::string_view AppModel::screen() const { return screenName(state_.screen); }

void AppModel::log(std::string_view level, std::string_view category, std::string message, const char* file,
                   int line) {
  probe_.log(level, category, std::move(message), screen(), file, line);
}

// Calls

HTTPCall AppModel::call(std::string method, std::string url, std::optional<std::string> body) const {
  HTTPCall call;
  call.method = std::move(method);
  call.url = std::move(url);
  call.headers = {{"Accept", "application/json"},
                  {"User-Agent", "HarborTravel/2.4.1"},
                  {"Authorization", "Bearer demo-token"}};
  if (body) call.headers["Content-Type"] = "application/json";
  call.body = std::move(body);
  call.screenName = std::string(screen());
  return call;
}

void AppModel::send(HTTPCall request) {
  if (request.screenName.empty()) request.screenName = std::string(screen());
  network_.send(std::move(request));
}

void AppModel::logFailure(const std::string& what, const HTTPReply& reply) {
  if (reply.status) {
    log("ERROR", "Network", fmt::format("{} failed with status {}", what, *reply.status));
  } else {
    log("ERROR", "Network", fmt::format("{} failed: {}", what, reply.error.value_or("no response")));
  }
}

void AppModel::launch() {
  log("INFO", "App", "Launched Harbor Travel " + state_.buildNumber);
  log("DEBUG", "Network", "Base URL " + probe_.environments().active().baseURLs.front());
  ticker_.open();
  loadInit();
  loadProfile();
  network_.send(call("GET", fmt::format("{}/v1/promotions", kAPI)), [this](const HTTPReply& reply) {
    if (!reply.succeeded()) log("WARN", "Promotions", "No promotions for this account");
  });
  network_.send(call("GET", fmt::format("{}/hero.png", kImages)),
                [this](const HTTPReply& reply) { state_.heroLoaded = reply.succeeded(); });
  // The avatar still comes from the old image host; a rewrite rule leads it to the new one.
  network_.send(call("GET", "https://cdn.harbor.travel/avatars/ada.png"),
                [this](const HTTPReply& reply) { state_.avatarLoaded = reply.succeeded(); });
  HTTPCall telemetry = call("POST", fmt::format("{}/v1/telemetry", kAPI));
  telemetry.headers["Content-Type"] = "application/octet-stream";
  telemetry.body = std::string("\x08\x96\x01\x12\x04\xff\xfe\x00\x80", 9);
  network_.send(std::move(telemetry));
  network_.send(call("POST", "https://metrics.harbor.travel/v1/collect", R"({"event":"launch"})"),
                [this](const HTTPReply& reply) {
                  if (!reply.succeeded()) logFailure("POST /v1/collect", reply);
                });
  log("INFO", "Analytics", R"(app_opened {"source":"launcher"})");
}

void AppModel::loadInit() {
  network_.send(call("GET", fmt::format("{}/v1/init", kAPI)), [this](const HTTPReply& reply) {
    if (!reply.succeeded()) {
      logFailure("GET /v1/init", reply);
      return;
    }
    state_.promotion = readText(reply.body, "promotion").value_or("");
    if (!state_.promotion.empty()) loadPromotionPage();
  });
}

void AppModel::loadPromotionPage() {
  const std::string url = "https://promo.harbor.travel/banner.html";
  HTTPCall page = call("GET", url);
  page.headers = {{"Accept", "text/html"}, {"User-Agent", "HarborTravel WebView"}};
  page.source = "WebView";
  network_.send(std::move(page), [this, url](const HTTPReply& reply) {
    if (reply.succeeded()) {
      probe_.console("log", "banner ready", url);
      probe_.console("warn", "Image without width and height slows the layout", url);
    } else {
      probe_.console("error", "banner could not be loaded", url);
    }
  });
}

void AppModel::loadProfile() {
  network_.send(call("GET", fmt::format("{}/v1/profile", kAPI)), [this](const HTTPReply& reply) {
    if (!reply.succeeded()) {
      logFailure("GET /v1/profile", reply);
      if (state_.screen == ScreenID::Profile) state_.banner = failureText("Refresh", reply);
      return;
    }
    const auto account = readAccount(reply.body);
    if (!account) return;
    state_.accountName = account->name;
    state_.accountTier = account->tier;
    if (state_.passengerName.empty()) state_.passengerName = account->name;
    if (state_.email.empty()) state_.email = account->email;
  });
}

void AppModel::search() {
  log("INFO", "Analytics",
      "search_started " + asJSON({{"from", state_.from}, {"to", state_.to}, {"date", state_.date}}));
  const std::string route = state_.from + " to " + state_.to;
  std::erase(state_.recentSearches, route);
  state_.recentSearches.insert(state_.recentSearches.begin(), route);
  if (state_.recentSearches.size() > 5) state_.recentSearches.resize(5);
  probe_.setDefault("recent_searches", asJSON(json::value_from(state_.recentSearches)), "Array");

  state_.fares.clear();
  state_.searching = true;
  const HTTPCall request = call("GET", fmt::format("{}/v1/search?from={}&to={}&date={}&passengers={}", kAPI,
                                                   percentEncoded(state_.from), percentEncoded(state_.to),
                                                   percentEncoded(state_.date), state_.passengers));
  navigate(ScreenID::Results);
  network_.send(request, [this, mine = ++searches_](const HTTPReply& reply) {
    if (mine != searches_) return;
    state_.searching = false;
    if (!reply.succeeded()) {
      logFailure("GET /v1/search", reply);
      if (state_.screen == ScreenID::Results) state_.banner = failureText("Search", reply);
      return;
    }
    state_.fares = readFares(reply.body);
    log("INFO", "Analytics",
        "search_results " +
            asJSON({{"count", state_.fares.size()}, {"from", state_.from}, {"to", state_.to}}));
  });
}

void AppModel::openFare(const std::string& id) {
  state_.quote.reset();
  const HTTPCall request = call("GET", fmt::format("{}/v1/fares/{}", kAPI, percentEncoded(id)));
  navigate(ScreenID::Booking);
  network_.send(request, [this, mine = ++openings_](const HTTPReply& reply) {
    if (mine != openings_) return;
    const auto quote = reply.succeeded() ? readQuote(reply.body) : std::nullopt;
    if (!quote) {
      logFailure("GET /v1/fares", reply);
      if (state_.screen == ScreenID::Booking) state_.banner = failureText("Loading the fare", reply);
      return;
    }
    state_.quote = quote;
    log("INFO", "Analytics",
        fmt::format("Landed on cart {{\"fare_id\":{},\"total\":{}}}", asJSON(json::value(quote->fare.id)),
                    amountText(quote->totalCents)));
  });
}

void AppModel::confirmBooking() {
  if (!state_.quote || state_.booking) return;
  state_.booking = true;
  state_.banner.reset();
  const Quote quote = *state_.quote;
  const json::object body = {{"fareId", quote.fare.id},
                             {"passenger", state_.passengerName},
                             {"email", state_.email},
                             {"passengers", state_.passengers}};
  log("DEBUG", "Booking", "Sending booking for " + quote.fare.id);
  network_.send(
      call("POST", fmt::format("{}/v1/bookings", kAPI), asJSON(body)),
      [this, quote, mine = openings_](const HTTPReply& reply) {
        state_.booking = false;
        const bool isShown = state_.screen == ScreenID::Booking && mine == openings_;
        if (!reply.succeeded()) {
          logFailure("POST /v1/bookings", reply);
          log("INFO", "Analytics", "booking_failed " + asJSON({{"status", reply.status.value_or(0)}}));
          if (isShown) state_.banner = failureText("Booking", reply);
          return;
        }
        state_.bookingReference = readText(reply.body, "reference").value_or("pending");
        log("INFO", "Analytics",
            fmt::format("booking_created {{\"reference\":{},\"fare_id\":{},\"total\":{}}}",
                        asJSON(json::value(state_.bookingReference)), asJSON(json::value(quote.fare.id)),
                        amountText(quote.totalCents)));
        probe_.setDefault("last_booking_reference", state_.bookingReference, "String");
        if (isShown) navigate(ScreenID::Confirmation);
      });
}

void AppModel::openHelp() {
  navigate(ScreenID::Help);
  const std::string url = "https://help.harbor.travel/articles.json";
  HTTPCall page = call("GET", url);
  page.headers["User-Agent"] = "HarborTravel WebView";
  page.source = "WebView";
  network_.send(std::move(page), [this, url](const HTTPReply& reply) {
    if (!reply.succeeded()) {
      probe_.console("error", "articles could not be loaded", url);
      return;
    }
    state_.helpArticles = readTexts(reply.body, "articles");
    probe_.console("debug", fmt::format("{} articles", state_.helpArticles.size()), url);
    probe_.console("log", "help center ready", url);
  });
}

void AppModel::togglePush() {
  state_.pushEnabled = !state_.pushEnabled;
  const char* value = state_.pushEnabled ? "true" : "false";
  probe_.setDefault("push_enabled", value, "Bool");
  network_.send(call("PUT", fmt::format("{}/v1/settings", kAPI), fmt::format(R"({{"push":{}}})", value)));
}

void AppModel::toggleDarkMode() {
  state_.darkMode = !state_.darkMode;
  probe_.setDefault("dark_mode", state_.darkMode ? "true" : "false", "Bool");
}

// Input

Result<std::string> AppModel::tap(int x, int y) {
  const auto shown = elements();
  return tapped(hitTest(shown, x, y), x, y);
}

Result<std::string> AppModel::tapLabel(std::string_view label) {
  const auto shown = elements();
  const Element* element = elementLabelled(shown, label);
  if (element == nullptr) return Failure{fmt::format("no element labelled \"{}\"", label)};
  const Frame& frame = element->frame;
  return tapped(hitTest(shown, frame.centerX(), frame.centerY()), frame.centerX(), frame.centerY());
}

Result<std::string> AppModel::tapIdentifier(std::string_view identifier) {
  const auto shown = elements();
  for (const Element& element : shown) {
    const Frame& frame = element.frame;
    if (element.identifier == identifier) return tapped(&element, frame.centerX(), frame.centerY());
  }
  return Failure{fmt::format("no element with identifier \"{}\"", identifier)};
}

Result<std::string> AppModel::tapped(const Element* element, int x, int y) {
  if (inBackground_) return Failure{"the app is in the background"};
  state_.focusedField.reset();
  if (element == nullptr || !element->isInteractive()) return fmt::format("nothing to tap at {},{}", x, y);
  if (!element->enabled) return fmt::format("{} is disabled", described(*element));
  if (element->action != Action::ToggleRecording) {
    FlowStepData step;
    step.action = "tap";
    step.label = element->label;
    step.startCoordinates = Coords{static_cast<double>(x), static_cast<double>(y)};
    recordStep(std::move(step));
  }
  perform(*element);
  return "tapped " + described(*element);
}

void AppModel::perform(const Element& element) {
  switch (element.action) {
    case Action::None: break;
    case Action::FocusField:
      state_.focusedField = element.argument;
      fieldSelected_ = true;
      break;
    case Action::SwapCities: std::swap(state_.from, state_.to); break;
    case Action::FewerPassengers: state_.passengers = std::max(1, state_.passengers - 1); break;
    case Action::MorePassengers: state_.passengers = std::min(kMostPassengers, state_.passengers + 1); break;
    case Action::OpenNotifications: log("INFO", "Analytics", "notifications_opened {}"); break;
    case Action::Search: search(); break;
    case Action::OpenFare: openFare(element.argument); break;
    case Action::ConfirmBooking: confirmBooking(); break;
    case Action::FinishBooking: navigate(ScreenID::Home); break;
    case Action::GoBack: goBack(); break;
    case Action::OpenHome: navigate(ScreenID::Home); break;
    case Action::OpenProfile: navigate(ScreenID::Profile); break;
    case Action::OpenHelp: openHelp(); break;
    case Action::RefreshProfile:
      state_.banner.reset();
      loadProfile();
      break;
    case Action::TogglePush: togglePush(); break;
    case Action::ToggleDarkMode: toggleDarkMode(); break;
    case Action::ToggleRecording:
      if (recording_) {
        (void)stopRecording();
      } else {
        startRecording("Recorded flow");
      }
      break;
    case Action::ContactSupport: log("INFO", "Analytics", "support_contacted {}"); break;
  }
}

Result<std::string> AppModel::touchDown(int x, int y) {
  if (inBackground_) return Failure{"the app is in the background"};
  const auto shown = elements();
  const Element* element = hitTest(shown, x, y);
  touch_ = Touch{element == nullptr ? "" : element->identifier, loop_.now()};
  return element == nullptr ? fmt::format("nothing to touch at {},{}", x, y)
                            : "touching " + described(*element);
}

Result<std::string> AppModel::touchUp(int x, int y) {
  if (!touch_) return Failure{"no touch to end"};
  const Touch touch = *std::exchange(touch_, std::nullopt);
  const auto shown = elements();
  const Element* element = hitTest(shown, x, y);
  if (element == nullptr || element->identifier != touch.identifier)
    return std::string("touch ended elsewhere");
  if (element->action == Action::OpenFare && loop_.now() - touch.at >= kLongPressSeconds) {
    const std::string& fare = element->argument;
    if (state_.savedFares.erase(fare) == 0) state_.savedFares.insert(fare);
    return "held " + described(*element);
  }
  return tapped(element, x, y);
}

Result<std::string> AppModel::swipe(int x1, int y1, int x2, int y2) {
  if (inBackground_) return Failure{"the app is in the background"};
  FlowStepData step;
  step.action = "swipe";
  step.startCoordinates = Coords{static_cast<double>(x1), static_cast<double>(y1)};
  step.endCoordinates = Coords{static_cast<double>(x2), static_cast<double>(y2)};
  recordStep(std::move(step));
  // Fingers stay on the glass; numbers from a command line may not.
  const int across = std::clamp(x2, 0, kScreenWidth) - std::clamp(x1, 0, kScreenWidth);
  const int down = std::clamp(y2, 0, kScreenHeight) - std::clamp(y1, 0, kScreenHeight);
  if (std::abs(across) < kSwipeLeast && std::abs(down) < kSwipeLeast)
    return std::string("too short for a swipe");
  if (std::abs(across) > std::abs(down)) {
    if (across > 0 && x1 <= kEdge && state_.screen != ScreenID::Home) {
      goBack();
      return "went back to " + std::string(screen());
    }
    return std::string("nothing moved");
  }
  state_.scroll = std::clamp(state_.scroll - down, 0, scrollLimit(state_));
  return fmt::format("scrolled to {}", state_.scroll);
}

std::string* AppModel::fieldText(std::string_view identifier) {
  if (identifier == "fromField") return &state_.from;
  if (identifier == "toField") return &state_.to;
  if (identifier == "dateField") return &state_.date;
  if (identifier == "nameField") return &state_.passengerName;
  if (identifier == "emailField") return &state_.email;
  return nullptr;
}

Result<std::string> AppModel::type(std::string_view text) {
  if (inBackground_) return Failure{"the app is in the background"};
  std::string* content = state_.focusedField ? fieldText(*state_.focusedField) : nullptr;
  if (content == nullptr) return Failure{"No text field is focused. Tap a text field first."};
  if (std::exchange(fieldSelected_, false)) content->clear();
  *content += validUTF8(std::string(text));
  FlowStepData step;
  step.action = "type";
  step.text = std::string(text);
  step.extra = {{"field", *state_.focusedField}};
  recordStep(std::move(step));
  return fmt::format("Typed {} character(s) into {}", characterCount(text), *state_.focusedField);
}

Result<std::string> AppModel::pressButton(std::string_view name) {
  if (name == "siri" || name == "apple-pay") {
    log("DEBUG", "App", "Button " + std::string(name));
    return fmt::format("pressed {}", name);
  }
  if (name != "home" && name != "lock" && name != "side-button") {
    return Failure{fmt::format("no button \"{}\"", name)};
  }
  if (inBackground_) {
    activate();
    return fmt::format("pressed {}: the app is in the foreground", name);
  }
  inBackground_ = true;
  touch_.reset();
  ticker_.setVisible(false);
  log("INFO", "App", "Entered background");
  return fmt::format("pressed {}: the app is in the background", name);
}

void AppModel::activate() {
  if (!std::exchange(inBackground_, false)) return;
  ticker_.setVisible(state_.screen == ScreenID::Results);
  log("INFO", "App", "Entered foreground");
}

// Navigation

void AppModel::navigate(ScreenID screenId) {
  state_.screen = screenId;
  state_.scroll = 0;
  state_.banner.reset();
  state_.focusedField.reset();
  touch_.reset();
  ticker_.setVisible(screenId == ScreenID::Results);
  log("INFO", "Analytics", "screen_view " + asJSON({{"screen", screen()}}));
}

void AppModel::goBack() { navigate(state_.screen == ScreenID::Booking ? ScreenID::Results : ScreenID::Home); }

bool AppModel::openDeepLink(const std::string& link) {
  const auto url = parseURL(link);
  if (!url || url->scheme != "harbor") {
    log("WARN", "DeepLink", "Unhandled link " + link);
    return false;
  }
  activate();
  log("INFO", "DeepLink", "Opened " + link);
  if (url->host == "home") {
    navigate(ScreenID::Home);
  } else if (url->host == "results") {
    auto parameters = url->parameters();
    if (!parameters["from"].empty()) state_.from = validUTF8(parameters["from"]);
    if (!parameters["to"].empty()) state_.to = validUTF8(parameters["to"]);
    search();
  } else if (url->host == "booking" && url->path.size() > 1) {
    openFare(percentDecoded(url->path.substr(1)));
  } else if (url->host == "confirmation") {
    navigate(ScreenID::Confirmation);
  } else if (url->host == "profile") {
    navigate(ScreenID::Profile);
  } else if (url->host == "help") {
    openHelp();
  } else {
    log("WARN", "DeepLink", "No screen for " + link);
    return false;
  }
  return true;
}

// Environments and flows

bool AppModel::switchEnvironment(const UUID& id) {
  if (!probe_.environments().activate(id)) return false;
  environmentSwitched();
  return true;
}

bool AppModel::switchEnvironment(std::string_view name) {
  if (!probe_.environments().activate(name)) return false;
  environmentSwitched();
  return true;
}

void AppModel::environmentSwitched() {
  const TransferableEnvironment& active = probe_.environments().active();
  state_.environmentName = active.name;
  probe_.environmentChanged();
  log("INFO", "Environment", "Switched to " + active.name);
  loadInit();
}

void AppModel::startRecording(std::string name) {
  RecordedFlowData flow;
  flow.id = UUID::random();
  flow.name = std::move(name);
  flow.recordedAt = loop_.wallTime();
  recording_ = std::move(flow);
  state_.recording = true;
}

Result<std::string> AppModel::stopRecording() {
  if (!recording_) return Failure{"no recording"};
  const std::string text = fmt::format("recorded {} step(s)", recording_->steps.size());
  state_.recording = false;
  probe_.addFlow(*std::exchange(recording_, std::nullopt));
  return text;
}

void AppModel::recordStep(FlowStepData step) {
  if (!recording_) return;
  step.screen = std::string(screen());
  recording_->steps.push_back(std::move(step));
}

}  // namespace wyvlet::sample
