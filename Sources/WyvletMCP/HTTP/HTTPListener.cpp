#include "HTTP/HTTPListener.h"

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

namespace wyvlet {
namespace {

constexpr std::size_t kReadBytes = 65536;
constexpr long long kLongestPollMilliseconds = 3'600'000;

/// Where the descriptors that are always polled stand in the list; the connections follow.
constexpr std::size_t kWakeAt = 0;
constexpr std::size_t kListenerAt = 1;
constexpr std::size_t kConnectionsAt = 2;

/// Whether a failed accept has taken the failed connection out of the backlog.
bool concernsOneConnection(int error) { return error == ECONNABORTED || error == EPROTO || error == EINTR; }

}  // namespace

HTTPListener::HTTPListener(Handler handler) : HTTPListener(std::move(handler), Limits()) {}

HTTPListener::HTTPListener(Handler handler, Limits limits)
    : handler_(std::move(handler)),
      limits_(limits),
      buffer_(kReadBytes),
      workers_(limits.answering, limits.idleWorkerLife) {}

HTTPListener::~HTTPListener() = default;

void HTTPListener::stop() {
  stopping_ = true;
  wakePipe_.wake();
}

void HTTPListener::serve(Descriptor listeningSocket) {
  listening_ = std::move(listeningSocket);
  now_ = std::chrono::steady_clock::now();
  while (!stopping_) {
    std::erase_if(connections_, [](const auto& c) { return c->stage() == HTTPConnection::Stage::Closed; });
    admitLargeRequests();
    waitForEvents(preparePoll());
    handleEvents();
  }
  listening_.close();
}

bool HTTPListener::isHeldBack(const HTTPConnection& connection) const {
  return connection.stage() == HTTPConnection::Stage::Reading && !connection.mayBeLarge() &&
         connection.request().size() >= limits_.smallRequest;
}

void HTTPListener::admitLargeRequests() {
  auto admitted = static_cast<std::size_t>(
      std::ranges::count_if(connections_, [](const auto& c) { return c->mayBeLarge(); }));
  for (const auto& connection : connections_) {
    if (admitted >= limits_.largeRequests) return;
    if (!isHeldBack(*connection)) continue;
    connection->allowLarge(now_);
    ++admitted;
  }
}

HTTPListener::Time HTTPListener::preparePoll() {
  const bool acceptsNow = !isCrowded() && now_ >= acceptAgain_;
  auto until = !isCrowded() && !acceptsNow ? acceptAgain_ : Time::max();
  // A negative descriptor is one that poll leaves out.
  polled_.clear();
  polled_.push_back({wakePipe_.readEnd.fd(), POLLIN, 0});
  polled_.push_back({acceptsNow ? listening_.fd() : -1, POLLIN, 0});
  for (const auto& connection : connections_) {
    if (connection->stage() == HTTPConnection::Stage::Answering || isHeldBack(*connection)) {
      polled_.push_back({-1, 0, 0});
      continue;
    }
    polled_.push_back({connection->fd(), connection->awaitedEvents(), 0});
    until = std::min(until, connection->deadline(isCrowded()));
  }
  return until;
}

void HTTPListener::waitForEvents(Time until) {
  int milliseconds = -1;
  if (until != Time::max()) {
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - now_).count();
    milliseconds = static_cast<int>(std::clamp<long long>(wait, 0, kLongestPollMilliseconds));
  }
  // A poll that failed has brought no events, and the deadlines are still looked at.
  const bool failed = ::poll(polled_.data(), static_cast<nfds_t>(polled_.size()), milliseconds) < 0;
  if (failed && errno != EINTR) std::this_thread::sleep_for(limits_.shortagePause);
  now_ = std::chrono::steady_clock::now();
}

void HTTPListener::handleEvents() {
  for (std::size_t i = kConnectionsAt; i < polled_.size(); ++i) {
    advance(*connections_[i - kConnectionsAt], polled_[i].revents != 0);
  }
  if (polled_[kWakeAt].revents != 0) handleAnswers();
  // Last, because it adds connections that were not polled.
  if (polled_[kListenerAt].revents != 0) acceptConnections();
}

void HTTPListener::advance(HTTPConnection& connection, bool isReady) {
  if (connection.stage() == HTTPConnection::Stage::Answering || isHeldBack(connection)) return;
  if (isReady) connection.proceed(now_, buffer_);
  if (now_ >= connection.deadline(isCrowded())) connection.expire();
  if (connection.stage() == HTTPConnection::Stage::Answering) answer(connection);
}

void HTTPListener::acceptConnections() {
  while (!isCrowded() && now_ >= acceptAgain_) {
    auto socket = acceptConnection(listening_.fd());
    if (!socket) {
      if (errno == EAGAIN || errno == EWOULDBLOCK) return;
      // Out of descriptors, most likely. No event tells when there are some again, and the client
      // that still waits keeps the listening socket readable.
      if (!concernsOneConnection(errno)) acceptAgain_ = now_ + limits_.shortagePause;
      continue;
    }
    connections_.push_back(std::make_unique<HTTPConnection>(std::move(socket), limits_.patience, now_));
    // The request is mostly there already.
    advance(*connections_.back(), true);
  }
}

void HTTPListener::answer(HTTPConnection& connection) {
  const auto& request = connection.request();
  if (handler_.respondsAtOnce(request)) {
    connection.respond(handler_.respond(request), now_);
    return;
  }
  workers_.submit([this, &connection] {
    Answer made{&connection, handler_.respond(connection.request())};
    {
      MutexLock lock(mutex_);
      answers_.push_back(std::move(made));
    }
    wakePipe_.wake();
  });
}

void HTTPListener::handleAnswers() {
  wakePipe_.clear();
  std::vector<Answer> made;
  {
    MutexLock lock(mutex_);
    made.swap(answers_);
  }
  for (auto& answer : made) answer.connection->respond(std::move(answer.response), now_);
}

}  // namespace wyvlet
