#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>

#include "WyvletShared/JSONReader.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/RecordList.h"

namespace wyvlet {
namespace {

template <class T>
constexpr bool kIsOptional = false;
template <class T>
constexpr bool kIsOptional<std::optional<T>> = true;

template <class T>
std::string nameOf(const T*) {
  return std::string(T::recordName);
}

template <class T>
std::string nameOf(const std::vector<T>*) {
  return "list of " + std::string(T::recordName);
}

/// Reads one document into one value. There is an operation per type of field; that of a record is
/// made from its field table.
class RecordDecoder {
 public:
  RecordDecoder(std::string_view json, DateEpoch epoch) : reader_(json), epoch_(epoch) {}

  template <class T>
  bool readDocument(T& value) {
    return read(value) && reader_.atEnd();
  }

  /// Why `readDocument` failed, in one line: nothing in it comes from the input.
  template <class T>
  std::string reason(const T& value) const {
    if (const std::optional<std::string> syntaxError = reader_.syntaxError()) {
      return nameOf(&value) + ": not valid JSON: " + *syntaxError;
    }
    const std::string place = nameOf(&value) + path_;
    if (field_.empty()) return place + ": " + problem_;
    return field_ + ": " + problem_ + (path_.empty() ? "" : " (in " + place + ")");
  }

 private:
  bool fail(const char* problem) {
    problem_ = problem;
    return false;
  }

  bool read(std::string& text) {
    return reader_.kind() == JSONReader::Kind::Text ? reader_.readText(text) : fail("expected text");
  }

  bool read(bool& flag) {
    const JSONReader::Kind kind = reader_.kind();
    flag = kind == JSONReader::Kind::True;
    return flag || kind == JSONReader::Kind::False ? reader_.readLiteral() : fail("expected true or false");
  }

  bool read(double& value) {
    if (reader_.kind() != JSONReader::Kind::Number) return fail("expected a number");
    JSONReader::Number number;
    if (!reader_.readNumber(number)) return false;
    value = number.value();
    return std::isfinite(value) || fail("number out of range");
  }

  bool read(std::int64_t& value) { return readInteger(value, "expected an integer"); }
  bool read(std::uint64_t& value) { return readInteger(value, "expected an integer of 0 or more"); }

  template <class Integer>
  bool readInteger(Integer& value, const char* expectation) {
    if (reader_.kind() != JSONReader::Kind::Number) return fail(expectation);
    JSONReader::Number number;
    if (!reader_.readNumber(number)) return false;
    const std::optional<Integer> integer = number.integer<Integer>();
    if (!integer) return fail(expectation);
    value = *integer;
    return true;
  }

  bool read(Date& date) {
    if (!read(date.secondsSince1970)) return false;
    if (epoch_ == DateEpoch::Reference2001) date.secondsSince1970 += kReference2001;
    return true;
  }

  bool read(UUID& uuid) {
    if (reader_.kind() != JSONReader::Kind::Text) return fail("expected a UUID");
    std::string_view text;
    if (!reader_.readText(text)) return false;
    const std::optional<UUID> parsed = UUID::parse(text);
    if (!parsed) return fail("expected a UUID");
    uuid = *parsed;
    return true;
  }

  bool read(Bytes& bytes) {
    if (reader_.kind() != JSONReader::Kind::Text) return fail("expected base64 text");
    bool valid = false;
    return reader_.readBase64(bytes.data, valid) && (valid || fail("expected base64 text"));
  }

  bool read(std::map<std::string, std::string>& map) {
    if (reader_.kind() != JSONReader::Kind::Object) return fail("expected an object");
    map.clear();
    return reader_.readObject([&](std::string_view key) {
      // Most writers sort the keys, and a wrong hint does no harm.
      return read(map.insert_or_assign(map.end(), std::string(key), std::string())->second);
    });
  }

