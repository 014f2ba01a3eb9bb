#include "HTTP/HTTPConnection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "HTTP/HTTPResponse.h"

namespace wyvlet {
namespace {

bool isOnlyNotYet(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

HTTPConnection::HTTPConnection(Descriptor socket, const HTTPPatience& patience, Time now)
    : socket_(std::move(socket)), patience_(patience), stageBegan_(now), lastProgress_(now) {}

short HTTPConnection::awaitedEvents() const { return stage_ == Stage::Sending ? POLLOUT : POLLIN; }

HTTPConnection::Time HTTPConnection::deadline(bool crowded) const {
  switch (stage_) {
    case Stage::Reading:
      if (request_.isEmpty()) return stageBegan_ + (crowded ? patience_.crowded : patience_.silence);
      return std::min(lastProgress_ + patience_.pause, stageBegan_ + patience_.request);
    case Stage::Sending: return std::min(lastProgress_ + patience_.stall, stageBegan_ + patience_.answer);
    case Stage::Draining: return stageBegan_ + (crowded ? patience_.crowded : patience_.drain);
    case Stage::Answering:
    case Stage::Closed: break;
  }
  return Time::max();
}

void HTTPConnection::proceed(Time now, std::span<char> buffer) {
  switch (stage_) {
    case Stage::Reading: receive(now, buffer); break;
    case Stage::Sending: sendRest(now); break;
    case Stage::Draining: drain(buffer); break;
    case Stage::Answering:
    case Stage::Closed: break;
  }
}

void HTTPConnection::expire() {
  const bool answerable = stage_ == Stage::Reading && !request_.isEmpty();
  stage_ = answerable ? Stage::Answering : Stage::Closed;
}

void HTTPConnection::receive(Time now, std::span<char> buffer) {
  const ssize_t count = ::recv(socket_.fd(), buffer.data(), buffer.size(), 0);
  if (count < 0) {
    if (!isOnlyNotYet(errno)) stage_ = Stage::Closed;
    return;
  }
  if (count == 0) {
    // The client's end may be that of its sending side alone, so what has come is answered.
    expire();
    return;
  }
  lastProgress_ = now;
  request_.append({buffer.data(), static_cast<std::size_t>(count)});
  if (request_.isComplete()) {
    stage_ = Stage::Answering;
  } else if (request_.awaitsContinue() && !std::exchange(continueSent_, true)) {
    sendInterim(socket_.fd(), continueResponse());
  }
}

void HTTPConnection::allowLarge(Time now) {
  mayBeLarge_ = true;
  stageBegan_ = lastProgress_ = now;
}

void HTTPConnection::respond(std::string response, Time now) {
  request_ = HTTPRequest();
  mayBeLarge_ = false;
  response_ = std::move(response);
  stage_ = Stage::Sending;
  stageBegan_ = lastProgress_ = now;
  sendRest(now);
}

void HTTPConnection::sendRest(Time now) {
  const ssize_t count = sendBeforeEnd(socket_.fd(), std::string_view(response_).substr(sent_));
  if (count < 0) {
    if (!isOnlyNotYet(errno)) stage_ = Stage::Closed;
    return;
  }
  lastProgress_ = now;
  sent_ += static_cast<std::size_t>(count);
  if (sent_ < response_.size()) return;
  ::shutdown(socket_.fd(), SHUT_WR);
  // Closing while the client still sends would reset the connection, and a reset destroys what the
  // client has not read yet of its answer.
  stage_ = Stage::Draining;
  stageBegan_ = now;
}

void HTTPConnection::drain(std::span<char> buffer) {
  const ssize_t count = ::recv(socket_.fd(), buffer.data(), buffer.size(), 0);
  if (count == 0 || (count < 0 && !isOnlyNotYet(errno))) stage_ = Stage::Closed;
}

}  // namespace wyvlet
