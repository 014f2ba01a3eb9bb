// Faults and endurance of the real server. Every run does a little of each; WYVLET_SOAK=N does N times as
// much, for the figures in docs/reliability.md (each test prints what it held).

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "EndToEnd/Harness.h"
#include "EndToEnd/Isolation.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

int timesAsMuch(int few) {
  const char* factor = std::getenv("WYVLET_SOAK");
  return few * (factor != nullptr ? std::max(1, std::atoi(factor)) : 1);
}

/// What must return to where it was.
struct Footprint {
  long residentKilobytes = 0;
  long descriptors = 0;
  long threads = 0;

  static Footprint of(pid_t pid) {
    Footprint footprint;
    const std::string folder = "/proc/" + std::to_string(pid);
    std::ifstream status(folder + "/status");
    for (std::string word; status >> word;) {
      if (word == "VmRSS:") status >> footprint.residentKilobytes;
      if (word == "Threads:") status >> footprint.threads;
    }
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder + "/fd")) {
      ++footprint.descriptors;
    }
    return footprint;
  }
};

void report(const std::string& what, const Footprint& before, const Footprint& after) {
  std::printf("[ held     ] %s: resident %ld -> %ld kB, descriptors %ld -> %ld, threads %ld -> %ld\n",
              what.c_str(), before.residentKilobytes, after.residentKilobytes, before.descriptors,
              after.descriptors, before.threads, after.threads);
}

/// Whether all that was taken meanwhile has been given back, with room for what a running server may hold at
/// any moment. The HTTP workers leave ten seconds after their last work, and memory goes back with them.
bool returnsTo(const Footprint& before, pid_t pid, long descriptors) {
  return eventually([&] {
    const auto now = Footprint::of(pid);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const bool isMemoryBack = true;  // the sanitizers keep freed memory for a while
#else
    const bool isMemoryBack = now.residentKilobytes <= before.residentKilobytes + 4096;
#endif
    return isMemoryBack && now.descriptors <= before.descriptors + descriptors &&
           now.threads <= before.threads;
  });
}

TransferableLogEntry entry(const std::string& message) {
  return {.id = UUID::random(),
          .timestamp = Date::now(),
          .level = "INFO",
          .category = "Soak",
          .message = message,
          .file = "Soak.cpp",
          .line = 1,
          .screenName = "Home"};
}

std::string post(std::string_view path, std::string_view body) {
  return "POST " + std::string(path) + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + std::string(body);
}

bool lastEntryIs(Server& server, const std::string& message) {
  return eventually([&] {
    return server.call("wyvlet_get_app_logs", {{"limit", 1}}).find("] " + message + " [") !=
           std::string::npos;
  });
}

TEST(Soak, AppRestartsDuringToolCalls) {
  const int restarts = timesAsMuch(20);
  Server server;
  auto app = std::make_unique<ScriptedApp>();
  server.connect();
  std::atomic<bool> ending = false;
  std::atomic<int> asked = 0;
  std::atomic<int> answers = 0;
  std::vector<std::thread> callers;
  const auto keepsAsking = [&](const std::string& request) {
    callers.emplace_back([&, request] {
      while (!ending) {
        ++asked;
        const auto answer = httpExchange(request);
        if (answer.starts_with("HTTP/1.1 200 OK\r\n") && answer.ends_with("}")) ++answers;
      }
    });
  };
  for (int i = 0; i < 2; ++i) {
    keepsAsking(post("/wyvlet/find-element", R"({"text":"x"})"));
    keepsAsking("GET /wyvlet/app-logs HTTP/1.1\r\n\r\n");
  }
  Footprint before;
  for (int i = 0; i < restarts; ++i) {
    const int seen = answers;
    app.reset();
    app = std::make_unique<ScriptedApp>();
    app->answerWith("command.findElement", "response.findElement", FindResponse{"Home", "x", {}});
    server.connect();
    EXPECT_TRUE(eventually([&] { return answers > seen; })) << "of restart " << i;
    if (i == 4) before = Footprint::of(server.process().pid());
  }
  ending = true;
  for (auto& caller : callers) caller.join();
  EXPECT_THAT(server.call("wyvlet_status"), StartsWith("Wyvlet: CONNECTED"));
  EXPECT_GT(answers, 0);
  EXPECT_EQ(asked, answers) << "every call is answered, whatever becomes of the app";
  EXPECT_TRUE(returnsTo(before, server.process().pid(), 4));
  report(std::to_string(restarts) + " restarts, " + std::to_string(answers.load()) + " calls meanwhile",
         before, Footprint::of(server.process().pid()));
}

