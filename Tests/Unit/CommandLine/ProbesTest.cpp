#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "CommandLine/Probes.h"
#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/FullSync.h"

namespace wyvlet {
namespace {

constexpr double kPatience = 30.0;

/// An app that says what `speak` makes it say to the first server that comes.
class SpeakingApp {
 public:
  template <class Speak>
  explicit SpeakingApp(Speak speak)
      : listener_(*CompanionListener::listen(0)), thread_([this, speak] {
          if (const auto connection = listener_->accept()) speak(*connection);
        }) {}
  ~SpeakingApp() {
    listener_->shutdown();
    thread_.join();
  }
  AppAddress address() const { return {"127.0.0.1", listener_->port()}; }

 private:
  std::unique_ptr<CompanionListener> listener_;
  std::thread thread_;
};

/// A port that nobody listens on and nobody else is given.
class ReservedPort {
 public:
  ReservedPort() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    const int on = 1;
    ::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(0, ::bind(socket_, reinterpret_cast<sockaddr*>(&address), size));
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    number = ntohs(address.sin_port);
  }
  ~ReservedPort() { ::close(socket_); }

  std::uint16_t number = 0;

 private:
  int socket_;
};

/// A web server that reads one request and gives one answer.
class AnsweringServer {
 public:
  explicit AnsweringServer(std::string answer) : listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(0, ::bind(listener_, reinterpret_cast<sockaddr*>(&address), size));
    EXPECT_EQ(0, ::listen(listener_, 1));
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
    thread_ = std::thread([this, answer = std::move(answer)] {
      const int fd = ::accept(listener_, nullptr, nullptr);
      char byte = 0;
      while (!request.ends_with("\r\n\r\n") && ::recv(fd, &byte, 1, 0) == 1) request += byte;
      ::send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
      ::close(fd);
    });
  }
  ~AnsweringServer() {
    thread_.join();
    ::close(listener_);
  }

  std::uint16_t port = 0;
  std::string request;  // complete once the answer was read

 private:
  int listener_;
  std::thread thread_;
};

CompanionMessage syncOf(const LenientSyncPayload& payload) {
  return CompanionMessage::make(CompanionMessageType::syncFull, payload, DateEpoch::Unix1970);
}

TEST(ProbeApp, NamesTheAppThatSyncs) {
  LenientSyncPayload sync;
  sync.appName = "Travel";
  sync.appVersion = "2.1";
  sync.deviceName = "iPhone 15";
  SpeakingApp app([&](CompanionConnection& link) { link.send(syncOf(sync)); });
  const auto probe = probeApp(app.address(), kPatience);
  EXPECT_TRUE(probe.connected);
  EXPECT_TRUE(probe.synced);
  EXPECT_EQ("Travel 2.1 on iPhone 15", probe.description);
}

TEST(ProbeApp, AppWithoutANameAfterOtherMessages) {
  SpeakingApp app([](CompanionConnection& link) {
    link.sendBytes(std::string_view("\0\0\0\0", 4));
    link.sendBody("junk");
    link.send(RawMessage{"hello", {}, {}});
    link.send(syncOf({}));
  });
  const auto probe = probeApp(app.address(), kPatience);
  EXPECT_TRUE(probe.synced);
  EXPECT_EQ("An app", probe.description);
}

TEST(ProbeApp, SyncThatCannotBeRead) {
  SpeakingApp app([](CompanionConnection& link) {
    link.send(CompanionMessage{CompanionMessageType::syncFull, Bytes{"[]"}, {}});
  });
  const auto probe = probeApp(app.address(), kPatience);
  EXPECT_TRUE(probe.connected);
  EXPECT_FALSE(probe.synced);
  EXPECT_TRUE(probe.description.starts_with("its full sync cannot be read: ")) << probe.description;
}

TEST(ProbeApp, LinkThatClosesAtOnce) {
  SpeakingApp app([](CompanionConnection&) {});
  const auto probe = probeApp(app.address(), kPatience);
  EXPECT_TRUE(probe.connected);
  EXPECT_FALSE(probe.synced);
  EXPECT_EQ("closed the connection before it sent a full sync", probe.description);
}

TEST(ProbeApp, SilentApp) {
  SpeakingApp app([](CompanionConnection& link) { link.receive(); });
  const auto probe = probeApp(app.address(), 0.05);
  EXPECT_TRUE(probe.connected);
  EXPECT_FALSE(probe.synced);
  EXPECT_EQ("sent no full sync within 0 s", probe.description);
}

