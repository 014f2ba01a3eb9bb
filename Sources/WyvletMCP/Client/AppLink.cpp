#include "Client/AppLink.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <atomic>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <exception>
#include <utility>

#include "Client/ClientQueue.h"
#include "Support/Log.h"
#include "WyvletShared/FrameReader.h"

namespace wyvlet {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

/// How long one address may keep the next one waiting. A service that is announced on several
/// networks often has an address that swallows packets; the last address gets the system's patience.
constexpr std::chrono::milliseconds kAttemptPatience{2000};

/// How many bytes may wait behind the frame that is being written: an app that stops reading must not
/// make the server grow for ever.
constexpr std::size_t kMaxWaitingBytes = std::size_t{64} << 20;

/// How long an app may be gone from the network before the link is given up. A phone that leaves the Wi-Fi
/// says nothing, and left alone the system would go on trying for a quarter of an hour.
constexpr int kGoneSeconds = 20;

void giveUpWhenGone(int socket) {
  const auto set = [socket](int level, int name, int value) {
    // Where the system refuses, the link ends later.
    ::setsockopt(socket, level, name, &value, sizeof value);
  };
  constexpr int kProbes = 3;
  constexpr int kProbeSeconds = 3;
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
  set(IPPROTO_TCP, TCP_KEEPINTVL, kProbeSeconds);
  set(IPPROTO_TCP, TCP_KEEPCNT, kProbes);
  constexpr int kIdleSeconds = kGoneSeconds - kProbes * kProbeSeconds;
  // The second of each pair is for while something is under way, when the system does not probe.
#if defined(__APPLE__)
  set(IPPROTO_TCP, TCP_KEEPALIVE, kIdleSeconds);
  set(IPPROTO_TCP, TCP_RXT_CONNDROPTIME, kGoneSeconds);
#else
  set(IPPROTO_TCP, TCP_KEEPIDLE, kIdleSeconds);
  set(IPPROTO_TCP, TCP_USER_TIMEOUT, kGoneSeconds * 1000);
#endif
}

/// Of a run of bad lengths this many are logged one by one and the others in one line, or 50 MB of
/// junk would write twelve million lines.
constexpr std::uint64_t kLoggedBadLengths = 100;

class TCPAppLink final : public AppLink, public std::enable_shared_from_this<TCPAppLink> {
 public:
  TCPAppLink(ClientQueue& queue, Observer& observer, std::vector<AppAddress> addresses)
      : queue_(queue),
        observer_(observer),
        addresses_(std::move(addresses)),
        resolver_(queue.context()),
        socket_(queue.context()),
        attemptTimer_(queue.context()) {}

  void start() {
    queue_.post([self = shared_from_this()] {
      if (self->advance(State::Preparing)) self->resolveNext();
    });
  }

  State state() const override { return state_; }

  void send(std::string frame) override {
    queue_.post(
        [self = shared_from_this(), bytes = std::move(frame)]() mutable { self->enqueue(std::move(bytes)); });
  }

  void cancel() override {
    state_ = State::Cancelled;
    queue_.post([self = shared_from_this()] { self->close(); });
  }

 private:
  bool cancelled() const { return state_ == State::Cancelled; }

  /// Goes on to a state; false once the link has been cancelled, which is final.
  bool advance(State next) {
    State now = state_;
    while (now != State::Cancelled) {
      if (state_.compare_exchange_weak(now, next)) return true;
    }
    return false;
  }

  static void log(std::string_view what, const error_code& error) {
    logLine(kClientTag, std::string(what) + error.message());
  }

  /// Gives back the socket and, since the link may be kept for long, every buffer.
  void close() {
    error_code ignored;
    attemptTimer_.cancel();
    resolver_.cancel();
    socket_.close(ignored);
    reader_ = FrameReader();
    waiting_.clear();
    waitingBytes_ = 0;
  }

  // Connecting: every address becomes one or more endpoints, which are tried in turn.

