#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet {

class ClientQueue;

/// Where an app may be reached.
struct AppAddress {
  std::string host;  ///< a name, or a number; link-local IPv6 with its scope ("fe80::1%2")
  std::uint16_t port = 0;

  bool operator==(const AppAddress&) const = default;
};

/// One TCP connection to the app, from its first attempt to its end; it never reconnects.
///
///     Setup -> Preparing -> Ready -> Failed       broken; what is sent now is reported as lost
///                               \-> Cancelled    closed, by either side
///
/// Writes its own log lines. A failed attempt goes from Preparing straight to Failed. Every operation
/// may be called from any thread; the observer is called on the queue, and never again once
/// `cancel()` was called before the call began.
class AppLink {
 public:
  enum class State { Setup, Preparing, Ready, Failed, Cancelled };

  class Observer {
   public:
    virtual void linkIsReady(const AppLink& link) = 0;
    /// `body` is valid during the call.
    virtual void frameArrived(const AppLink& link, std::string_view body) = 0;
    /// The attempt failed, or the stream ended between frames. A stream that breaks inside a frame
    /// shows in `state()` alone: peers that die in the middle of a large sync have always been
    /// treated as still connected until the next wait rebuilds the link.
    virtual void linkIsDown(const AppLink& link) = 0;

   protected:
    ~Observer() = default;
  };

  /// Tries the addresses one after the other until one accepts. The observer and the queue outlive
  /// the link; the link lives on by itself while the network works for it.
  static std::shared_ptr<AppLink> connect(ClientQueue& queue, Observer& observer,
                                          std::vector<AppAddress> addresses);
  virtual ~AppLink() = default;

  virtual State state() const = 0;

  /// Sends bytes that are already a frame; frames never mix and keep the order of the calls. Before
  /// the link is ready they wait; on a cancelled one nothing happens. Returns at once.
  virtual void send(std::string frame) = 0;

  /// Closes the link. Returns at once.
  virtual void cancel() = 0;
};

/// "ready", for log lines.
std::string_view stateText(AppLink::State state);

}  // namespace wyvlet
