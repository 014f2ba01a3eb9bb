#include "WyvletSampleApp/TravelData.h"

#include <fmt/format.h>

#include <boost/json.hpp>
#include <cmath>
#include <utility>

namespace wyvlet::sample {
namespace {

namespace json = boost::json;

std::optional<json::object> readObject(std::string_view body) {
  boost::system::error_code error;
  json::value value = json::parse(body, error);
  if (error || !value.is_object()) return {};
  return std::move(value.as_object());
}

std::string textAt(const json::object& object, std::string_view key) {
  const json::value* value = object.if_contains(key);
  return value != nullptr && value->is_string() ? std::string(value->as_string()) : std::string();
}

std::optional<std::int64_t> centsAt(const json::object& object, std::string_view key) {
  const json::value* value = object.if_contains(key);
  if (value == nullptr || !value->is_number()) return {};
  const double amount = value->to_number<double>();
  constexpr double kMost = 1e12;
  if (!(std::abs(amount) <= kMost)) return {};
  return std::llround(amount * 100);
}

std::optional<Fare> readFare(const json::object& object) {
  Fare fare{.id = textAt(object, "id"),
            .departs = textAt(object, "departs"),
            .arrives = textAt(object, "arrives"),
            .cents = centsAt(object, "fare").value_or(0)};
  if (fare.id.empty()) return {};
  return fare;
}

}  // namespace

std::vector<Fare> readFares(std::string_view body) {
  std::vector<Fare> fares;
  const auto object = readObject(body);
  const json::value* list = object ? object->if_contains("fares") : nullptr;
  if (list == nullptr || !list->is_array()) return fares;
  for (const json::value& item : list->as_array()) {
    if (!item.is_object()) continue;
    if (auto fare = readFare(item.as_object())) fares.push_back(std::move(*fare));
  }
  return fares;
}

std::optional<Quote> readQuote(std::string_view body) {
  const auto object = readObject(body);
  if (!object) return {};
  auto fare = readFare(*object);
  if (!fare) return {};
  Quote quote;
  quote.taxCents = centsAt(*object, "taxes").value_or(0);
  quote.totalCents = centsAt(*object, "total").value_or(fare->cents + quote.taxCents);
  quote.fare = std::move(*fare);
  return quote;
}

std::optional<Account> readAccount(std::string_view body) {
  const auto object = readObject(body);
  if (!object) return {};
  return Account{textAt(*object, "name"), textAt(*object, "email"), textAt(*object, "tier")};
}

std::optional<std::string> readText(std::string_view body, std::string_view key) {
  const auto object = readObject(body);
  if (!object) return {};
  const json::value* value = object->if_contains(key);
  if (value == nullptr || !value->is_string()) return {};
  return std::string(value->as_string());
}

std::vector<std::string> readTexts(std::string_view body, std::string_view key) {
  std::vector<std::string> texts;
  const auto object = readObject(body);
  const json::value* list = object ? object->if_contains(key) : nullptr;
  if (list == nullptr || !list->is_array()) return texts;
  for (const json::value& item : list->as_array()) {
    if (item.is_string()) texts.emplace_back(item.as_string());
  }
  return texts;
}

std::string moneyText(std::int64_t cents) { return "€" + amountText(cents); }

std::string amountText(std::int64_t cents) {
  const std::int64_t magnitude = cents < 0 ? -cents : cents;
  return fmt::format("{}{}.{:02}", cents < 0 ? "-" : "", magnitude / 100, magnitude % 100);
}

}  // namespace wyvlet::sample
