#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "HTTP/HTTPListener.h"
#include "Support/Semaphore.h"
#include "Unit/HTTP/TestClient.h"

namespace wyvlet {
namespace {

using namespace std::chrono_literals;
using test::TestClient;

/// A listener that answers "/quick..." on the network thread and everything else by a worker with
/// "<method> <target> <body>"; "/wait" waits for `letGo` and "/large" answers many bytes.
class HTTPListenerTest : public ::testing::Test {
 protected:
  ~HTTPListenerTest() override {
    if (!listener_) return;
    for (int i = 0; i < 1000; ++i) letGo.signal();
    listener_->stop();
    thread_.join();
  }

  void listen(HTTPListener::Limits limits = {}) {
    listener_ = std::make_unique<HTTPListener>(
        HTTPListener::Handler{
            [this](const HTTPRequest& request) { return respond(request); },
            [](const HTTPRequest& request) { return request.target().starts_with("/quick"); }},
        limits);
    ASSERT_TRUE(listener_->isUsable());
    Descriptor socket(test::listenOnLoopback(port));
    thread_ =
        std::thread([this, socket = std::move(socket)]() mutable { listener_->serve(std::move(socket)); });
  }

  std::string exchange(std::string_view request) {
    TestClient client(port);
    client.send(request);
    return client.receiveAll();
  }

  std::string respond(const HTTPRequest& request) {
    if (request.target() == "/wait") {
      began.signal();
      EXPECT_TRUE(letGo.wait(60));
    }
    if (request.target() == "/large") return std::string(kLargeAnswer, 'a');
    return std::string(request.method()) + " " + std::string(request.target()) + " " +
           std::string(request.body());
  }

  static constexpr std::size_t kLargeAnswer = 20'000'000;
  std::uint16_t port = 0;
  Semaphore began;
  Semaphore letGo;

 private:
  std::unique_ptr<HTTPListener> listener_;
  std::thread thread_;
};

TEST_F(HTTPListenerTest, AnswersOneRequestAConnection) {
  listen();
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));
  EXPECT_EQ("GET /worker {}", exchange("GET /worker HTTP/1.1\r\n\r\n"));
  EXPECT_EQ("POST /x abc", exchange("POST /x HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"));
}

TEST_F(HTTPListenerTest, HeadAndBodyMayComeInSeparateSegments) {
  listen();
  TestClient client(port);
  client.send("POST /x HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 6\r\n\r\n");
  EXPECT_EQ("HTTP/1.1 100 Continue\r\n\r\n", client.receive(25));
  client.send("abc");
  client.send("def");
  EXPECT_EQ("POST /x abcdef", client.receiveAll());
}

TEST_F(HTTPListenerTest, MegabyteBodiesArrive) {
  listen();
  const std::string body(10'000'000, 'b');
  EXPECT_TRUE(exchange("POST /x HTTP/1.1\r\nContent-Length: 10000000\r\n\r\n" + body) == "POST /x " + body);
}

#if defined(__linux__)
TEST_F(HTTPListenerTest, EndOfTheConnectionArrivesWithTheAnswer) {
  listen();
  for (int i = 0; i < 300; ++i) {
    TestClient client(port);
    client.send("GET /quick HTTP/1.1\r\n\r\n");
    EXPECT_EQ("GET /quick {}", client.receive(13));
    // A client that keeps connections for later looks right now whether this one is still good.
    ASSERT_TRUE(client.hasEndedNow()) << "in round " << i;
  }
}
#endif

TEST_F(HTTPListenerTest, AnswerSurvivesWhatTheClientSendsTooMuch) {
  listen();
  for (int i = 0; i < 20; ++i) {
    TestClient client(port);
    client.send("GET /worker HTTP/1.1\r\nContent-Length: 0\r\n\r\n");
    client.send(std::string(300'000, 'x'));
    ASSERT_EQ("GET /worker {}", client.receiveAll());
  }
}

TEST_F(HTTPListenerTest, LargeAnswersArriveWhole) {
  listen();
  EXPECT_TRUE(exchange("GET /large HTTP/1.1\r\n\r\n") == std::string(kLargeAnswer, 'a'));
}

TEST_F(HTTPListenerTest, UnfinishedRequestIsAnsweredAfterAPause) {
  HTTPListener::Limits limits;
  limits.patience.pause = 20ms;
  listen(limits);
  EXPECT_EQ("GET /quick {}", exchange("GET /quick"));
  EXPECT_EQ("POST /x ab", exchange("POST /x HTTP/1.1\r\nContent-Length: 100\r\n\r\nab"));
}

TEST_F(HTTPListenerTest, SilentClientIsDropped) {
  HTTPListener::Limits limits;
  limits.patience.silence = 20ms;
  listen(limits);
  EXPECT_EQ("", TestClient(port).receiveAll());
}

TEST_F(HTTPListenerTest, SilentClientsHoldNobodyUp) {
  HTTPListener::Limits limits;
  limits.open = 4;
  limits.patience.silence = 1h;
  limits.patience.crowded = 10ms;
  listen(limits);
  std::vector<TestClient> silent;
  for (int i = 0; i < 40; ++i) silent.emplace_back(port);
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));
}

TEST_F(HTTPListenerTest, ClientsThatDoNotReadHoldNobodyUp) {
  HTTPListener::Limits limits;
  limits.answering = 1;
  limits.patience.stall = 1h;
  listen(limits);
  std::vector<TestClient> deaf;
  for (int i = 0; i < 5; ++i) {
    deaf.emplace_back(port);
    deaf.back().send("GET /large HTTP/1.1\r\n\r\n");
  }
  EXPECT_EQ("GET /worker {}", exchange("GET /worker HTTP/1.1\r\n\r\n"));
  EXPECT_EQ(kLargeAnswer, deaf.front().receiveAll().size());
}

