// How many small events a second reach the cache over loopback TCP, and whether memory stays flat
// while millions of them pass. Prints one line of figures for each amount:
//
//     EventIngest events=1000000 seconds=3.21 eventsPerSecond=311526 residentKB=6120
//
// usage: EventIngestBenchmark [events...]       (1000000 10000000 unless given)

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Client/WyvletClient.h"
#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/Responses.h"

namespace wyvlet {
namespace {

constexpr double kPatience = 600.0;

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

long residentKB() {
  std::ifstream status("/proc/self/statm");
  long total = 0;
  long resident = 0;
  status >> total >> resident;
  return resident * (::sysconf(_SC_PAGESIZE) / 1024);
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
  for (const auto amount : amounts) {
    const auto start = std::chrono::steady_clock::now();
    if (client.requestScreenText(kPatience) != "Screen: Trips\nVisible text (0 items):") return 1;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (client.snapshot().logEntries.size() + client.snapshot().httpRequests.size() !=
        std::min<std::size_t>(amount, 1000)) {
      return 1;
    }
    std::printf("EventIngest events=%zu seconds=%.2f eventsPerSecond=%.0f residentKB=%ld\n", amount,
                elapsed.count(), static_cast<double>(amount) / elapsed.count(), residentKB());
    std::fflush(stdout);
  }
  int status = 0;
  ::waitpid(app, &status, 0);
  return status == 0 ? 0 : 1;
}

}  // namespace
}  // namespace wyvlet

int main(int argc, char** argv) {
  std::vector<std::size_t> amounts;
  for (int i = 1; i < argc; ++i) amounts.push_back(std::strtoull(argv[i], nullptr, 10));
  if (amounts.empty()) amounts = {1'000'000, 10'000'000};
  return wyvlet::run(amounts);
}
