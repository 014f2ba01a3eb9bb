#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <cmath>

#include "SampleRecords.h"
#include "WyvletShared/RecordCodec.h"

/// What must hold for every record, derived from its field table. The document is taken apart and
/// changed by another JSON library, so that reader and writer cannot agree on a common mistake.
namespace wyvlet {
namespace {

namespace json = boost::json;

constexpr unsigned kSamples = 200;

template <class T>
constexpr bool kIsOptional = false;
template <class T>
constexpr bool kIsOptional<std::optional<T>> = true;

template <class T>
struct ValueOf {
  using Type = T;
};
template <class T>
struct ValueOf<std::optional<T>> {
  using Type = T;
};

/// Calls `visit(key, isOptional, kind, isSet)` for every field in table order.
template <class Record, class Visit>
void forEachField(const Record& record, Visit&& visit) {
  const auto one = [&]<class Value>(const Field<Record, Value>& f) {
    using T = typename ValueOf<Value>::Type;
    json::kind kind = json::kind::object;
    if constexpr (std::is_same_v<T, bool>) {
      kind = json::kind::bool_;
    } else if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, Date>) {
      kind = json::kind::double_;
    } else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, UUID> ||
                         std::is_same_v<T, Bytes>) {
      kind = json::kind::string;
    } else if constexpr (requires(T t) { t.emplace_back(); }) {
      kind = json::kind::array;
    }
    bool isSet = true;
    if constexpr (kIsOptional<Value>) isSet = (record.*f.member).has_value();
    visit(std::string(f.key), kIsOptional<Value>, kind, isSet);
  };
  std::apply([&](const auto&... fields) { (one(fields), ...); }, Record::fields);
}

template <class Record>
Record fullSample(unsigned seed) {
  // Every optional field set, so that each key is in the document.
  for (;; seed += 1000) {
    SampleRecords samples(seed, true);
    auto record = samples.make<Record>();
    bool full = true;
    forEachField(record, [&](const std::string&, bool, json::kind, bool isSet) { full &= isSet; });
    if (full) return record;
  }
}

json::object parsed(const std::string& text) { return json::parse(text).as_object(); }

template <class Record>
class EveryRecord : public testing::Test {};

template <class First, class... Records>
struct TypesAfter {
  using Type = testing::Types<Records...>;
};
#define WYVLET_NEXT(Record) , Record
using Records = TypesAfter<void WYVLET_FOR_EVERY_RECORD(WYVLET_NEXT)>::Type;
TYPED_TEST_SUITE(EveryRecord, Records);

TYPED_TEST(EveryRecord, ReadsBackWhatItWrote) {
  SampleRecords samples(1);
  for (unsigned i = 0; i < kSamples; ++i) {
    const auto record = samples.make<TypeParam>();
    const std::string text = encodeRecord(record, DateEpoch::Unix1970);
    const auto back = decodeRecord<TypeParam>(text, DateEpoch::Unix1970);
    ASSERT_TRUE(back) << back.reason() << "\n" << text;
    ASSERT_EQ(*back, record) << text;
  }
}

TYPED_TEST(EveryRecord, ReadsBackWhatItWroteCountingFrom2001) {
  SampleRecords samples(2, true);
  for (unsigned i = 0; i < kSamples; ++i) {
    const auto record = samples.make<TypeParam>();
    const auto back =
        decodeRecord<TypeParam>(encodeRecord(record, DateEpoch::Reference2001), DateEpoch::Reference2001);
    ASSERT_TRUE(back) << back.reason();
    ASSERT_EQ(*back, record);
  }
}

TYPED_TEST(EveryRecord, KeysAreWrittenInTableOrderWithoutAbsentOnes) {
  SampleRecords samples(4);
  for (unsigned i = 0; i < kSamples; ++i) {
    const auto record = samples.make<TypeParam>();
    std::vector<std::string> expected;
    forEachField(record, [&](const std::string& key, bool, json::kind, bool isSet) {
      if (isSet) expected.push_back(key);
    });
    std::vector<std::string> written;
    for (const auto& member : parsed(encodeRecord(record))) {
      written.emplace_back(member.key());
      EXPECT_FALSE(member.value().is_null());
    }
    ASSERT_EQ(written, expected);
  }
}

