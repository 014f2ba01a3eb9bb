#pragma once

#include <string_view>
#include <tuple>

namespace wyvlet {

/// One field of a record: its JSON key and where it lives.
template <class Record, class Value>
struct Field {
  std::string_view key;
  Value Record::*member;
};

template <class Record, class Value>
constexpr Field<Record, Value> field(std::string_view key, Value Record::*member) {
  return {key, member};
}

/// A record's fields in the order in which they are written. A record declares its table once as
/// `static constexpr auto fields`, and decoding, encoding and the round-trip tests follow from it;
/// `std::optional` in a member's type is what makes its field optional.
template <class... Fields>
constexpr std::tuple<Fields...> fieldTable(Fields... fields) {
  return {fields...};
}

}  // namespace wyvlet
