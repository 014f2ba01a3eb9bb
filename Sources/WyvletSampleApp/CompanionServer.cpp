#include "WyvletSampleApp/CompanionServer.h"

#include <utility>

#include "Support/Threads.h"
#include "WyvletShared/CompanionMessage.h"

namespace wyvlet::sample {
namespace {

constexpr double kHeartbeatSeconds = 15;
/// Servers delete the marker after they have ended a link, so a look right after the end is too early.
constexpr double kMarkerSeconds = 0.25;

std::shared_ptr<const std::string> bodyOf(const CompanionMessage& message) {
  return std::make_shared<const std::string>(encodeEnvelope(message, DateEpoch::Unix1970));
}

}  // namespace

CompanionServer::CompanionServer(AppLoop& loop, Probe& probe, const AppModel& app, CommandHandler& commands,
                                 MarkerFile marker)
    : loop_(loop), probe_(probe), app_(app), commands_(commands), marker_(std::move(marker)) {
  probe_.connect(
      [this](const CompanionMessage& message) {
        if (!links_.empty()) sendToAll(bodyOf(message));
      },
      [this] { syncSoon(); });
}

CompanionServer::~CompanionServer() {
  probe_.connect({}, {});
  if (listener_) listener_->shutdown();
  if (acceptor_.joinable()) acceptor_.join();
  links_.clear();
}

Result<std::uint16_t> CompanionServer::listen(std::uint16_t port, bool loopbackOnly) {
  auto listener = CompanionListener::listen(port, loopbackOnly);
  if (!listener) return Failure{listener.reason()};
  listener_ = std::move(*listener);
  acceptor_ = std::thread([this] { accept(); });
  watchMarker();
  beat();
  return listener_->port();
}

void CompanionServer::accept() {
  nameThread("sample-accept");
  while (auto connection = listener_->accept()) {
    // A task can be copied, a connection cannot.
    auto handed = std::make_shared<std::unique_ptr<CompanionConnection>>(std::move(connection));
    loop_.post([this, handed] { adopt(std::move(*handed)); });
  }
}

void CompanionServer::adopt(std::unique_ptr<CompanionConnection> connection) {
  const std::uint64_t id = nextLink_++;
  CompanionLink::Callbacks callbacks;
  callbacks.received = [this, id](ReceivedMessage message) {
    // Waiting for the loop keeps a server that floods the app at the app's pace.
    loop_.call([this, id, message = std::move(message)] {
      commands_.handle(message, [this, id](std::string body) {
        const auto link = links_.find(id);
        if (link != links_.end()) link->second->send(std::make_shared<const std::string>(std::move(body)));
      });
      return true;
    });
  };
  callbacks.ended = [this, id] { loop_.post([this, id] { forget(id); }); };
  auto link = std::make_unique<CompanionLink>(std::move(connection), std::move(callbacks));
  link->send(syncBody());
  links_.emplace(id, std::move(link));
}

void CompanionServer::forget(std::uint64_t link) {
  links_.erase(link);
  marker_.ensure();
}

void CompanionServer::sendToAll(const std::shared_ptr<const std::string>& body) {
  for (const auto& [id, link] : links_) link->send(body);
}

std::shared_ptr<const std::string> CompanionServer::syncBody() const {
  return bodyOf(CompanionMessage::make(CompanionMessageType::syncFull, probe_.fullSync(app_.screen()),
                                       DateEpoch::Unix1970));
}

void CompanionServer::syncSoon() {
  // Several changes in one turn of the loop are one sync.
  if (std::exchange(syncDue_, true)) return;
  loop_.post([this] {
    syncDue_ = false;
    if (!links_.empty()) sendToAll(syncBody());
  });
}

void CompanionServer::dropLinks() {
  for (const auto& [id, link] : links_) link->end();
}

bool CompanionServer::isDrained() const {
  for (const auto& [id, link] : links_) {
    if (!link->isDrained()) return false;
  }
  return true;
}

void CompanionServer::watchMarker() {
  if (links_.empty()) marker_.ensure();
  loop_.after(kMarkerSeconds, [this] { watchMarker(); });
}

void CompanionServer::beat() {
  if (!links_.empty()) {
    sendToAll(bodyOf({CompanionMessageType::heartbeat, Bytes{"{}"}, Date::now()}));
  }
  loop_.after(kHeartbeatSeconds, [this] { beat(); });
}

}  // namespace wyvlet::sample
