// DNS-SD through the system's own responder (macOS).

#include <arpa/inet.h>
#include <dns_sd.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <utility>

#include "Support/Log.h"
#include "Support/Threads.h"
#include "WyvletSampleApp/Announcer.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet::sample {
namespace {

/// The responder keeps the service announced while the reference is open; a thread reads its word on
/// it, which is only logged.
class BonjourAnnouncer final : public Announcer {
 public:
  BonjourAnnouncer() = default;

  ~BonjourAnnouncer() override {
    if (thread_.joinable()) {
      const ssize_t written = ::write(wake_[1], "", 1);
      static_cast<void>(written);
      thread_.join();
    }
    if (reference_ != nullptr) DNSServiceRefDeallocate(reference_);
    for (int descriptor : wake_) {
      if (descriptor >= 0) ::close(descriptor);
    }
  }
  BonjourAnnouncer(const BonjourAnnouncer&) = delete;
  BonjourAnnouncer& operator=(const BonjourAnnouncer&) = delete;

  void announce(const std::string& name, std::uint16_t port) override {
    const std::string type(kBonjourType);
    const DNSServiceErrorType error =
        DNSServiceRegister(&reference_, 0, kDNSServiceInterfaceIndexAny, name.c_str(), type.c_str(), nullptr,
                           nullptr, htons(port), 0, nullptr, registered, nullptr);
    if (error != kDNSServiceErr_NoError || ::pipe(wake_.data()) != 0) return failed(error);
    thread_ = std::thread([this] { listen(); });
  }

 private:
  static void failed(DNSServiceErrorType error) {
    logLine(kSampleTag, "Announcing failed: DNS-SD error " + std::to_string(error));
  }

  static void registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char* name,
                         const char*, const char*, void*) {
    if (error != kDNSServiceErr_NoError) return failed(error);
    logLine(kSampleTag, std::string("Announced as \"") + name + "\"");
  }

  void listen() {
    nameThread("sample-dnssd");
    while (true) {
      std::array<pollfd, 2> waited{{{wake_[0], POLLIN, 0}, {DNSServiceRefSockFD(reference_), POLLIN, 0}}};
      if (::poll(waited.data(), waited.size(), -1) < 0) continue;
      if (waited[0].revents != 0) return;
      if (DNSServiceProcessResult(reference_) != kDNSServiceErr_NoError) return;
    }
  }

  DNSServiceRef reference_ = nullptr;
  std::array<int, 2> wake_{-1, -1};
  std::thread thread_;
};

}  // namespace

Result<std::unique_ptr<Announcer>> Announcer::connect() {
  return std::unique_ptr<Announcer>(std::make_unique<BonjourAnnouncer>());
}

}  // namespace wyvlet::sample
