#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "WyvletShared/RecordList.h"

namespace wyvlet {

/// Fills records with values that a codec may get wrong, from their field tables alone.
class SampleRecords {
 public:
  /// With `roundDates`, dates survive a change of epoch, which costs other doubles their last bits.
  explicit SampleRecords(unsigned seed, bool roundDates = false) : random_(seed), roundDates_(roundDates) {}

  template <class Record>
  Record make() {
    Record record;
    fill(record);
    return record;
  }

  void fill(std::string& text) {
    static const std::string kTexts[] = {"",
                                         "plain",
                                         "GET https://api.example.com/v1/trips?page=2#top",
                                         "quotes \" and \\ and / and \b\f\n\r\t",
                                         std::string("\0\x01\x1f", 3) + "\x7f",
                                         "Zürich → 東京 🧳 e\u0301",
                                         "\u2028\u2029\uFEFF\U0010FFFF",
                                         "{\"type\":\"sync.full\"}",
                                         std::string(1000, 'x') + "\n" + std::string(1000, 'y')};
    text = kTexts[random_() % std::size(kTexts)];
  }

  void fill(bool& flag) { flag = random_() % 2 == 0; }

  void fill(double& number) {
    static constexpr double kNumbers[] = {0,      1,    -1, 0.1, 1e-7, 1e22, 1.7976931348623157e308,
                                          5e-324, 60.0, 1.5};
    number = random_() % 2 == 0
                 ? kNumbers[random_() % std::size(kNumbers)]
                 : std::ldexp(static_cast<double>(wide()), static_cast<int>(random_() % 200) - 150);
  }

  void fill(std::int64_t& number) { fillInteger(number); }
  void fill(std::uint64_t& number) { fillInteger(number); }

  void fill(Date& date) {
    const double seconds = 1'700'000'000 + static_cast<double>(random_() % 100'000'000);
    const double fraction = static_cast<double>(random_() % 1024) / 1024;
    date.secondsSince1970 = roundDates_ ? seconds + fraction : seconds + fraction / 1.023;
  }

  void fill(UUID& uuid) {
    for (std::uint8_t& byte : uuid.bytes) byte = static_cast<std::uint8_t>(random_());
  }

  void fill(Bytes& bytes) {
    bytes.data.resize(random_() % 70);
    for (char& byte : bytes.data) byte = static_cast<char>(random_());
  }

  void fill(std::map<std::string, std::string>& map) {
    map.clear();
    for (auto count = random_() % 4; count > 0; --count) {
      std::string key;
      fill(key);
      fill(map[key]);
    }
  }

  template <class T>
  void fill(std::vector<T>& list) {
    list.resize(random_() % 4);
    for (T& element : list) fill(element);
  }

  template <class T>
  void fill(std::optional<T>& value) {
    value.reset();
    if (random_() % 3 != 0) fill(value.emplace());
  }

  template <class Record>
  requires requires { Record::fields; }
  void fill(Record& record) {
    std::apply([&](const auto&... fields) { (fill(record.*fields.member), ...); }, Record::fields);
  }

 private:
  std::uint64_t wide() { return (std::uint64_t{random_()} << 32) | random_(); }

  template <class Integer>
  void fillInteger(Integer& number) {
    using Limits = std::numeric_limits<Integer>;
    static constexpr Integer kNumbers[] = {0, 1, 200, 404, Limits::max(), Limits::min()};
    number = random_() % 2 == 0 ? kNumbers[random_() % std::size(kNumbers)] : static_cast<Integer>(wide());
  }

  std::mt19937 random_;
  bool roundDates_;
};

}  // namespace wyvlet
