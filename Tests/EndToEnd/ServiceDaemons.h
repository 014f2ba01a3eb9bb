#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "EndToEnd/Harness.h"

namespace wyvlet::test {

/// A message bus and an Avahi daemon of the test's own, on the loopback of its network. Call it only
/// in an isolated process: it covers /run and /etc/avahi.
class ServiceDaemons {
 public:
  /// Both run and answer when this returns.
  ServiceDaemons();
  ~ServiceDaemons();
  ServiceDaemons(const ServiceDaemons&) = delete;
  ServiceDaemons& operator=(const ServiceDaemons&) = delete;

  /// Announces an app of that name, and waits until the announcement stands.
  void announce(const std::string& name, std::uint16_t port);
  void withdraw(const std::string& name);

  void startAvahi();
  void killAvahi();
  void killBus();

 private:
  void startBus();

  std::unique_ptr<Process> bus_;
  std::unique_ptr<Process> avahi_;
};

}  // namespace wyvlet::test
