#include "WyvletShared/RecordCodec.h"

#include <boost/json.hpp>
#include <cmath>
#include <type_traits>

#include "WyvletShared/Base64.h"
#include "WyvletShared/Commands.h"
#include "WyvletShared/FullSync.h"
#include "WyvletShared/JSONWriter.h"
#include "WyvletShared/Responses.h"
#include "WyvletShared/StateRecords.h"
#include "WyvletShared/TrafficRecords.h"

namespace wyvlet {
namespace {

namespace json = boost::json;
template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

struct Reader {
  DateEpoch epoch;
  std::string reason;

  bool fail(std::string why) {
    if (reason.empty()) reason = std::move(why);
    return false;
  }

  bool read(const json::value& value, std::string& out) {
    if (!value.is_string()) return fail("expected text");
    out = std::string_view(value.get_string());
    return true;
  }
  bool read(const json::value& value, bool& out) {
    if (!value.is_bool()) return fail("expected true or false");
    out = value.get_bool();
    return true;
  }
  bool read(const json::value& value, double& out) {
    if (!value.is_number()) return fail("expected a number");
    json::error_code error;
    out = value.to_number<double>(error);
    return (!error && std::isfinite(out)) || fail("number out of range");
  }
  template <class Integer>
  bool readInteger(const json::value& value, Integer& out) {
    if (!value.is_number()) return fail("expected an integer");
    json::error_code error;
    out = value.to_number<Integer>(error);
    return !error || fail("expected an integer in range");
  }
  bool read(const json::value& value, std::int64_t& out) { return readInteger(value, out); }
  bool read(const json::value& value, std::uint64_t& out) { return readInteger(value, out); }
  bool read(const json::value& value, Date& out) {
    if (!read(value, out.secondsSince1970)) return false;
    if (epoch == DateEpoch::Reference2001) out.secondsSince1970 += kReference2001;
    return true;
  }
  bool read(const json::value& value, UUID& out) {
    const auto uuid = value.is_string() ? UUID::parse(std::string_view(value.get_string())) : std::nullopt;
    if (!uuid) return fail("expected a UUID");
    out = *uuid;
    return true;
  }
  bool read(const json::value& value, Bytes& out) {
    auto bytes = value.is_string() ? decodeBase64(std::string_view(value.get_string())) : std::nullopt;
    if (!bytes) return fail("expected base64 text");
    out.data = std::move(*bytes);
    return true;
  }
  template <class T>
  bool read(const json::value& value, std::vector<T>& out) {
    if (!value.is_array()) return fail("expected a list");
    out.clear();
    out.reserve(value.get_array().size());
    for (const json::value& element : value.get_array()) {
      if (!read(element, out.emplace_back())) return false;
    }
    return true;
  }
  bool read(const json::value& value, std::map<std::string, std::string>& out) {
    if (!value.is_object()) return fail("expected a map");
    for (const json::key_value_pair& entry : value.get_object()) {
      if (!read(entry.value(), out[std::string(entry.key())])) return false;
    }
    return true;
  }
  template <class T>
  bool read(const json::value& value, std::optional<T>& out) {
    if (value.is_null()) return true;
    return read(value, out.emplace());
  }
  template <class Record>
  requires requires { Record::fields; }
  bool read(const json::value& value, Record& out) {
    if (!value.is_object()) return fail(std::string(Record::recordName) + ": expected an object");
    const json::object& object = value.get_object();
    return std::apply([&](const auto&... f) { return (readField(object, out, f) && ...); }, Record::fields);
  }
  template <class Record, class Value>
  bool readField(const json::object& object, Record& out, const Field<Record, Value>& f) {
    const json::value* value = object.if_contains({f.key.data(), f.key.size()});
    bool good = true;
    if (value != nullptr) {
      good = read(*value, out.*f.member);
    } else if constexpr (!IsOptional<Value>::value) {
      good = fail("missing");
    }
    if (!good && reason.find(':') == std::string::npos) {
      reason = std::string(Record::recordName) + "." + std::string(f.key) + ": " + reason;
    }
    return good;
  }
};

struct Writer {
  DateEpoch epoch;
  std::string json;

