// DNS-SD through the Avahi daemon.

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/address.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <dlfcn.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <string_view>
#include <utility>

#include "Client/ServiceBrowser.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet {
namespace {

using Clock = std::chrono::steady_clock;

/// How long further addresses of an app are waited for after the first. One may be an address on
/// which the app does not listen; the others come within milliseconds.
constexpr std::chrono::milliseconds kMoreAddresses{200};

/// For how many milliseconds loading the library is put off. It takes a processor and the dynamic
/// loader's lock for a millisecond, just when the other threads start and the agent's first line comes.
constexpr int kAgentFirst = 20;

/// The library's functions. Loaded at the first search and not linked: it brings a dozen libraries
/// with it that an answer to the agent should not wait for, and a machine may well be without it.
struct AvahiLibrary {
  decltype(&avahi_strerror) strerror;
  decltype(&avahi_address_snprint) addressText;
  decltype(&avahi_simple_poll_new) pollNew;
  decltype(&avahi_simple_poll_free) pollFree;
  decltype(&avahi_simple_poll_get) pollGet;
  decltype(&avahi_simple_poll_iterate) pollIterate;
  decltype(&avahi_client_new) clientNew;
  decltype(&avahi_client_free) clientFree;
  decltype(&avahi_client_errno) clientErrno;
  decltype(&avahi_service_browser_new) browserNew;
  decltype(&avahi_service_resolver_new) resolverNew;
  decltype(&avahi_service_resolver_free) resolverFree;

  static Result<AvahiLibrary> load() {
    // Never closed: the library leaves threads' data and exit handlers behind.
    void* handle = ::dlopen("libavahi-client.so.3", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return loadFailure();
    AvahiLibrary library{};
    const bool complete = find(handle, "avahi_strerror", library.strerror) &&
                          find(handle, "avahi_address_snprint", library.addressText) &&
                          find(handle, "avahi_simple_poll_new", library.pollNew) &&
                          find(handle, "avahi_simple_poll_free", library.pollFree) &&
                          find(handle, "avahi_simple_poll_get", library.pollGet) &&
                          find(handle, "avahi_simple_poll_iterate", library.pollIterate) &&
                          find(handle, "avahi_client_new", library.clientNew) &&
                          find(handle, "avahi_client_free", library.clientFree) &&
                          find(handle, "avahi_client_errno", library.clientErrno) &&
                          find(handle, "avahi_service_browser_new", library.browserNew) &&
                          find(handle, "avahi_service_resolver_new", library.resolverNew) &&
                          find(handle, "avahi_service_resolver_free", library.resolverFree);
    if (!complete) return loadFailure();
    return library;
  }

 private:
  /// The library's own dependencies are searched too, which is where half of the names live.
  template <class Function>
  static bool find(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(handle, name));
    return function != nullptr;
  }

  static Failure loadFailure() {
    const char* reason = ::dlerror();
    return Failure{reason != nullptr ? reason : "libavahi-client.so.3 is incomplete"};
  }
};

/// One search with a connection of its own to the daemon, so that a restarted daemon is found again.
class AvahiSearch {
 public:
  explicit AvahiSearch(const AvahiLibrary& avahi) : avahi_(avahi), poll_(avahi.pollNew()) {}

  /// Freeing the client frees what was made with it.
  ~AvahiSearch() {
    if (client_ != nullptr) avahi_.clientFree(client_);
    if (poll_ != nullptr) avahi_.pollFree(poll_);
  }
  AvahiSearch(const AvahiSearch&) = delete;
  AvahiSearch& operator=(const AvahiSearch&) = delete;

  std::optional<ServiceBrowser::Outcome> run(int cancelDescriptor) {
    if (poll_ == nullptr || !start(cancelDescriptor)) return failed();
    while (!isCancelled_ && failure_ == AVAHI_OK && !isFound()) {
      if (avahi_.pollIterate(poll_, patience()) != 0) return failed();
    }
    if (isCancelled_) return std::nullopt;
    if (failure_ != AVAHI_OK) return failed();
    return ServiceBrowser::Outcome(std::move(addresses_));
  }

 private:
  bool start(int cancelDescriptor) {
    const AvahiPoll* poll = avahi_.pollGet(poll_);
    poll->watch_new(
        poll, cancelDescriptor, AVAHI_WATCH_IN,
        [](AvahiWatch*, int, AvahiWatchEvent, void* self) {
          static_cast<AvahiSearch*>(self)->isCancelled_ = true;
        },
        this);
    // The state callback runs for the first time before the client is handed out.
    client_ = avahi_.clientNew(
        poll, AvahiClientFlags{},
        [](AvahiClient* client, AvahiClientState state, void* self) {
          if (state == AVAHI_CLIENT_FAILURE) static_cast<AvahiSearch*>(self)->fail(client);
        },
        this, &failure_);
    if (client_ == nullptr) return false;
    const auto* browser = avahi_.browserNew(
        client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, kServiceType.c_str(), nullptr, AvahiLookupFlags{},
        [](AvahiServiceBrowser*, AvahiIfIndex interface, AvahiProtocol protocol, AvahiBrowserEvent event,
           const char* name, const char* type, const char* domain, AvahiLookupResultFlags, void* self) {
          static_cast<AvahiSearch*>(self)->browsed(interface, protocol, event, name, type, domain);
        },
        this);
    if (browser == nullptr) fail(client_);
    return browser != nullptr;
  }

