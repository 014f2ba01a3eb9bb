#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// The identity of a record. Text is accepted in either case and always written in upper case,
/// because agents copy identifiers out of one answer into the next call and compare them exactly.
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  /// Reads the canonical 36-character hyphenated form; anything else gives nothing.
  static std::optional<UUID> parse(std::string_view text);

  /// A fresh version-4 identifier. Any thread.
  static UUID random();

  /// "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40".
  std::string text() const;

  /// The short id shown in listings: the first eight characters of `text()`.
  std::string shortText() const;

  auto operator<=>(const UUID&) const = default;
};

}  // namespace wyvlet
