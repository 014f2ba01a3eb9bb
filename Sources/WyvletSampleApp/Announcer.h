#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "WyvletShared/Result.h"

namespace wyvlet::sample {

/// Announces the app as a "_wyvlet._tcp" service by the machine's DNS-SD daemon, for as long as the
/// object lives. One implementation a platform, chosen when the app is built: Avahi (loaded when it is
/// needed, since a machine may be without it) or the system's own responder.
class Announcer {
 public:
  /// Reaches the daemon; fails when none runs. Blocks for as long as the daemon takes to answer.
  static Result<std::unique_ptr<Announcer>> connect();

  virtual ~Announcer() = default;

  /// Announces `port` under `name`, or a like name when another app has it. Once; returns at once,
  /// and what becomes of it is logged.
  virtual void announce(const std::string& name, std::uint16_t port) = 0;
};

/// The tag of the sample app's diagnostics.
inline constexpr const char* kSampleTag = "[sample-app] ";

}  // namespace wyvlet::sample
