#include <array>
#include <bit>
#include <cmath>
#include <span>
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

  /// Why `readDocument` failed for a value called `name`, in one line: nothing in it comes from the
  /// input.
  Failure failure(const std::string& name) const {
    if (const std::optional<std::string> syntaxError = reader_.syntaxError()) {
      return {name + ": not valid JSON: " + *syntaxError};
    }
    const std::string place = name + path_;
    if (field_.empty()) return {place + ": " + problem_};
    return {field_ + ": " + problem_ + (path_.empty() ? "" : " (in " + place + ")")};
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
    list.clear();
    return readElements(&RecordDecoder::readElement<T>, &list);
  }

  template <class T>
  static bool readElement(RecordDecoder& decoder, void* list) {
    return decoder.read(static_cast<std::vector<T>*>(list)->emplace_back());
  }

  /// Like the loop over an object's members below, compiled once for all.
  bool readElements(bool (*readNext)(RecordDecoder&, void* list), void* list) {
    if (reader_.kind() != JSONReader::Kind::List) return fail("expected a list");
    std::size_t index = 0;
    return reader_.readList([&] {
      if (!readNext(*this, list)) {
        path_.insert(0, "[" + std::to_string(index) + "]");
        return false;
      }
      ++index;
      return true;
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
  requires requires { Record::fields; }
  bool read(Record& record) {
    using Table = TableOf<Record>;
    static constexpr RecordReader kReader{Record::recordName, Table::fields, Table::required};
    return readRecord(kReader, &record);
  }

  /// A field of a record whose type is forgotten, so that the loop over an object's members is
  /// compiled once rather than for every record.
  struct FieldReader {
    std::string_view key;
    bool (*read)(RecordDecoder&, void* record);
  };
  struct RecordReader {
    std::string_view name;
    std::span<const FieldReader> fields;
    std::uint64_t required;  // a bit for every field that must be there
  };

  template <class Record, std::size_t I>
  static bool readField(RecordDecoder& decoder, void* record) {
    return decoder.read(static_cast<Record*>(record)->*std::get<I>(Record::fields).member);
  }

  template <class Record, std::size_t I>
  using FieldType =
      std::remove_reference_t<decltype(std::declval<Record>().*std::get<I>(Record::fields).member)>;

  template <class Record,
            class Indices = std::make_index_sequence<std::tuple_size_v<decltype(Record::fields)>>>
  struct TableOf;

  template <class Record, std::size_t... I>
  struct TableOf<Record, std::index_sequence<I...>> {
    static_assert(sizeof...(I) <= 64, "the set of fields is one word");
    static constexpr std::array fields = {
        FieldReader{.key = std::get<I>(Record::fields).key, .read = &RecordDecoder::readField<Record, I>}...};
    static constexpr std::uint64_t required =
        ((std::uint64_t{!kIsOptional<FieldType<Record, I>>} << I) | ...);
  };

  bool readRecord(const RecordReader& table, void* record) {
    if (reader_.kind() != JSONReader::Kind::Object) return fail("expected an object");
    const std::size_t count = table.fields.size();
    std::uint64_t seen = 0;
    std::size_t expected = 0;  // writers keep to the order of the table, so the search begins here
    const bool complete = reader_.readObject([&](std::string_view key) {
      for (std::size_t n = 0; n < count; ++n) {
        const std::size_t i = expected;
        expected = i + 1 == count ? 0 : i + 1;
        if (table.fields[i].key != key) continue;
        seen |= std::uint64_t{1} << i;
        return table.fields[i].read(*this, record) || failInField(table, i);
      }
      return reader_.skip();
    });
    if (!complete) return false;
    if (const std::uint64_t missing = table.required & ~seen; missing != 0) {
      fail("missing");
      return failInField(table, static_cast<std::size_t>(std::countr_zero(missing)));
    }
    return true;
  }

  /// Notes the innermost field that failed, and on the way out the path to it.
  bool failInField(const RecordReader& table, std::size_t i) {
    const std::string place = "." + std::string(table.fields[i].key) + std::exchange(path_, {});
    (field_.empty() ? field_ : path_) = (field_.empty() ? std::string(table.name) : "") + place;
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
  if (!decoder.readDocument(*result)) result = decoder.failure(nameOf(&*result));
  return result;
}

#define WYVLET_INSTANTIATE(Record) template Result<Record> decodeRecord<Record>(std::string_view, DateEpoch);
WYVLET_FOR_EVERY_RECORD(WYVLET_INSTANTIATE)
WYVLET_INSTANTIATE(std::vector<TransferableQAResult>)

}  // namespace wyvlet