TYPED_TEST(EveryRecord, KeysAreReadInAnyOrderAmongUnknownOnes) {
  const auto record = fullSample<TypeParam>(5);
  const std::string text = encodeRecord(record);
  const json::object document = parsed(text);
  json::object reversed;
  reversed["zzz"] = {{"deep", {1, nullptr, "x"}}};
  for (auto member = document.end(); member != document.begin();) {
    --member;
    reversed[member->key()] = member->value();
    reversed[std::string(member->key()) + "X"] = nullptr;
  }
  const auto expected = decodeRecord<TypeParam>(json::serialize(document));
  const auto back = decodeRecord<TypeParam>(json::serialize(reversed));
  ASSERT_TRUE(back && expected) << back.reason();
  EXPECT_EQ(*back, *expected);
}

TYPED_TEST(EveryRecord, AbsentOrNullFieldIsAbsenceOrAFailure) {
  const auto record = fullSample<TypeParam>(6);
  const json::object document = parsed(encodeRecord(record));
  forEachField(record, [&](const std::string& key, bool isOptional, json::kind, bool) {
    json::object without = document;
    without.erase(key);
    json::object withNull = document;
    withNull[key] = nullptr;
    for (const json::object& changed : {without, withNull}) {
      const auto back = decodeRecord<TypeParam>(json::serialize(changed));
      ASSERT_EQ(static_cast<bool>(back), isOptional) << key;
      if (!isOptional) {
        EXPECT_NE(back.reason().find(std::string(TypeParam::recordName) + "." + key + ": "),
                  std::string::npos)
            << back.reason();
        continue;
      }
      forEachField(*back, [&](const std::string& other, bool, json::kind, bool isSet) {
        EXPECT_EQ(isSet, other != key) << other;
      });
    }
  });
}

TYPED_TEST(EveryRecord, ValueOfAnotherKindFailsAndTheReasonNamesTheField) {
  const auto record = fullSample<TypeParam>(7);
  const json::object document = parsed(encodeRecord(record));
  const json::value kinds[] = {json::object(), json::array(), json::string("\r\n\x1b[31mnot this"), true,
                               0.5};
  forEachField(record, [&](const std::string& key, bool, json::kind kind, bool) {
    for (const json::value& wrong : kinds) {
      if (wrong.kind() == kind) continue;
      json::object changed = document;
      changed[key] = wrong;
      const auto back = decodeRecord<TypeParam>(json::serialize(changed));
      ASSERT_FALSE(back) << key << " took " << wrong;
      EXPECT_EQ(back.reason().find(std::string(TypeParam::recordName) + "." + key + ": expected "), 0u)
          << back.reason();
      EXPECT_EQ(back.reason().find_first_of("\r\n\x1b"), std::string::npos);
    }
  });
}

TYPED_TEST(EveryRecord, OnlyAnObjectIsARecord) {
  for (const std::string_view text : {"null", "[]", "\"{}\"", "1", "true"}) {
    const auto back = decodeRecord<TypeParam>(text);
    ASSERT_FALSE(back) << text;
    EXPECT_EQ(back.reason(), std::string(TypeParam::recordName) + ": expected an object");
  }
}

TYPED_TEST(EveryRecord, EveryTruncationIsRefusedAsNoJSON) {
  const std::string text = encodeRecord(fullSample<TypeParam>(8));
  for (std::size_t length = 0; length < text.size(); length += 1 + text.size() / 500) {
    const auto back = decodeRecord<TypeParam>(std::string_view(text).substr(0, length));
    ASSERT_FALSE(back) << length;
    EXPECT_EQ(back.reason().find(std::string(TypeParam::recordName) + ": not valid JSON: "), 0u)
        << back.reason();
  }
}

TEST(QAResultList, ReadsBackWhatItWrote) {
  SampleRecords samples(9);
  std::vector<TransferableQAResult> list;
  for (unsigned length = 0; length < 50; ++length) {
    const auto back = decodeRecord<std::vector<TransferableQAResult>>(encodeRecord(list));
    ASSERT_TRUE(back) << back.reason();
    ASSERT_EQ(*back, list);
    list.push_back(samples.make<TransferableQAResult>());
  }
}

}  // namespace
}  // namespace wyvlet
