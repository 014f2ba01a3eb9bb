#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <array>
#include <boost/json.hpp>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "Client/AppRequests.h"
#include "Client/MessageHandler.h"
#include "Client/StateCache.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/CompanionMessage.h"
#include "WyvletShared/FrameReader.h"
#include "WyvletShared/FullSync.h"

/// How fast bytes from the app become records, beside a reader made with simdjson that fills the very
/// same records: every figure here is worth something only as a ratio of the two in one run.
namespace wyvlet {
namespace {

// ---- What an app sends ----

std::mt19937& source() {
  static std::mt19937 generator(20240601);
  return generator;
}

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(source()());
  return bytes;
}

UUID randomUUID() {
  UUID uuid;
  std::memcpy(uuid.bytes.data(), randomBytes(16).data(), 16);
  return uuid;
}

Date randomDate() { return {1717200000.0 + static_cast<double>(source()() % 100'000'000) / 997}; }

TransferableNetworkRequest sampleRequest(std::size_t bodyBytes) {
  TransferableNetworkRequest request;
  request.id = randomUUID();
  request.timestamp = randomDate();
  request.url =
      "https://api.example.com/v2/trips/" + std::to_string(source()() % 100000) + "/segments?page=1";
  request.host = "api.example.com";
  request.path = "/v2/trips/segments";
  request.method = "GET";
  request.requestHeaders = {{"Accept", "application/json"},
                            {"Authorization", "Bearer 0123456789abcdef"},
                            {"User-Agent", "Travel/7.1 (iPhone; iOS 17.4)"}};
  request.statusCode = 200;
  request.responseHeaders = {{"Cache-Control", "no-store"},
                             {"Content-Length", std::to_string(bodyBytes)},
                             {"Content-Type", "application/json; charset=utf-8"},
                             {"Date", "Sat, 01 Jun 2024 10:00:00 GMT"},
                             {"Server", "nginx"}};
  request.responseBody = Bytes{randomBytes(bodyBytes)};
  request.duration = static_cast<double>(source()() % 1000000) / 1234567;
  request.mimeType = "application/json";
  request.screenName = "Trips";
  request.source = "URLSession";
  return request;
}

TransferableLogEntry sampleLogEntry() {
  TransferableLogEntry entry;
  entry.id = randomUUID();
  entry.timestamp = randomDate();
  entry.level = source()() % 4 == 0 ? "WARNING" : "INFO";
  entry.category = "Networking";
  entry.message = "Loaded trip " + std::to_string(source()()) + " with 3 segments from the local store";
  entry.file = "TripRepository.swift";
  entry.line = source()() % 900;
  entry.screenName = "Trips";
  return entry;
}

/// A full sync of the size that a busy app reaches: 500 exchanges with bodies, 2,000 log lines.
std::string syncFrame() {
  LenientSyncPayload sync;
  for (std::vector<TransferableNetworkRequest>& requests = sync.httpRequests.emplace();
       requests.size() < 500;) {
    requests.push_back(sampleRequest(16'000));
  }
  for (std::vector<TransferableLogEntry>& entries = sync.logEntries.emplace(); entries.size() < 2000;) {
    entries.push_back(sampleLogEntry());
  }
  sync.currentScreen = "Trips";
  const CompanionMessage message{CompanionMessageType::syncFull,
                                 Bytes{encodeRecord(sync, DateEpoch::Unix1970)}, Date{1717200000.25}};
  return encodeFrame(encodeEnvelope(message, DateEpoch::Unix1970));
}

/// The same frame from a writer that escapes every slash, as the app's platform does by default. The
/// payload is written anew, since its own texts and bodies hold slashes too.
std::string withEscapedSlashes(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size() + text.size() / 32);
  for (const char c : text) {
    if (c == '/') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string escapedSyncFrame() {
  const std::string plain = syncFrame();
  CompanionMessage message = *decodeEnvelope(std::string_view(plain).substr(4)).registered;
  message.payload.data = withEscapedSlashes(message.payload.data);
  return encodeFrame(withEscapedSlashes(encodeEnvelope(message, DateEpoch::Unix1970)));
}

std::string logListJSON() {
  LenientSyncPayload sync;
  for (TransferableLogEntry& entry : sync.logEntries.emplace(40'000)) entry = sampleLogEntry();
  return encodeRecord(sync);
}

std::string eventBody() {
  const CompanionMessage message{CompanionMessageType::eventLog, Bytes{encodeRecord(sampleLogEntry())},
                                 Date{1717200000.25}};
  return encodeEnvelope(message, DateEpoch::Unix1970);
}

// ---- The reference: simdjson, driven by the same field tables ----

using Value = simdjson::ondemand::value;

[[noreturn]] void refuse() { throw std::runtime_error("the reference refused the sample"); }

template <class Record>
requires requires { Record::fields; }
void readReference(Value json, Record& record);

void readReference(Value json, std::string& text) { text.assign(std::string_view(json.get_string())); }
void readReference(Value json, bool& flag) { flag = json.get_bool(); }
void readReference(Value json, double& number) { number = json.get_double(); }
void readReference(Value json, std::int64_t& number) { number = json.get_int64(); }
void readReference(Value json, std::uint64_t& number) { number = json.get_uint64(); }
void readReference(Value json, Date& date) { date.secondsSince1970 = json.get_double(); }

void readReference(Value json, UUID& uuid) {
  const std::optional<UUID> parsed = UUID::parse(json.get_string());
  if (!parsed) refuse();
  uuid = *parsed;
}

void readReference(Value json, Bytes& bytes) {
  std::optional<std::string> decoded = decodeBase64(json.get_string());
  if (!decoded) refuse();
  bytes.data = std::move(*decoded);
}

void readReference(Value json, std::map<std::string, std::string>& map) {
  for (auto member : json.get_object()) {
    const std::string_view key = member.unescaped_key();
    readReference(member.value(), map.emplace_hint(map.end(), key, std::string())->second);
  }
}

template <class T>
void readReference(Value json, std::vector<T>& list) {
  for (auto element : json.get_array()) readReference(element.value(), list.emplace_back());
}

template <class T>
void readReference(Value json, std::optional<T>& value) {
  if (!json.is_null()) readReference(json, value.emplace());
}

template <class Record, std::size_t... I>
bool readReferenceField(std::string_view key, Value json, Record& record, std::size_t& expected,
                        std::index_sequence<I...>) {
  // In the order of the table, beginning where the last field was found: the cheapest search there is.
  return ((I >= expected && std::get<I>(Record::fields).key == key &&
           (readReference(json, record.*std::get<I>(Record::fields).member), expected = I + 1, true)) ||
          ...);
}

template <class Record>
requires requires { Record::fields; }
void readReference(Value json, Record& record) {
  std::size_t expected = 0;
  for (auto member : json.get_object()) {
    const std::string_view key = member.unescaped_key();
    readReferenceField(key, member.value(), record, expected,
                       std::make_index_sequence<std::tuple_size_v<decltype(Record::fields)>>());
  }
}

/// A frame's body to records, with parsers that are kept from frame to frame, as simdjson advises.
template <class Record>
Record readReferenceFrame(simdjson::padded_string_view body, simdjson::ondemand::parser& envelopeParser,
                          simdjson::ondemand::parser& payloadParser) {
  simdjson::ondemand::document envelope = envelopeParser.iterate(body);
  const std::optional<CompanionMessageType> type = messageType(envelope["type"].get_string());
  std::optional<std::string> payload = decodeBase64(envelope["payload"].get_string());
  const double timestamp = envelope["timestamp"].get_double();
  if (!type || !payload) refuse();
  benchmark::DoNotOptimize(timestamp);
  payload->reserve(payload->size() + simdjson::SIMDJSON_PADDING);
  simdjson::ondemand::document document = payloadParser.iterate(*payload);
  Record record;
  readReference(document.get_value(), record);
  return record;
}

// ---- The same work by this library ----

template <class Record>
Result<Record> readFrame(std::string_view body) {
  return decodeRecord<Record>(decodeEnvelope(body).registered->payload.data);
}

/// Gives `frame` to a frame reader in pieces such as a socket delivers.
template <class Handle>
void feed(FrameReader& reader, std::string_view frame, Handle&& handle) {
  constexpr std::size_t kReceive = 256 * 1024;
  while (!frame.empty()) {
    const std::span<char> space = reader.writableSpace();
    const std::size_t count = std::min({space.size(), frame.size(), kReceive});
    std::memcpy(space.data(), frame.data(), count);
    reader.wrote(count);
    frame.remove_prefix(count);
    for (auto item = reader.next(); item.kind == FrameReader::Kind::Frame; item = reader.next()) {
      handle(item.body);
    }
  }
}

void count(benchmark::State& state, std::size_t bytes, std::size_t items) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items));
}

void syncFrame(benchmark::State& state, const std::string& frame) {
  FrameReader reader;
  for (auto iteration : state) {
    feed(reader, frame, [](std::string_view body) {
      benchmark::DoNotOptimize(readFrame<LenientSyncPayload>(body)->httpRequests->size());
    });
  }
  count(state, frame.size(), 1);
}

void syncFrameReference(benchmark::State& state, const std::string& frame) {
  simdjson::ondemand::parser envelopeParser, payloadParser;
  const std::size_t bodyBytes = frame.size() - 4;
  for (auto iteration : state) {
    // The frame reaches the reference in one piece, in a buffer with the room that simdjson wants.
    std::unique_ptr<char[]> buffer(new char[bodyBytes + simdjson::SIMDJSON_PADDING]);
    std::memcpy(buffer.get(), frame.data() + 4, bodyBytes);
    benchmark::DoNotOptimize(
        readReferenceFrame<LenientSyncPayload>(
            simdjson::padded_string_view(buffer.get(), bodyBytes, bodyBytes + simdjson::SIMDJSON_PADDING),
            envelopeParser, payloadParser)
            .httpRequests->size());
  }
  count(state, frame.size(), 1);
}

void FullSync(benchmark::State& state) { syncFrame(state, syncFrame()); }
void FullSyncReference(benchmark::State& state) { syncFrameReference(state, syncFrame()); }

/// What the server does with a sync until it is published and the former contents are dropped; freed memory
/// goes back to the system a second later.
void FullSyncPublished(benchmark::State& state) {
  const std::string frame = syncFrame();
  FrameReader reader;
  StateCache cache;
  AppRequests requests({.isConnected = [] { return true; }, .send = [](auto, const auto&) {}});
  MessageHandler handler(cache, requests);
  for (auto iteration : state) {
    feed(reader, frame, [&](std::string_view body) {
      cache.swap(*StateCache::prepare(*handler.handle(body)));
      benchmark::DoNotOptimize(cache.snapshot().httpRequests.size());
    });
  }
  count(state, frame.size(), 1);
}
BENCHMARK(FullSyncPublished)->Unit(benchmark::kMillisecond);

void FullSyncEscapedSlashes(benchmark::State& state) { syncFrame(state, escapedSyncFrame()); }
void FullSyncEscapedSlashesReference(benchmark::State& state) {
  syncFrameReference(state, escapedSyncFrame());
}
BENCHMARK(FullSync)->Unit(benchmark::kMillisecond);
BENCHMARK(FullSyncReference)->Unit(benchmark::kMillisecond);
BENCHMARK(FullSyncEscapedSlashes)->Unit(benchmark::kMillisecond);
BENCHMARK(FullSyncEscapedSlashesReference)->Unit(benchmark::kMillisecond);

void LogEntries(benchmark::State& state) {
  const std::string json = logListJSON();
  for (auto iteration : state) {
    benchmark::DoNotOptimize(decodeRecord<LenientSyncPayload>(json)->logEntries->size());
  }
  count(state, json.size(), 40'000);
}
BENCHMARK(LogEntries)->Unit(benchmark::kMillisecond);

void LogEntriesReference(benchmark::State& state) {
  const simdjson::padded_string json = logListJSON();
  simdjson::ondemand::parser parser;
  for (auto iteration : state) {
    simdjson::ondemand::document document = parser.iterate(json);
    LenientSyncPayload sync;
    readReference(document.get_value(), sync);
    benchmark::DoNotOptimize(sync.logEntries->size());
  }
  count(state, json.size(), 40'000);
}
BENCHMARK(LogEntriesReference)->Unit(benchmark::kMillisecond);

void SmallEvent(benchmark::State& state) {
  const std::string frame = encodeFrame(eventBody());
  FrameReader reader;
  for (auto iteration : state) {
    feed(reader, frame, [](std::string_view body) {
      benchmark::DoNotOptimize(readFrame<TransferableLogEntry>(body)->line);
    });
  }
  count(state, frame.size(), 1);
}
BENCHMARK(SmallEvent);

void SmallEventReference(benchmark::State& state) {
  const simdjson::padded_string body = eventBody();
  simdjson::ondemand::parser envelopeParser, payloadParser;
  for (auto iteration : state) {
    benchmark::DoNotOptimize(
        readReferenceFrame<TransferableLogEntry>(body, envelopeParser, payloadParser).line);
  }
  count(state, body.size() + 4, 1);
}
BENCHMARK(SmallEventReference);

void Base64Encode(benchmark::State& state) {
  const std::string bytes = randomBytes(1'000'000);
  for (auto iteration : state) benchmark::DoNotOptimize(encodeBase64(bytes).size());
  count(state, bytes.size(), 1);
}
BENCHMARK(Base64Encode);

void Base64Decode(benchmark::State& state) {
  const std::string text = encodeBase64(randomBytes(1'000'000));
  for (auto iteration : state) benchmark::DoNotOptimize(decodeBase64(text)->size());
  count(state, text.size(), 1);
}
BENCHMARK(Base64Decode);

}  // namespace
}  // namespace wyvlet
