#include <tuple>

#include "WyvletShared/Base64.h"
#include "WyvletShared/JSONWriter.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/RecordList.h"

namespace wyvlet {
namespace {

/// Writes one value as JSON. There is an operation per type of field; that of a record is made from
/// its field table.
class RecordEncoder {
 public:
  explicit RecordEncoder(DateEpoch epoch) : epoch_(epoch) {}

  void write(const std::string& text) { appendJSON(json_, text); }
  void write(bool flag) { json_ += flag ? "true" : "false"; }
  void write(double number) { appendJSON(json_, number); }
  void write(std::int64_t number) { appendJSON(json_, number); }
  void write(std::uint64_t number) { appendJSON(json_, number); }
  void write(Date date) { appendJSON(json_, date, epoch_); }
  void write(const UUID& uuid) { appendJSON(json_, uuid.text()); }

  void write(const Bytes& bytes) {
    json_ += '"';
    json_ += encodeBase64(bytes.data);
    json_ += '"';
  }

  void write(const std::map<std::string, std::string>& map) {
    char separator = '{';
    for (const auto& [key, value] : map) {
      json_ += std::exchange(separator, ',');
      appendJSON(json_, key);
      json_ += ':';
      appendJSON(json_, value);
    }
    json_ += map.empty() ? "{}" : "}";
  }

  template <class T>
  void write(const std::vector<T>& list) {
    char separator = '[';
    for (const T& element : list) {
      json_ += std::exchange(separator, ',');
      write(element);
    }
    json_ += list.empty() ? "[]" : "]";
  }

  template <class Record>
  requires requires { Record::fields; }
  void write(const Record& record) {
    char separator = '{';
    std::apply(
        [&](const auto&... fields) { (writeField(fields.key, record.*fields.member, separator), ...); },
        Record::fields);
    json_ += separator == '{' ? "{}" : "}";
  }

  std::string take() { return std::move(json_); }

 private:
  template <class Value>
  void writeField(std::string_view key, const Value& value, char& separator) {
    json_ += std::exchange(separator, ',');
    appendJSON(json_, key);
    json_ += ':';
    write(value);
  }

  template <class Value>
  void writeField(std::string_view key, const std::optional<Value>& value, char& separator) {
    if (value) writeField(key, *value, separator);
  }

  DateEpoch epoch_;
  std::string json_;
};

}  // namespace

template <class Record>
std::string encodeRecord(const Record& record, DateEpoch epoch) {
  RecordEncoder encoder(epoch);
  encoder.write(record);
  return encoder.take();
}

#define WYVLET_INSTANTIATE(Record) template std::string encodeRecord<Record>(const Record&, DateEpoch);
WYVLET_FOR_EVERY_RECORD(WYVLET_INSTANTIATE)
WYVLET_INSTANTIATE(std::vector<TransferableQAResult>)

}  // namespace wyvlet
