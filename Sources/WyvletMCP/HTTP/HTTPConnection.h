#pragma once

#include <chrono>
#include <span>
#include <string>

#include "HTTP/HTTPRequest.h"
#include "HTTP/Socket.h"

namespace wyvlet {

/// How long one client is waited for.
struct HTTPPatience {
  using Duration = std::chrono::steady_clock::duration;

  Duration silence = std::chrono::seconds(3);   ///< for the first byte
  Duration pause = std::chrono::seconds(1);     ///< between two parts of a request
  Duration request = std::chrono::seconds(10);  ///< for the whole request
  Duration stall = std::chrono::seconds(5);     ///< for the client to take some of its answer
  Duration answer = std::chrono::seconds(60);   ///< for the client to take all of it
  Duration drain = std::chrono::seconds(1);     ///< for the client's end after its answer
  /// In place of `silence` and `drain` when every place is taken.
  Duration crowded = std::chrono::milliseconds(250);
};

/// One client's connection, from accept to close. It carries one request and one answer:
///
///     Reading -> Answering -> Sending -> Draining -> Closed
///
/// Never blocks. Belongs to the network thread, which calls `proceed` when the awaited event has come
/// and `expire` when the deadline has passed; while Answering it stands still, and one worker may read
/// its request.
class HTTPConnection {
 public:
  using Time = std::chrono::steady_clock::time_point;
  enum class Stage { Reading, Answering, Sending, Draining, Closed };

  /// `patience` outlives the connection.
  HTTPConnection(Descriptor socket, const HTTPPatience& patience, Time now);

  Stage stage() const { return stage_; }
  int fd() const { return socket_.fd(); }
  const HTTPRequest& request() const { return request_; }

  /// What to poll for; not to be asked while Answering.
  short awaitedEvents() const;

  /// When `expire` is due. `crowded` is whether others may be waiting for this one's place.
  Time deadline(bool crowded) const;

  /// Receives or sends what is possible now. `buffer` is scratch space.
  void proceed(Time now, std::span<char> buffer);

  /// Goes on without what did not come: answers what has come of a request, or gives the client up.
  void expire();

  /// A request that has grown large may be held back, unread and without a deadline, until the memory
  /// for it is there; then it gets its time anew.
  bool mayBeLarge() const { return mayBeLarge_; }
  void allowLarge(Time now);

  /// Begins to send the answer, which ends the stage Answering. The request is forgotten.
  void respond(std::string response, Time now);

 private:
  void receive(Time now, std::span<char> buffer);
  void sendRest(Time now);
  void drain(std::span<char> buffer);

  Descriptor socket_;
  const HTTPPatience& patience_;
  Stage stage_ = Stage::Reading;
  Time stageBegan_;
  Time lastProgress_;
  HTTPRequest request_;
  bool continueSent_ = false;
  bool mayBeLarge_ = false;
  std::string response_;
  std::size_t sent_ = 0;
};

}  // namespace wyvlet