TEST(ProbeApp, AppThatNeverStopsSendingOtherThings) {
  SpeakingApp app([](CompanionConnection& link) {
    const auto body = encodeEnvelope(RawMessage{"noise", {}, {}});
    while (link.sendBody(body)) continue;
  });
  EXPECT_FALSE(probeApp(app.address(), 0.05).synced);
}

TEST(ProbeApp, NobodyThere) {
  const ReservedPort port;
  const auto probe = probeApp({"127.0.0.1", port.number}, kPatience);
  EXPECT_FALSE(probe.connected);
  EXPECT_EQ("Connection refused", probe.description);
}

TEST(StatusAnswer, RecognisesOurServer) {
  using State = HTTPPortProbe::State;
  const auto answer = [](std::string_view body) {
    return statusAnswer("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n" + std::string(body));
  };
  EXPECT_EQ(State::OurServer, answer(R"({"server":"WyvletMCP","wyvletConnected":true})").state);
  EXPECT_TRUE(answer(R"({"server":"WyvletMCP","wyvletConnected":true})").appIsConnected);
  EXPECT_FALSE(answer(R"({"server":"WyvletMCP","wyvletConnected":false})").appIsConnected);
  EXPECT_FALSE(answer(R"({"server":"WyvletMCP","wyvletConnected":1})").appIsConnected);
  EXPECT_FALSE(answer(R"({"server":"WyvletMCP"})").appIsConnected);
  EXPECT_EQ(State::Taken, answer(R"({"server":"other","wyvletConnected":true})").state);
  EXPECT_EQ(State::Taken, answer(R"({"server":5})").state);
  EXPECT_EQ(State::Taken, answer("[]").state);
  EXPECT_EQ(State::Taken, answer("<html>").state);
  EXPECT_EQ(State::Taken, answer("").state);
  EXPECT_EQ(State::Taken, statusAnswer("").state);
  EXPECT_EQ(State::Taken, statusAnswer("220 mail.example.com\r\n").state);
}

TEST(ProbeHTTPPort, FreePortStaysFree) {
  const ReservedPort port;
  EXPECT_EQ(HTTPPortProbe::State::Free, probeHTTPPort("127.0.0.1", port.number, kPatience).state);
  EXPECT_EQ(HTTPPortProbe::State::Free, probeHTTPPort("127.0.0.1", port.number, kPatience).state);
}

TEST(ProbeHTTPPort, AnotherProgramHasIt) {
  AnsweringServer other("HTTP/1.1 404 Not Found\r\n\r\nwhat?");
  EXPECT_EQ(HTTPPortProbe::State::Taken, probeHTTPPort("127.0.0.1", other.port, kPatience).state);
}

TEST(ProbeHTTPPort, ASilentProgramHasIt) {
  SpeakingApp other([](CompanionConnection& link) { link.receive(); });
  EXPECT_EQ(HTTPPortProbe::State::Taken, probeHTTPPort("127.0.0.1", other.address().port, 0.05).state);
}

TEST(ProbeHTTPPort, OurServerHasIt) {
  AnsweringServer server("HTTP/1.1 200 OK\r\n\r\n{\"server\":\"WyvletMCP\",\"wyvletConnected\":true}");
  const auto probe = probeHTTPPort("127.0.0.1", server.port, kPatience);
  EXPECT_EQ("GET /status HTTP/1.1\r\nHost: localhost\r\n\r\n", server.request);
  EXPECT_EQ(HTTPPortProbe::State::OurServer, probe.state);
  EXPECT_TRUE(probe.appIsConnected);
}

TEST(ProbeHTTPPort, AddressThatIsNone) {
  const auto probe = probeHTTPPort("localhost", 8686, kPatience);
  EXPECT_EQ(HTTPPortProbe::State::Unusable, probe.state);
  EXPECT_EQ("WYVLET_HTTP_HOST is not an IP address: localhost", probe.problem);
}

TEST(ProbeHTTPPort, AddressThatIsNotOurs) {
  const auto probe = probeHTTPPort("192.0.2.1", 8686, kPatience);
  EXPECT_EQ(HTTPPortProbe::State::Unusable, probe.state);
  EXPECT_EQ("Cannot assign requested address", probe.problem);
}

}  // namespace
}  // namespace wyvlet
