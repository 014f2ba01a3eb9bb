#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet::sample {

/// One crossing on offer.
struct Fare {
  std::string id;  // "HB101"
  std::string departs;
  std::string arrives;
  std::int64_t cents = 0;

  bool operator==(const Fare&) const = default;
};

/// What a crossing costs in full.
struct Quote {
  Fare fare;
  std::int64_t taxCents = 0;
  std::int64_t totalCents = 0;

  bool operator==(const Quote&) const = default;
};

/// The account's own data.
struct Account {
  std::string name;
  std::string email;
  std::string tier;
};

/// Readers of the backend's answers. Whatever the bytes are (a mock rule may hand the app anything),
/// they give what could be read and never throw.
std::vector<Fare> readFares(std::string_view body);
std::optional<Quote> readQuote(std::string_view body);
std::optional<Account> readAccount(std::string_view body);
/// The string at the top-level key `key`, or nothing.
std::optional<std::string> readText(std::string_view body, std::string_view key);
/// The strings of the array at the top-level key `key`.
std::vector<std::string> readTexts(std::string_view body, std::string_view key);

/// "€42.50".
std::string moneyText(std::int64_t cents);
/// "42.50", as it stands in JSON.
std::string amountText(std::int64_t cents);

}  // namespace wyvlet::sample
