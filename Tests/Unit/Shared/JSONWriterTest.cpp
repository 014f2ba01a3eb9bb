#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <cmath>
#include <limits>
#include <random>

#include "WyvletShared/JSONWriter.h"

namespace wyvlet {
namespace {

template <class Value>
std::string written(Value value) {
  std::string json;
  appendJSON(json, value);
  return json;
}

TEST(JSONWriter, EscapesWhatATextCannotHold) {
  EXPECT_EQ(written(std::string_view("a\"b\\c/d")), R"("a\"b\\c/d")");
  EXPECT_EQ(written(std::string_view("\b\f\n\r\t")), R"("\b\f\n\r\t")");
  EXPECT_EQ(written(std::string_view("\0\x01\x1f\x7f", 4)), "\"\\u0000\\u0001\\u001f\x7f\"");
  EXPECT_EQ(written(std::string_view("")), "\"\"");
  EXPECT_EQ(written(std::string_view("é東🧳")), "\"é東🧳\"");
}

TEST(JSONWriter, OneReplacementPerBrokenSequence) {
  const std::pair<std::string_view, std::string_view> examples[] = {
      {"\x80", "\uFFFD"},
      {"\xff\xfe", "\uFFFD\uFFFD"},
      {"\xc0\xaf", "\uFFFD\uFFFD"},            // overlong
      {"\xe0\x80\xaf", "\uFFFD\uFFFD\uFFFD"},  // overlong
      {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},  // a surrogate
      {"\xf4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xf0\x9f\xa7", "\uFFFD"},    // cut short by the end
      {"\xf0\x9f\xa7x", "\uFFFDx"},  // cut short by a letter
      {"\xe2\x82\"", "\uFFFD\\\""},
      {"\xc3\xc3\xa9", "\uFFFDé"}};
  for (const auto& [bytes, text] : examples) EXPECT_EQ(written(bytes), "\"" + std::string(text) + "\"");
}

TEST(JSONWriter, AnyBytesMakeValidJSON) {
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    std::string bytes(random() % 40, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    boost::json::error_code error;
    boost::json::parse(written(std::string_view(bytes)), error);
    ASSERT_FALSE(error) << error.message();
  }
}

TEST(JSONWriter, NumbersAreShortAndReadBackExactly) {
  EXPECT_EQ(written(0.0), "0");
  EXPECT_EQ(written(-0.0), "-0");
  EXPECT_EQ(written(60.0), "60");
  EXPECT_EQ(written(0.1), "0.1");
  EXPECT_EQ(written(-2.5), "-2.5");
  EXPECT_EQ(written(1700000000.0), "1700000000");
  EXPECT_EQ(written(1717200000.123), "1717200000.123");
  EXPECT_EQ(written(1e15), "1000000000000000");
  EXPECT_EQ(written(1e-6), "0.000001");
  EXPECT_EQ(written(1e-7), "1e-07");
  EXPECT_EQ(written(1e22), "1e+22");
  EXPECT_EQ(written(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(written(std::numeric_limits<double>::denorm_min()), "5e-324");
  std::mt19937_64 random(2);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    if (std::isfinite(number)) {
      ASSERT_EQ(std::strtod(written(number).c_str(), nullptr), number);
    }
  }
}

TEST(JSONWriter, InfinityAndNaNAreNull) {
  EXPECT_EQ(written(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(written(-std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(written(std::numeric_limits<double>::quiet_NaN()), "null");
}

TEST(JSONWriter, IntegersOfFullRange) {
  EXPECT_EQ(written(std::int64_t{INT64_MIN}), "-9223372036854775808");
  EXPECT_EQ(written(std::int64_t{INT64_MAX}), "9223372036854775807");
  EXPECT_EQ(written(std::uint64_t{UINT64_MAX}), "18446744073709551615");
}

TEST(JSONWriter, DatesCountFromTheGivenEpoch) {
  std::string json;
  appendJSON(json, Date{978307200.5}, DateEpoch::Unix1970);
  json += ' ';
  appendJSON(json, Date{978307200.5}, DateEpoch::Reference2001);
  EXPECT_EQ(json, "978307200.5 0.5");
}

}  // namespace
}  // namespace wyvlet
