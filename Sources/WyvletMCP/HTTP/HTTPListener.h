#pragma once

#include <poll.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "HTTP/HTTPConnection.h"
#include "HTTP/Socket.h"
#include "HTTP/WorkerPool.h"
#include "Support/Mutex.h"

namespace wyvlet {

/// Serves the connections of one listening socket.
///
/// One network thread accepts, reads, sends and drains all of them without ever blocking on a client,
/// so that one which says nothing, trickles or does not read costs the others nothing. It does not
/// answer either, unless that takes no time: answers are made by workers, which may block for as long
/// as the app or a device command does.
class HTTPListener {
 public:
  struct Handler {
    /// The whole response to a request. Called by workers, several at a time; must not throw.
    std::function<std::string(const HTTPRequest&)> respond;
    /// Whether `respond` waits for nothing with this request, so that the network thread may call it.
    std::function<bool(const HTTPRequest&)> respondsAtOnce;
  };

  struct Limits {
    std::size_t answering = 64;  ///< requests answered at the same time; further ones wait their turn
    std::size_t open = 128;      ///< connections accepted at the same time; the rest stay in the backlog
    /// Requests may grow beyond `smallRequest` bytes only `largeRequests` at a time; further ones are
    /// read on when their turn comes. This bounds the memory that clients can fill.
    std::size_t smallRequest = std::size_t{1} << 20;
    std::size_t largeRequests = 4;
    HTTPPatience patience;
    HTTPPatience::Duration idleWorkerLife = std::chrono::seconds(10);
    HTTPPatience::Duration shortagePause = std::chrono::milliseconds(100);  ///< when the system runs short
  };

  explicit HTTPListener(Handler handler);
  HTTPListener(Handler handler, Limits limits);
  /// To be destroyed after `serve` has returned. Waits for the answers being made.
  ~HTTPListener();

  /// Whether the system gave what `serve` needs.
  bool isUsable() const { return static_cast<bool>(wakePipe_.readEnd); }

  /// Serves until `stop`, on the calling thread, which becomes the network thread.
  void serve(Descriptor listeningSocket);

  /// Makes `serve` return soon; any thread, also before `serve`.
  void stop();

 private:
  using Time = HTTPConnection::Time;
  struct Answer {
    HTTPConnection* connection;
    std::string response;
  };

  bool isCrowded() const { return connections_.size() >= limits_.open; }
  bool isHeldBack(const HTTPConnection& connection) const;
  void admitLargeRequests();
  /// Fills `polled_`, a row for each connection in order, and returns the earliest deadline.
  Time preparePoll();
  void waitForEvents(Time until);
  void handleEvents();
  void handleAnswers() EXCLUDES(mutex_);
  void acceptConnections();
  void advance(HTTPConnection& connection, bool isReady);
  void answer(HTTPConnection& connection) EXCLUDES(mutex_);

  const Handler handler_;
  const Limits limits_;
  const WakePipe wakePipe_;
  std::atomic<bool> stopping_ = false;

  // The network thread's own.
  Descriptor listening_;
  Time now_;
  Time acceptAgain_;
  std::vector<std::unique_ptr<HTTPConnection>> connections_;
  std::vector<pollfd> polled_;
  std::vector<char> buffer_;

  Mutex mutex_;
  std::vector<Answer> answers_ GUARDED_BY(mutex_);

  // Last, so that its workers are gone before the connections whose requests they read.
  WorkerPool workers_;
};

}  // namespace wyvlet
