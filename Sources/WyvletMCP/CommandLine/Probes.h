#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Client/AppLink.h"

namespace wyvlet {

/// How an app met a server that came to it.
struct AppProbe {
  bool connected = false;   ///< something accepts connections there
  bool synced = false;      ///< it sent a full sync
  std::string description;  ///< "Travel 2.1 on iPhone 15" from the sync; how the attempt ended otherwise
};

/// Connects to `address` as the server would and waits for the full sync. Blocks for at most `seconds`,
/// save for looking up a host that is a name.
AppProbe probeApp(const AppAddress& address, double seconds);

/// Who has the server's HTTP port.
struct HTTPPortProbe {
  enum class State {
    Free,
    OurServer,  ///< a WyvletMCP answers there
    Taken,      ///< another program has it
    Unusable,   ///< the system refuses it, see `problem`
  };
  State state = State::Free;
  bool appIsConnected = false;  ///< that server has its app
  std::string problem = {};
};

/// Tries to take `port` on `host` (an address; nothing: all interfaces) as the server would, and asks who
/// has it when it is taken. Lets go of it at once. Blocks for at most `seconds`.
HTTPPortProbe probeHTTPPort(const std::optional<std::string>& host, std::uint16_t port, double seconds);

/// What the body of an answer to GET /status tells about who gave it. Pure.
HTTPPortProbe statusAnswer(const std::string& response);

/// Whether a process listens on the socket file at `path`.
bool answersOnSocket(const std::string& path);

}  // namespace wyvlet
