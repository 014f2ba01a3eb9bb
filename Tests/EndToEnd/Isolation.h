#pragma once

#include <string>
#include <vector>

namespace wyvlet::test {

/// Gives the calling process a network of its own (loopback only, up, with multicast) and an empty
/// /tmp, so that tests with fixed ports and fixed /tmp paths run side by side. `visible` are folders
/// that must stay reachable although they lie below /tmp. Linux only; needs root or unprivileged user
/// namespaces. Call it first thing in main, while there is one thread. Ends the process with a message
/// when the kernel refuses.
void isolateProcess(const std::vector<std::string>& visible);

/// Takes the network of an isolated process away, so that nothing arrives any more, or gives it back.
void setNetwork(bool up);

}  // namespace wyvlet::test
