#include "WyvletSampleApp/SeedData.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace wyvlet::sample {
namespace {

UUID fixedId(std::string_view text) { return UUID::parse(text).value_or(UUID{}); }

TransferableUserDefaultsEntry defaultEntry(const std::string& key, std::string value, std::string type) {
  return {"harbor." + key, key, std::move(value), std::move(type)};
}

FlowStepData step(std::string action, std::string screen, std::string label, Coords at) {
  FlowStepData data;
  data.action = std::move(action);
  data.screen = std::move(screen);
  data.label = std::move(label);
  data.startCoordinates = at;
  return data;
}

}  // namespace

std::vector<TransferableEnvironment> seedEnvironments() {
  return {{fixedId("5A0D3C1E-6B1F-4C0B-9A77-2F1D5E8B0C01"),
           "Production",
           {"https://api.harbor.travel", "https://images.harbor.travel"},
           "What customers use"},
          {fixedId("8E42F7B9-6B1F-4C0B-9A77-2F1D5E8B0C02"),
           "Staging",
           {"https://api.staging.harbor.travel", "https://images.staging.harbor.travel"},
           "Reset every night"},
          {fixedId("D17C6A05-6B1F-4C0B-9A77-2F1D5E8B0C03"),
           "Local",
           {"http://localhost:8080", "http://localhost:8081"},
           ""}};
}

std::vector<TransferableRewriteRule> seedRewriteRules(Date installed) {
  return {{fixedId("C7E21B40-93D2-4E55-8B1A-7D0F3A6C2E11"),
           "Old image host",
           {"prefix", "https://cdn.harbor.travel/"},
           "images.harbor.travel",
           true,
           installed}};
}

std::vector<TransferableQAResult> seedQAItems() {
  return {{fixedId("1F6B9D20-0C4A-4D8E-A1B3-5E7C9F2D4A01"),
           "Search lists crossings",
           "Search Lisbon to Porto and check that crossings with prices appear",
           "high",
           {"/v1/search"},
           "PENDING",
           "",
           {}},
          {fixedId("2C80E5A7-0C4A-4D8E-A1B3-5E7C9F2D4A02"),
           "Booking is confirmed",
           "Book any crossing and check the reference on the confirmation",
           "critical",
           {"/v1/fares", "/v1/bookings"},
           "PENDING",
           "",
           {}},
          {fixedId("7D31B64F-0C4A-4D8E-A1B3-5E7C9F2D4A03"),
           "Failed booking shows an error",
           "Make the booking call fail and check the banner",
           "high",
           {"/v1/bookings"},
           "PENDING",
           "",
           {}},
          {fixedId("B95E0D18-0C4A-4D8E-A1B3-5E7C9F2D4A04"),
           "Profile keeps its settings",
           "",
           "low",
           {},
           "PASSED",
           "",
           {}}};
}

std::vector<TransferableUserDefaultsEntry> seedDefaults() {
  return {
      defaultEntry("onboarding_complete", "true", "Bool"),
      defaultEntry("launch_count", "7", "Int"),
      defaultEntry("currency", "EUR", "String"),
      defaultEntry("push_enabled", "true", "Bool"),
      defaultEntry("dark_mode", "false", "Bool"),
      defaultEntry("recent_searches", "[\"Faro to Lisbon\"]", "Array"),
      defaultEntry("cookie_consent", "analytics=yes; marketing=no", "String"),
      defaultEntry("saved_web_session", "<HTTPCookie name: harbor_session, domain: .harbor.travel>", "Data")};
}

std::vector<TransferableKeychainEntry> seedKeychain() {
  return {{"keychain.access_token", "genp", "com.harbor.travel.auth", "ada@harbor.example",
           "group.com.harbor", "Access token"},
          {"keychain.device_key", "keys", "com.harbor.travel.device", "device", {}, {}}};
}

std::vector<RecordedFlowData> seedFlows(Date installed) {
  RecordedFlowData flow;
  flow.id = fixedId("E0B54C77-1D29-4F3C-B6A8-90C1D2E3F401");
  flow.name = "Book a crossing";
  flow.description = "From search to confirmation";
  flow.recordedAt = installed;
  FlowStepData typed;
  typed.action = "type";
  typed.screen = "Home";
  typed.text = "Porto";
  typed.extra = std::map<std::string, std::string>{{"field", "To"}};
  flow.steps = {step("tap", "Home", "To", {169, 320}), std::move(typed),
                step("tap", "Home", "Search", {195, 479}),
                step("tap", "Search Results", "HB101 06:15-09:20", {195, 168}),
                step("tap", "Confirm Booking Details", "Confirm Booking", {195, 515})};
  return {std::move(flow)};
}

}  // namespace wyvlet::sample