  void resolveNext() {
    if (nextAddress_ == addresses_.size()) return connectionFailed(lastError_);
    const AppAddress& address = addresses_[nextAddress_++];
    error_code error;
    const auto number = asio::ip::make_address(address.host, error);
    if (!error) {
      endpoints_.assign(1, tcp::endpoint(number, address.port));
      return attemptNext();
    }
    resolver_.async_resolve(
        address.host, std::to_string(address.port), tcp::resolver::numeric_service,
        [self = shared_from_this()](const error_code& failure, const tcp::resolver::results_type& found) {
          if (self->cancelled()) return;
          self->lastError_ = failure;
          self->endpoints_.clear();
          for (const auto& entry : found) self->endpoints_.push_back(entry.endpoint());
          self->attemptNext();
        });
  }

  void attemptNext() {
    if (endpoints_.empty()) return resolveNext();
    const auto endpoint = endpoints_.front();
    endpoints_.pop_front();
    error_code error;
    socket_.close(error);
    socket_.open(endpoint.protocol(), error);
    if (error) {
      lastError_ = error;
      return attemptNext();
    }
    ::fcntl(socket_.native_handle(), F_SETFD, FD_CLOEXEC);
    socket_.set_option(tcp::no_delay(true), error);
    giveUpWhenGone(socket_.native_handle());
    const bool isLast = endpoints_.empty() && nextAddress_ == addresses_.size();
    if (!isLast) {
      attemptTimer_.expires_after(kAttemptPatience);
      attemptTimer_.async_wait([self = shared_from_this(), attempt = attempt_](const error_code& stopped) {
        error_code ignored;
        if (!stopped && self->attempt_ == attempt) self->socket_.close(ignored);
      });
    }
    socket_.async_connect(
        endpoint, [self = shared_from_this()](const error_code& failure) { self->attempted(failure); });
  }

  void attempted(error_code error) {
    if (cancelled()) return;
    ++attempt_;
    attemptTimer_.cancel();
    if (!error && connectedToItself()) error = asio::error::connection_refused;
    if (!error && !socket_.is_open()) error = asio::error::timed_out;
    if (error) {
      lastError_ = error == asio::error::operation_aborted ? asio::error::timed_out : error;
      return attemptNext();
    }
    if (!advance(State::Ready)) return;
    logLine(kClientTag, "Connected!");
    observer_.linkIsReady(*this);
    writeNext();
    readMore();
  }

  /// A port in the ephemeral range on which nobody listens can be answered by the very socket that
  /// knocks. Such a link would keep the app from ever taking its port.
  bool connectedToItself() const {
    error_code error;
    const auto local = socket_.local_endpoint(error);
    return !error && local == socket_.remote_endpoint(error) && !error;
  }

  void connectionFailed(const error_code& error) {
    if (!advance(State::Failed)) return;
    log("Connection failed: ", error);
    loseWaiting(error);
    close();
    observer_.linkIsDown(*this);
  }

  // Reading: straight into the frame reader's buffer, as much as the network has.

  void readMore() {
    const auto space = reader_.writableSpace();
    socket_.async_read_some(asio::buffer(space.data(), space.size()),
                            [self = shared_from_this()](const error_code& error, std::size_t count) {
                              self->arrived(error, count);
                            });
  }

  void arrived(const error_code& error, std::size_t count) {
    if (cancelled()) return;
    if (error) return streamEnded(error);
    try {
      reader_.wrote(count);
      for (auto item = reader_.next(); item.kind != FrameReader::Kind::NeedMore; item = reader_.next()) {
        if (item.kind == FrameReader::Kind::Frame) {
          endBadRun();
          observer_.frameArrived(*this, item.body);
        } else {
          noteBadLength(item.length);
        }
        if (cancelled()) return;
      }
      readMore();
    } catch (const std::exception&) {
      // Nothing is thrown here but for want of memory: it may cost the link, never the server.
      streamEnded(make_error_code(boost::system::errc::not_enough_memory));
    }
  }