  template <class T>
  bool read(std::vector<T>& list) {
    if (reader_.kind() != JSONReader::Kind::List) return fail("expected a list");
    list.clear();
    return reader_.readList([&] {
      if (read(list.emplace_back())) return true;
      path_.insert(0, "[" + std::to_string(list.size() - 1) + "]");
      return false;
    });
  }

  template <class T>
  bool read(std::optional<T>& value) {
    if (reader_.kind() == JSONReader::Kind::Null) {
      value.reset();
      return reader_.readLiteral();
    }
    return read(value.emplace());
  }

  template <class Record>
  struct FieldReader {
    std::string_view key;
    bool required;
    bool (*read)(RecordDecoder&, Record&);
  };

  template <class Record, std::size_t... I>
  static constexpr auto makeFieldReaders(std::index_sequence<I...>) {
    return std::array{FieldReader<Record>{
        .key = std::get<I>(Record::fields).key,
        .required = !kIsOptional<
            std::remove_reference_t<decltype(std::declval<Record>().*std::get<I>(Record::fields).member)>>,
        .read = [](RecordDecoder& decoder, Record& record) {
          return decoder.read(record.*std::get<I>(Record::fields).member);
        }}...};
  }

  template <class Record>
  requires requires { Record::fields; }
  bool read(Record& record) {
    constexpr std::size_t kCount = std::tuple_size_v<decltype(Record::fields)>;
    static_assert(kCount <= 64, "the set of fields seen is one word");
    static constexpr auto kReaders = makeFieldReaders<Record>(std::make_index_sequence<kCount>());
    static constexpr std::uint64_t kRequired = [] {
      std::uint64_t required = 0;
      for (std::size_t i = 0; i < kCount; ++i) required |= std::uint64_t{kReaders[i].required} << i;
      return required;
    }();

    if (reader_.kind() != JSONReader::Kind::Object) return fail("expected an object");
    std::uint64_t seen = 0;
    std::size_t expected = 0;  // writers keep to the order of the table, so the search begins here
    const bool complete = reader_.readObject([&](std::string_view key) {
      for (std::size_t n = 0; n < kCount; ++n, expected = expected + 1 == kCount ? 0 : expected + 1) {
        if (kReaders[expected].key != key) continue;
        const std::size_t i = expected;
        expected = i + 1 == kCount ? 0 : i + 1;
        seen |= std::uint64_t{1} << i;
        return kReaders[i].read(*this, record) || failInField<Record>(kReaders[i].key);
      }
      return reader_.skip();
    });
    if (!complete) return false;
    if (const std::uint64_t missing = kRequired & ~seen; missing != 0) {
      fail("missing");
      return failInField<Record>(kReaders[static_cast<std::size_t>(std::countr_zero(missing))].key);
    }
    return true;
  }

  /// Notes the innermost field that failed, and on the way out the path to it.
  template <class Record>
  bool failInField(std::string_view key) {
    if (field_.empty()) {
      field_ = std::string(Record::recordName) + "." + std::string(key) + std::exchange(path_, {});
    } else {
      path_.insert(0, "." + std::string(key));
    }
    return false;
  }

  JSONReader reader_;
  DateEpoch epoch_;
  const char* problem_ = "";
  std::string field_;
  std::string path_;
};

}  // namespace

template <class Record>
Result<Record> decodeRecord(std::string_view json, DateEpoch epoch) {
  Result<Record> result{Record()};
  RecordDecoder decoder(json, epoch);
  if (!decoder.readDocument(*result)) result = Failure{decoder.reason(*result)};
  return result;
}

#define WYVLET_INSTANTIATE(Record)                                           \
  template Result<Record> decodeRecord<Record>(std::string_view, DateEpoch); \
  template Result<std::vector<Record>> decodeRecord<std::vector<Record>>(std::string_view, DateEpoch);

WYVLET_FOR_EVERY_RECORD(WYVLET_INSTANTIATE)

}  // namespace wyvlet