TEST_F(HTTPListenerTest, ClientThatDoesNotReadIsGivenUp) {
  HTTPListener::Limits limits;
  limits.open = 1;
  limits.patience.stall = 50ms;
  listen(limits);
  TestClient deaf(port);
  deaf.send("GET /large HTTP/1.1\r\n\r\n");
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));
  EXPECT_LT(deaf.receiveAll().size(), kLargeAnswer);
}

TEST_F(HTTPListenerTest, SixtyFourAreAnsweredAtOnceAndTheRestWaitTheirTurn) {
  listen();
  std::vector<TestClient> clients;
  for (int i = 0; i < 70; ++i) {
    clients.emplace_back(port);
    clients.back().send("GET /wait HTTP/1.1\r\n\r\n");
  }
  for (int i = 0; i < 64; ++i) ASSERT_TRUE(began.wait(30)) << i;
  EXPECT_FALSE(began.wait(0.05));
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));
  for (int i = 0; i < 70; ++i) letGo.signal();
  for (auto& client : clients) EXPECT_EQ("GET /wait {}", client.receiveAll());
}

TEST_F(HTTPListenerTest, RequestsBeyondTheOpenOnesWaitInTheBacklog) {
  HTTPListener::Limits limits;
  limits.open = 2;
  limits.patience.crowded = 10ms;  // for the clients that stay after their answer
  listen(limits);
  std::vector<TestClient> clients;
  for (int i = 0; i < 10; ++i) {
    clients.emplace_back(port);
    clients.back().send("GET /wait HTTP/1.1\r\n\r\n");
  }
  for (int i = 0; i < 2; ++i) ASSERT_TRUE(began.wait(30));
  EXPECT_FALSE(began.wait(0.05));
  for (int i = 0; i < 10; ++i) letGo.signal();
  for (auto& client : clients) EXPECT_EQ("GET /wait {}", client.receiveAll());
}

TEST_F(HTTPListenerTest, LargeRequestsTakeTurns) {
  HTTPListener::Limits limits;
  limits.smallRequest = 1000;
  limits.largeRequests = 1;
  limits.patience.pause = 1h;
  limits.patience.request = 1h;
  listen(limits);
  const std::string head = "POST /x HTTP/1.1\r\nContent-Length: 2000\r\n\r\n";
  const std::string half(1000, 'b');

  TestClient first(port);
  first.send(head + half);
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));  // the first has its turn by now
  std::vector<TestClient> others;
  for (int i = 0; i < 5; ++i) {
    others.emplace_back(port);
    others.back().send(head + half + half);
  }
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));
  first.send(half);
  EXPECT_EQ("POST /x " + half + half, first.receiveAll());
  for (auto& client : others) EXPECT_EQ("POST /x " + half + half, client.receiveAll());
}

TEST_F(HTTPListenerTest, ManyClientsAtOnce) {
  listen();
  std::vector<std::thread> clients;
  std::atomic<int> answered = 0;
  for (int i = 0; i < 64; ++i) {
    clients.emplace_back([&, i] {
      for (int round = 0; round < 10; ++round) {
        const auto body = std::to_string(i * 100 + round);
        const std::string target = round % 2 == 0 ? "/quick" : "/worker";
        const auto answer =
            exchange("POST " + target + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                     "\r\n\r\n" + body);
        if (answer == "POST " + target + " " + body) ++answered;
      }
    });
  }
  for (auto& client : clients) client.join();
  EXPECT_EQ(640, answered);
}

TEST_F(HTTPListenerTest, ConnectionsLeaveNoDescriptorBehind) {
  listen();
  EXPECT_EQ("GET /worker {}", exchange("GET /worker HTTP/1.1\r\n\r\n"));
  const auto settles = [](int count) {
    // The server closes a moment after the client; nothing tells when.
    for (int i = 0; i < 3000 && test::openDescriptors() > count; ++i) std::this_thread::sleep_for(1ms);
    return test::openDescriptors() <= count;
  };
  const int before = test::openDescriptors();
  for (int i = 0; i < 100; ++i) {
    exchange(i % 2 == 0 ? "GET /quick HTTP/1.1\r\n\r\n" : "GET /worker HTTP/1.1\r\n\r\n");
    TestClient vanishes(port);
    vanishes.send("GET /wor");
  }
  EXPECT_TRUE(settles(before)) << before << " before, now " << test::openDescriptors();
}

TEST_F(HTTPListenerTest, ServesOnAfterDescriptorsRanOut) {
  listen();
  EXPECT_EQ("GET /quick {}", exchange("GET /quick HTTP/1.1\r\n\r\n"));
  rlimit usual{};
  ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &usual));
  rlimit few = usual;
  few.rlim_cur = 256;
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &few));
  std::vector<Descriptor> taken;
  while (taken.empty() || taken.back()) taken.emplace_back(::dup(0));
  taken.resize(taken.size() - 2);  // the failed one, and one for the client to come

  TestClient client(port);
  client.send("GET /quick HTTP/1.1\r\n\r\n");
  pollfd answer{client.fd(), POLLIN, 0};
  EXPECT_EQ(0, ::poll(&answer, 1, 50));
  taken.clear();
  EXPECT_EQ("GET /quick {}", client.receiveAll());
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &usual));
}

TEST_F(HTTPListenerTest, StopsWithClientsConnected) {
  listen();
  TestClient silent(port);
  TestClient waiting(port);
  waiting.send("GET /wait HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(began.wait(30));
}

}  // namespace
}  // namespace wyvlet