  void write(const std::string& text) { appendJSON(json, text); }
  void write(bool value) { json += value ? "true" : "false"; }
  void write(double number) { appendJSON(json, number); }
  void write(std::int64_t number) { appendJSON(json, number); }
  void write(std::uint64_t number) { appendJSON(json, number); }
  void write(Date date) { appendJSON(json, date, epoch); }
  void write(const UUID& uuid) { appendJSON(json, uuid.text()); }
  void write(const Bytes& bytes) {
    json += '"';
    json += encodeBase64(bytes.data);
    json += '"';
  }
  template <class T>
  void write(const std::vector<T>& list) {
    json += '[';
    for (const T& element : list) {
      if (&element != &list.front()) json += ',';
      write(element);
    }
    json += ']';
  }
  void write(const std::map<std::string, std::string>& map) {
    json += '{';
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
      if (entry != map.begin()) json += ',';
      appendJSON(json, entry->first);
      json += ':';
      appendJSON(json, entry->second);
    }
    json += '}';
  }
  template <class Record>
  requires requires { Record::fields; }
  void write(const Record& record) {
    json += '{';
    bool first = true;
    std::apply([&](const auto&... f) { (writeField(record, f, first), ...); }, Record::fields);
    json += '}';
  }
  template <class Record, class Value>
  void writeField(const Record& record, const Field<Record, Value>& f, bool& first) {
    const Value& value = record.*f.member;
    if constexpr (IsOptional<Value>::value) {
      if (!value) return;
    }
    if (!first) json += ',';
    first = false;
    appendJSON(json, f.key);
    json += ':';
    if constexpr (IsOptional<Value>::value) {
      write(*value);
    } else {
      write(value);
    }
  }
};

template <class T>
struct NameOf {
  static std::string get() { return std::string(T::recordName); }
};
template <class T>
struct NameOf<std::vector<T>> {
  static std::string get() { return "list of " + std::string(T::recordName); }
};

}  // namespace

template <class Record>
Result<Record> decodeRecord(std::string_view text, DateEpoch epoch) {
  json::monotonic_resource memory;
  json::error_code error;
  json::parse_options options;
  options.max_depth = kMaxJSONDepth;
  const json::value value = json::parse({text.data(), text.size()}, error, &memory, options);
  if (error) return Failure{NameOf<Record>::get() + ": not valid JSON"};
  Record record;
  Reader reader{epoch, {}};
  if (!reader.read(value, record)) {
    if (reader.reason.find(':') == std::string::npos) {
      reader.reason = NameOf<Record>::get() + ": " + reader.reason;
    }
    return Failure{std::move(reader.reason)};
  }
  return record;
}

template <class Record>
std::string encodeRecord(const Record& record, DateEpoch epoch) {
  Writer writer{epoch, {}};
  writer.write(record);
  return std::move(writer.json);
}

#define WYVLET_RECORD(Record)                                                                          \
  template Result<Record> decodeRecord<Record>(std::string_view, DateEpoch);                           \
  template std::string encodeRecord<Record>(const Record&, DateEpoch);                                 \
  template Result<std::vector<Record>> decodeRecord<std::vector<Record>>(std::string_view, DateEpoch); \
  template std::string encodeRecord<std::vector<Record>>(const std::vector<Record>&, DateEpoch);

WYVLET_RECORD(SwitchEnvironmentCommand)
WYVLET_RECORD(ClearStoreCommand)
WYVLET_RECORD(ToggleRuleCommand)
WYVLET_RECORD(ReplayRequestCommand)
WYVLET_RECORD(FireDeepLinkCommand)
WYVLET_RECORD(MarkQACommand)
WYVLET_RECORD(FetchBodyCommand)
WYVLET_RECORD(TransferableNetworkRequest)
WYVLET_RECORD(TransferableWSFrame)
WYVLET_RECORD(TransferableWSConnection)
WYVLET_RECORD(TransferableLogEntry)
WYVLET_RECORD(TransferableEnvironment)
WYVLET_RECORD(TransferableURLMatchPattern)
WYVLET_RECORD(TransferableRewriteRule)
WYVLET_RECORD(TransferableMockRule)
WYVLET_RECORD(TransferableInterceptRule)
WYVLET_RECORD(TransferableQAResult)
WYVLET_RECORD(TransferableUserDefaultsEntry)
WYVLET_RECORD(TransferableKeychainEntry)
WYVLET_RECORD(Coords)
WYVLET_RECORD(FlowStepData)
WYVLET_RECORD(RecordedFlowData)
WYVLET_RECORD(EnvironmentStatePayload)
WYVLET_RECORD(LenientRulesState)
WYVLET_RECORD(LenientQAState)
WYVLET_RECORD(LenientSyncPayload)
WYVLET_RECORD(FullSyncPayload)
WYVLET_RECORD(SnapshotElement)
WYVLET_RECORD(SnapshotResponse)
WYVLET_RECORD(ScreenshotResponse)
WYVLET_RECORD(FoundElement)
WYVLET_RECORD(FindResponse)
WYVLET_RECORD(ScreenTextResponse)
WYVLET_RECORD(ScreenHTMLResponse)
WYVLET_RECORD(PerfSnapshotResponse)
WYVLET_RECORD(AuditIssue)
WYVLET_RECORD(AccessibilityAuditResponse)
WYVLET_RECORD(ConsoleEntry)
WYVLET_RECORD(WebViewConsoleResponse)
WYVLET_RECORD(InputResult)

}  // namespace wyvlet