  void fail(AvahiClient* client) {
    if (failure_ == AVAHI_OK) failure_ = avahi_.clientErrno(client);
  }

  ServiceBrowser::Outcome failed() const {
    return Failure{avahi_.strerror(failure_ != AVAHI_OK ? failure_ : AVAHI_ERR_FAILURE)};
  }

  /// The service comes once for every interface and protocol on which it was seen.
  void browsed(AvahiIfIndex interface, AvahiProtocol protocol, AvahiBrowserEvent event, const char* name,
               const char* type, const char* domain) {
    if (event == AVAHI_BROWSER_FAILURE) return fail(client_);
    if (event == AVAHI_BROWSER_CACHE_EXHAUSTED) knownOnesSeen_ = true;
    if (event != AVAHI_BROWSER_NEW) return;
    const auto* resolver = avahi_.resolverNew(
        client_, interface, protocol, name, type, domain, AVAHI_PROTO_UNSPEC, AVAHI_LOOKUP_NO_TXT,
        [](AvahiServiceResolver* done, AvahiIfIndex on, AvahiProtocol, AvahiResolverEvent outcome,
           const char* service, const char*, const char*, const char*, const AvahiAddress* address,
           std::uint16_t port, AvahiStringList*, AvahiLookupResultFlags, void* self) {
          auto& search = *static_cast<AvahiSearch*>(self);
          if (outcome == AVAHI_RESOLVER_FOUND) search.resolved(on, service, *address, port);
          --search.resolving_;
          search.avahi_.resolverFree(done);
        },
        this);
    if (resolver != nullptr) ++resolving_;
  }

  void resolved(AvahiIfIndex interface, const char* service, const AvahiAddress& address,
                std::uint16_t port) {
    if (addresses_.empty()) {
      service_ = service;
      complete_ = Clock::now() + kMoreAddresses;
    } else if (service_ != service) {
      return;
    }
    AppAddress found{addressText(interface, address), port};
    if (std::find(addresses_.begin(), addresses_.end(), found) == addresses_.end()) {
      addresses_.push_back(std::move(found));
    }
  }

  std::string addressText(AvahiIfIndex interface, const AvahiAddress& address) const {
    std::array<char, AVAHI_ADDRESS_STR_MAX> buffer{};
    avahi_.addressText(buffer.data(), buffer.size(), &address);
    std::string text = buffer.data();
    const bool isLinkLocal = address.proto == AVAHI_PROTO_INET6 && address.data.ipv6.address[0] == 0xFE &&
                             (address.data.ipv6.address[1] & 0xC0) == 0x80;
    if (isLinkLocal) text += "%" + std::to_string(interface);
    return text;
  }

  bool isFound() const {
    if (addresses_.empty()) return false;
    return (knownOnesSeen_ && resolving_ == 0) || Clock::now() >= complete_;
  }

  /// For how many milliseconds there is nothing to do but wait for the daemon; -1 for ever.
  int patience() const {
    if (addresses_.empty()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(complete_ - Clock::now());
    return static_cast<int>(std::max(left, std::chrono::milliseconds(0)).count());
  }

  const AvahiLibrary& avahi_;
  const std::string kServiceType{kBonjourType};
  AvahiSimplePoll* poll_;
  AvahiClient* client_ = nullptr;
  int failure_ = AVAHI_OK;
  bool isCancelled_ = false;
  bool knownOnesSeen_ = false;
  int resolving_ = 0;
  std::string service_;  // the app that was resolved first; the others are passed over
  std::vector<AppAddress> addresses_;
  Clock::time_point complete_;
};

}  // namespace

std::optional<ServiceBrowser::Outcome> findApp(int cancelDescriptor) {
  static std::atomic<bool> isLoading = false;
  if (!isLoading.exchange(true)) {
    pollfd cancelled{cancelDescriptor, POLLIN, 0};
    ::poll(&cancelled, 1, kAgentFirst);  // a search that was cancelled meanwhile sees it by itself
  }
  static const auto library = AvahiLibrary::load();
  if (!library) return Failure{library.reason()};
  return AvahiSearch(*library).run(cancelDescriptor);
}

}  // namespace wyvlet
