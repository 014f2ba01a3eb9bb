// How many small events a second reach the cache over loopback TCP, and whether memory stays flat
// while millions of them pass.
//
// Usage: EventIngestBenchmark [events [more events]]       1000000 and 9000000 unless given

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "BenchmarkTable.h"
#include "Client/WyvletClient.h"
#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/Responses.h"

namespace wyvlet {
namespace {

using namespace bench;

constexpr double kPatience = 600.0;
constexpr double kBarEventsPerSecond = 100'000;

/// By how much memory may differ and still be flat: what an allocator keeps for later.
constexpr double kFlatMB = 1.0;

std::string frameOf(const CompanionMessage& message) {
  return encodeFrame(encodeEnvelope(message, DateEpoch::Unix1970));
}

/// A chunk of frames, alternating between the two kinds of events that apps send most.
std::string eventFrames(std::size_t count) {
  TransferableLogEntry entry;
  entry.timestamp = Date{1717200000.25};
  entry.level = "INFO";
  entry.category = "Networking";
  entry.message = "Loaded trip with 3 segments from the local store";
  entry.file = "TripRepository.swift";
  entry.line = 118;
  TransferableNetworkRequest request;
  request.timestamp = Date{1717200000.5};
  request.url = "https://api.example.com/v2/trips/4711/segments?page=1";
  request.host = "api.example.com";
  request.path = "/v2/trips/4711/segments";
  request.method = "GET";
  request.requestHeaders = {{"Accept", "application/json"}};
  request.statusCode = 200;
  request.responseHeaders = {{"Content-Type", "application/json; charset=utf-8"}};
  request.responseBody = Bytes{"{\"segments\":[]}"};
  request.duration = 0.042;
  std::string frames;
  for (std::size_t i = 0; i < count; ++i) {
    if (i % 2 == 0) {
      entry.id = UUID::random();
      frames += frameOf(CompanionMessage::make(CompanionMessageType::eventLog, entry, DateEpoch::Unix1970));
    } else {
      request.id = UUID::random();
      frames += frameOf(
          CompanionMessage::make(CompanionMessageType::eventHttpRequest, request, DateEpoch::Unix1970));
    }
  }
  return frames;
}

/// The app: after each question it sends that many events and then the answer. Runs in a process of
/// its own, so that its memory is not counted.
[[noreturn]] void runApp(CompanionListener& listener, const std::vector<std::size_t>& amounts) {
  constexpr std::size_t kChunk = 1000;
  const auto chunk = eventFrames(kChunk);
  const auto link = listener.accept();
  link->sendBytes(frameOf(
      CompanionMessage::make(CompanionMessageType::syncFull, LenientSyncPayload(), DateEpoch::Unix1970)));
  for (const auto amount : amounts) {
    link->receive();
    for (std::size_t sent = 0; sent < amount; sent += kChunk) link->sendBytes(chunk);
    link->sendBytes(frameOf(CompanionMessage::make(CompanionMessageType::responseScreenText,
                                                   ScreenTextResponse{"Trips", {}}, DateEpoch::Unix1970)));
  }
  std::_Exit(0);
}

double residentMB() {
  std::ifstream status("/proc/self/statm");
  long total = 0;
  long resident = 0;
  status >> total >> resident;
  return static_cast<double>(resident * ::sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

std::string millions(double count) { return number(count / 1e6, count < 1e6 ? 1 : 0, " million"); }

/// Asks for that many events and waits for the answer behind them; seconds, or nothing when it failed.
std::optional<double> ingest(WyvletClient& client) {
  const auto start = std::chrono::steady_clock::now();
  const auto answer = client.requestScreenText(kPatience);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  if (answer != "Screen: Trips\nVisible text (0 items):" || client.snapshot().logEntries.empty()) {
    std::fprintf(stderr, "the events did not arrive: %s\n", answer.c_str());
    return std::nullopt;
  }
  return elapsed.count();
}

int run(const std::vector<std::size_t>& amounts) {
  auto listener = CompanionListener::listen(0);
  if (!listener) {
    std::fprintf(stderr, "%s\n", listener.reason().c_str());
    return 1;
  }
  const auto app = ::fork();
  if (app == 0) runApp(**listener, amounts);
  WyvletClient client;
  if (!client.connectDirectTCP("127.0.0.1", (*listener)->port(), kPatience)) return 1;
  std::vector<double> resident;
  double events = 0;
  double seconds = 0;
  for (const auto amount : amounts) {
    const auto elapsed = ingest(client);
    if (!elapsed) return 1;
    events += static_cast<double>(amount);
    seconds += *elapsed;
    resident.push_back(residentMB());
  }
  int status = 0;
  ::waitpid(app, &status, 0);
  const double rate = events / seconds;
  const double growth = resident.back() - resident.front();
  printRow("small events over loopback TCP, " + millions(events), number(rate, 0, "/s"), "-", "-",
           ">= 100000/s", rate >= kBarEventsPerSecond);
  printRow("resident memory while they pass, from " + millions(static_cast<double>(amounts.front())) + " on",
           number(resident.front(), 1) + " to " + number(resident.back(), 1, " MB"), "-", "-", "flat",
           growth <= kFlatMB);
  return status == 0 ? 0 : 1;
}

}  // namespace
}  // namespace wyvlet

int main(int argc, char** argv) {
  std::vector<std::size_t> amounts;
  for (int i = 1; i < argc; ++i) amounts.push_back(std::strtoull(argv[i], nullptr, 10));
  if (amounts.empty()) amounts = {1'000'000, 9'000'000};
  return wyvlet::run(amounts);
}
