// DNS-SD through the system's own responder (macOS).

#include <arpa/inet.h>
#include <dns_sd.h>
#include <poll.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "Client/ServiceBrowser.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet {
namespace {

/// Browses for the first app, then resolves it to a host name and a port. The link looks the name up
/// itself: on this platform the ordinary resolver knows the names of the local network.
class BonjourSearch {
 public:
  BonjourSearch() = default;
  ~BonjourSearch() {
    close(resolver_);
    close(browser_);
  }
  BonjourSearch(const BonjourSearch&) = delete;
  BonjourSearch& operator=(const BonjourSearch&) = delete;

  std::optional<ServiceBrowser::Outcome> run(int cancelDescriptor) {
    static const std::string kServiceType{kBonjourType};
    failure_ = DNSServiceBrowse(&browser_, 0, kDNSServiceInterfaceIndexAny, kServiceType.c_str(), nullptr,
                                browsed, this);
    while (failure_ == kDNSServiceErr_NoError && addresses_.empty()) {
      const DNSServiceRef active = resolver_ != nullptr ? resolver_ : browser_;
      std::array<pollfd, 2> waited{{{cancelDescriptor, POLLIN, 0}, {DNSServiceRefSockFD(active), POLLIN, 0}}};
      if (::poll(waited.data(), waited.size(), -1) < 0) {
        if (errno == EINTR) continue;
        return ServiceBrowser::Outcome(Failure{std::generic_category().message(errno)});
      }
      if (waited[0].revents != 0) return std::nullopt;
      if (waited[1].revents != 0) failure_ = first(failure_, DNSServiceProcessResult(active));
    }
    if (!addresses_.empty()) return ServiceBrowser::Outcome(std::move(addresses_));
    return ServiceBrowser::Outcome(Failure{"DNS-SD error " + std::to_string(failure_)});
  }

 private:
  static void close(DNSServiceRef reference) {
    if (reference != nullptr) DNSServiceRefDeallocate(reference);
  }

  static DNSServiceErrorType first(DNSServiceErrorType earlier, DNSServiceErrorType later) {
    return earlier != kDNSServiceErr_NoError ? earlier : later;
  }

  static void browsed(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface,
                      DNSServiceErrorType error, const char* name, const char* type, const char* domain,
                      void* context) {
    auto& self = *static_cast<BonjourSearch*>(context);
    self.failure_ = first(self.failure_, error);
    const bool isNew = (flags & kDNSServiceFlagsAdd) != 0;
    if (error != kDNSServiceErr_NoError || !isNew || self.resolver_ != nullptr) return;
    const auto refused =
        DNSServiceResolve(&self.resolver_, 0, interface, name, type, domain, resolved, context);
    self.failure_ = first(self.failure_, refused);
  }

  static void resolved(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType error, const char*,
                       const char* host, std::uint16_t port, std::uint16_t, const unsigned char*,
                       void* context) {
    auto& self = *static_cast<BonjourSearch*>(context);
    self.failure_ = first(self.failure_, error);
    if (error == kDNSServiceErr_NoError) self.addresses_.push_back({host, ntohs(port)});
  }

  DNSServiceRef browser_ = nullptr;
  DNSServiceRef resolver_ = nullptr;
  DNSServiceErrorType failure_ = kDNSServiceErr_NoError;
  std::vector<AppAddress> addresses_;
};

}  // namespace

std::optional<ServiceBrowser::Outcome> findApp(int cancelDescriptor) {
  return BonjourSearch().run(cancelDescriptor);
}

}  // namespace wyvlet