  void streamEnded(const error_code& error) {
    endBadRun();
    const bool insideBody = reader_.insideBody();
    if (insideBody) {
      if (!advance(State::Failed)) return;
      log("Body error: ", error);
    } else if (error == asio::error::eof) {
      // Closed by the app in good order; there is nothing left to say on this link.
      if (!advance(State::Cancelled)) return;
      logLine(kClientTag, "Connection closed");
    } else {
      if (!advance(State::Failed)) return;
      log("Header error: ", error);
    }
    if (state_ == State::Failed) loseWaiting(error);
    close();
    if (!insideBody) observer_.linkIsDown(*this);
  }

  void noteBadLength(std::uint32_t length) {
    if (++badLengths_ > kLoggedBadLengths) return;
    logLine(kClientTag, "Bad length: " + std::to_string(length) + ", skipping");
  }

  void endBadRun() {
    if (badLengths_ > kLoggedBadLengths) {
      logLine(kClientTag,
              "Bad length: " + std::to_string(badLengths_ - kLoggedBadLengths) + " more in a row, skipped");
    }
    badLengths_ = 0;
  }

  // Writing: one frame at a time, the others wait in line.

  void enqueue(std::string frame) {
    if (cancelled()) return;
    if (state_ == State::Failed) return log("Send error: ", asio::error::not_connected);
    if (sendError_) return log("Send error: ", sendError_);
    const bool isFull = !waiting_.empty() && waitingBytes_ + frame.size() > kMaxWaitingBytes;
    if (isFull) return log("Send error: ", asio::error::no_buffer_space);
    waitingBytes_ += frame.size();
    waiting_.push_back(std::move(frame));
    writeNext();
  }

  void writeNext() {
    if (isWriting_ || waiting_.empty() || state_ != State::Ready) return;
    isWriting_ = true;
    asio::async_write(
        socket_, asio::buffer(waiting_.front()),
        [self = shared_from_this()](const error_code& error, std::size_t) { self->wrote(error); });
  }

  void wrote(const error_code& error) {
    isWriting_ = false;
    if (state_ != State::Ready) return;
    if (error) {
      // Part of the frame may be out: whatever followed would be read as its rest.
      sendError_ = error;
      return loseWaiting(error);
    }
    waitingBytes_ -= waiting_.front().size();
    waiting_.pop_front();
    writeNext();
  }

  void loseWaiting(const error_code& error) {
    for (std::size_t i = 0; i < waiting_.size(); ++i) log("Send error: ", error);
    waiting_.clear();
    waitingBytes_ = 0;
  }

  ClientQueue& queue_;
  Observer& observer_;
  std::atomic<State> state_{State::Setup};

  // Everything below belongs to the queue.
  const std::vector<AppAddress> addresses_;
  std::size_t nextAddress_ = 0;
  std::deque<tcp::endpoint> endpoints_;  // what the current address came to, not yet tried
  error_code lastError_ = asio::error::host_not_found;
  std::uint64_t attempt_ = 0;
  tcp::resolver resolver_;
  tcp::socket socket_;
  asio::steady_timer attemptTimer_;
  FrameReader reader_;
  std::uint64_t badLengths_ = 0;
  std::deque<std::string> waiting_;  // the first is the one being written
  std::size_t waitingBytes_ = 0;
  error_code sendError_;
  bool isWriting_ = false;
};

}  // namespace

std::shared_ptr<AppLink> AppLink::connect(ClientQueue& queue, Observer& observer,
                                          std::vector<AppAddress> addresses) {
  auto link = std::make_shared<TCPAppLink>(queue, observer, std::move(addresses));
  link->start();
  return link;
}

std::string_view stateText(AppLink::State state) {
  switch (state) {
    case AppLink::State::Setup: return "setup";
    case AppLink::State::Preparing: return "preparing";
    case AppLink::State::Ready: return "ready";
    case AppLink::State::Failed: return "failed";
    case AppLink::State::Cancelled: return "cancelled";
  }
  return "unknown";
}

}  // namespace wyvlet