TEST(Soak, AFloodOfEventsKeepsMemoryFlat) {
  const int rounds = timesAsMuch(10);
  constexpr int kPerRound = 10000;
  Server server;
  ScriptedApp app;
  server.connect();
  Footprint before;
  for (int round = 0; round < rounds; ++round) {
    std::string frames;
    for (int i = 0; i < kPerRound; ++i) {
      const auto number = round * kPerRound + i;
      frames += encodeFrame(encodeEnvelope(CompanionMessage::make(
          CompanionMessageType::eventLog, entry("event " + std::to_string(number)), DateEpoch::Unix1970)));
    }
    app.sendRaw(frames);
    if (round == 4) {
      ASSERT_TRUE(lastEntryIs(server, "event " + std::to_string((round + 1) * kPerRound - 1)));
      before = Footprint::of(server.process().pid());
    }
  }
  ASSERT_TRUE(lastEntryIs(server, "event " + std::to_string(rounds * kPerRound - 1)));
  const auto after = Footprint::of(server.process().pid());
  report(std::to_string(rounds * kPerRound) + " events", before, after);
  EXPECT_THAT(server.call("wyvlet_status"), HasSubstr("\nLog Entries: 500\n"));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(after.residentKilobytes, before.residentKilobytes + 4096);
#endif
}

TEST(Soak, FramesThatStopHalfWay) {
  const int rounds = timesAsMuch(15);
  Server server;
  ScriptedApp app;
  server.connect();
  const auto frame = encodeFrame(encodeEnvelope(
      CompanionMessage::make(CompanionMessageType::eventLog, entry("never whole"), DateEpoch::Unix1970)));
  Footprint before;
  for (int round = 0; round < rounds; ++round) {
    const auto cut = static_cast<std::size_t>(round * 37) % frame.size();
    app.sends(CompanionMessageType::eventLog, entry("whole " + std::to_string(round)));
    app.sendRaw(std::string_view(frame).substr(0, cut));
    app.dropLink();
    server.connect();
    // What was whole before the break was kept until the new sync took its place.
    EXPECT_THAT(server.call("wyvlet_get_app_logs"), testing::Eq("No log entries."));
    if (round == 4) before = Footprint::of(server.process().pid());
  }
  const auto after = Footprint::of(server.process().pid());
  report(std::to_string(rounds) + " broken frames", before, after);
  EXPECT_LE(after.descriptors, before.descriptors + 1);
}

/// An app that is gone without a word, with or without a question under way.
class VanishedApp : public testing::TestWithParam<bool> {};

TEST_P(VanishedApp, IsNoticedAndFoundAgain) {
  Server server;
  ScriptedApp app;
  server.connect();
  ASSERT_TRUE(app.waitForLink());
  setNetwork(false);
  if (GetParam()) {
    EXPECT_EQ("Screen text timed out", server.call("wyvlet_screen_text"));
  }
  EXPECT_TRUE(server.waitForLog("[wyvlet] Header error: "));
  setNetwork(true);
  server.connect();
  EXPECT_TRUE(app.waitForLink(2));
}

INSTANTIATE_TEST_SUITE_P(IdleOrAsked, VanishedApp, testing::Bool());

TEST(Soak, ALyingHeaderCostsNoMemory) {
  Server server;
  ScriptedApp app;
  server.connect();
  const auto before = Footprint::of(server.process().pid());
  app.sendRaw(std::string("\x02\xFA\xF0\x80", 4));  // announces 50,000,000 bytes
  app.sendRaw(std::string(1000, 'x'));
  EXPECT_EQ("No log entries.", server.call("wyvlet_get_app_logs"));
  const auto after = Footprint::of(server.process().pid());
  EXPECT_LT(after.residentKilobytes, before.residentKilobytes + 8192);
}

TEST(Soak, LargeSyncsLeaveNothingBehind) {
  const int rounds = timesAsMuch(3);
  Server server;
  ScriptedApp app;
  server.connect();
  app.sends(CompanionMessageType::eventLog, entry("small"));
  ASSERT_TRUE(lastEntryIs(server, "small"));
  const auto before = Footprint::of(server.process().pid());
  // Small pieces in great number are what fragments memory.
  LenientSyncPayload large;
  large.environmentState.emplace().environments.emplace().push_back(
      {UUID::random(), "Large", std::vector<std::string>(200'000, "https://api.example.com"), ""});
  const std::string broken = encodeRecord(large) + "]";
  for (int round = 0; round < rounds; ++round) {
    app.sends(CompanionMessageType::syncFull, large);
    app.sendBody(encodeEnvelope(CompanionMessage{CompanionMessageType::syncFull, Bytes{broken}, Date::now()},
                                DateEpoch::Unix1970));
    const auto name = "round " + std::to_string(round);
    app.sends(CompanionMessageType::eventLog, entry(name));
    ASSERT_TRUE(lastEntryIs(server, name));
    EXPECT_THAT(server.call("wyvlet_status"), HasSubstr("\nEnvironments: 1 (active: none)\n"));
    app.sends(CompanionMessageType::syncFull, LenientSyncPayload{});
    ASSERT_TRUE(eventually([&] { return server.call("wyvlet_get_app_logs") == "No log entries."; }));
  }
  EXPECT_TRUE(returnsTo(before, server.process().pid(), 0));
  report(std::to_string(rounds) + " large syncs and as many broken ones", before,
         Footprint::of(server.process().pid()));
}

TEST(Soak, AStormOfHTTPClients) {
  const int clients = timesAsMuch(100);
  Server server;
  ASSERT_TRUE(waitForPort(8686));
  server.request("ping");
  const auto before = Footprint::of(server.process().pid());
  std::atomic<int> good = 0;
  std::atomic<int> next = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 64; ++i) {
    threads.emplace_back([&] {
      while (next++ < clients) {
        const auto answer = httpExchange("GET /status HTTP/1.1\r\nHost: localhost\r\n\r\n");
        if (answer.starts_with("HTTP/1.1 200 OK\r\n") && answer.ends_with("}")) ++good;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(clients, good);
  EXPECT_TRUE(returnsTo(before, server.process().pid(), 0));
  report(std::to_string(clients) + " HTTP clients, 64 at once", before,
         Footprint::of(server.process().pid()));
}

TEST(Soak, ExhaustedDescriptorsDoNotStopTheAgent) {
  Server server;
  ScriptedApp app;
  server.connect();
  ASSERT_TRUE(waitForPort(8686));
  // Once with descriptors to spare: the undefined-behaviour sanitizer probes an object's memory with a pipe
  // of its own when it meets a type for the first time, and without descriptors takes the object for a wrong
  // one.
  const auto allGoesOn = [&](const std::string& message) {
    app.sends(CompanionMessageType::eventLog, entry(message));
    EXPECT_TRUE(lastEntryIs(server, message));
    EXPECT_NE("", server.call("list_sims"));
    EXPECT_EQ("No crash log found. The app may not have crashed, or the crash handler was not installed.",
              server.call("wyvlet_get_crash_log"));
  };
  allGoesOn("before");
  const auto used = static_cast<rlim_t>(Footprint::of(server.process().pid()).descriptors);
  const rlimit narrow{used + 2, used + 2};
  ASSERT_EQ(0, ::prlimit(server.process().pid(), RLIMIT_NOFILE, &narrow, nullptr));

  std::vector<std::unique_ptr<CompanionConnection>> silent;
  for (int i = 0; i < 8; ++i) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(8686);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    silent.push_back(std::make_unique<CompanionConnection>(fd));
  }
  allGoesOn("still here");
  silent.clear();
  EXPECT_THAT(httpExchange("GET /status HTTP/1.1\r\n\r\n"), HasSubstr("\"status\":\"ok\""));
}

TEST(Soak, AFullDiskNeverLeavesHalfABaseline) {
  const auto home = homeDirectoryOfTest();
  const std::string folder = home + "/.wyvletqa";
  std::filesystem::create_directories(folder);
  ASSERT_EQ(0, ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k"));
  Server server;
  ScriptedApp app;
  const std::string small = "\x89PNG small";
  const std::string large(200000, 'p');
  app.answerWith("command.requestScreenshot", "response.screenshot",
                 ScreenshotResponse{"Home", encodeBase64(small)});
  server.connect();
  EXPECT_THAT(server.call("wyvlet_visual_check", {{"save_baseline", true}}),
              StartsWith("Baseline saved for screen \"Home\""));
  app.answerWith("command.requestScreenshot", "response.screenshot",
                 ScreenshotResponse{"Home", encodeBase64(large)});
  EXPECT_THAT(server.call("wyvlet_visual_check", {{"save_baseline", true}}),
              StartsWith("Baseline saved for screen \"Home\""));

  std::vector<std::string> files;
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder)) {
    if (file.is_regular_file()) files.push_back(file.path().filename());
  }
  EXPECT_THAT(files, testing::ElementsAre("Home.png"));
  std::ifstream baseline(folder + "/baselines/unknown/Home.png", std::ios::binary);
  EXPECT_EQ(small, std::string(std::istreambuf_iterator<char>(baseline), {}));
}

TEST(Soak, AClockThatJumpsMovesNoDeadline) {
  const std::string offset = "/tmp/clock-offset";
  std::ofstream(offset) << "0";
  Server server({.environment = {{"LD_PRELOAD", WYVLET_JUMPING_CLOCK_PATH},
                                 {"WYVLET_CLOCK_OFFSET_FILE", offset},
                                 {"ASAN_OPTIONS", "verify_asan_link_order=0"}}});
  ScriptedApp app;
  server.connect();
  for (const char* jump : {"86400", "-86400"}) {
    const auto begin = std::chrono::steady_clock::now();
    std::thread jumping([&] {
      ASSERT_TRUE(app.waitForCommand("command.screenText"));  // the request is under way, unanswered
      std::ofstream(offset) << jump;
    });
    EXPECT_EQ("Screen text timed out", server.call("wyvlet_screen_text"));
    jumping.join();
    const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited.count(), 2.9);
    EXPECT_LT(waited.count(), 20);
  }
}

}  // namespace
}  // namespace wyvlet::test
