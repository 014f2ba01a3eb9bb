// DNS-SD through the Avahi daemon.

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/thread-watch.h>
#include <dlfcn.h>

#include <utility>

#include "Support/Log.h"
#include "WyvletSampleApp/Announcer.h"
#include "WyvletShared/CompanionConnection.h"

namespace wyvlet::sample {
namespace {

/// The functions of the library, which is loaded instead of linked so that the app starts without it.
struct AvahiLibrary {
  decltype(&avahi_strerror) strerror;
  decltype(&avahi_free) free;
  decltype(&avahi_alternative_service_name) alternativeName;
  decltype(&avahi_threaded_poll_new) pollNew;
  decltype(&avahi_threaded_poll_free) pollFree;
  decltype(&avahi_threaded_poll_get) pollGet;
  decltype(&avahi_threaded_poll_start) pollStart;
  decltype(&avahi_threaded_poll_stop) pollStop;
  decltype(&avahi_threaded_poll_lock) pollLock;
  decltype(&avahi_threaded_poll_unlock) pollUnlock;
  decltype(&avahi_client_new) clientNew;
  decltype(&avahi_client_free) clientFree;
  decltype(&avahi_client_errno) clientErrno;
  decltype(&avahi_client_get_state) clientState;
  decltype(&avahi_entry_group_new) groupNew;
  decltype(&avahi_entry_group_free) groupFree;
  decltype(&avahi_entry_group_reset) groupReset;
  decltype(&avahi_entry_group_commit) groupCommit;
  decltype(&avahi_entry_group_add_service) groupAddService;

  static Result<AvahiLibrary> load() {
    // Never closed: the library leaves threads' data and exit handlers behind.
    void* handle = ::dlopen("libavahi-client.so.3", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return failure();
    AvahiLibrary library{};
    const bool complete = find(handle, "avahi_strerror", library.strerror) &&
                          find(handle, "avahi_free", library.free) &&
                          find(handle, "avahi_alternative_service_name", library.alternativeName) &&
                          find(handle, "avahi_threaded_poll_new", library.pollNew) &&
                          find(handle, "avahi_threaded_poll_free", library.pollFree) &&
                          find(handle, "avahi_threaded_poll_get", library.pollGet) &&
                          find(handle, "avahi_threaded_poll_start", library.pollStart) &&
                          find(handle, "avahi_threaded_poll_stop", library.pollStop) &&
                          find(handle, "avahi_threaded_poll_lock", library.pollLock) &&
                          find(handle, "avahi_threaded_poll_unlock", library.pollUnlock) &&
                          find(handle, "avahi_client_new", library.clientNew) &&
                          find(handle, "avahi_client_free", library.clientFree) &&
                          find(handle, "avahi_client_errno", library.clientErrno) &&
                          find(handle, "avahi_client_get_state", library.clientState) &&
                          find(handle, "avahi_entry_group_new", library.groupNew) &&
                          find(handle, "avahi_entry_group_free", library.groupFree) &&
                          find(handle, "avahi_entry_group_reset", library.groupReset) &&
                          find(handle, "avahi_entry_group_commit", library.groupCommit) &&
                          find(handle, "avahi_entry_group_add_service", library.groupAddService);
    if (!complete) return failure();
    return library;
  }

 private:
  /// Dependencies of the library are searched too, which is where half of the names live.
  template <class Function>
  static bool find(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(handle, name));
    return function != nullptr;
  }

  static Failure failure() {
    const char* reason = ::dlerror();
    return Failure{reason != nullptr ? reason : "libavahi-client.so.3 is incomplete"};
  }
};

/// The library's own thread runs the callbacks with the poll's lock held, which guards every member.
class AvahiAnnouncer final : public Announcer {
 public:
  explicit AvahiAnnouncer(const AvahiLibrary& avahi) : avahi_(avahi), poll_(avahi.pollNew()) {}

  ~AvahiAnnouncer() override {
    if (isRunning_) avahi_.pollStop(poll_);
    if (group_ != nullptr) avahi_.groupFree(group_);
    if (client_ != nullptr) avahi_.clientFree(client_);
    if (poll_ != nullptr) avahi_.pollFree(poll_);
  }
  AvahiAnnouncer(const AvahiAnnouncer&) = delete;
  AvahiAnnouncer& operator=(const AvahiAnnouncer&) = delete;

  /// "" or why there is no daemon.
  std::string start() {
    if (poll_ == nullptr) return "out of memory";
    if (const int error = makeClient(); error != AVAHI_OK) return avahi_.strerror(error);
    if (avahi_.clientState(client_) == AVAHI_CLIENT_CONNECTING) return "no Avahi daemon runs";
    isRunning_ = avahi_.pollStart(poll_) == 0;
    return isRunning_ ? "" : "no thread for Avahi";
  }

  void announce(const std::string& name, std::uint16_t port) override {
    avahi_.pollLock(poll_);
    name_ = name;
    port_ = port;
    // Without a client the bus has gone, which has been logged.
    if (client_ != nullptr && avahi_.clientState(client_) == AVAHI_CLIENT_S_RUNNING) enter();
    avahi_.pollUnlock(poll_);
  }

 private:
  int makeClient() {
    int error = AVAHI_OK;
    // With "no fail" a client waits for a daemon that is not there, as after a restart.
    client_ = avahi_.clientNew(
        avahi_.pollGet(poll_), AVAHI_CLIENT_NO_FAIL,
        [](AvahiClient* client, AvahiClientState state, void* self) {
          static_cast<AvahiAnnouncer*>(self)->stateChanged(client, state);
        },
        this, &error);
    return client_ == nullptr ? error : AVAHI_OK;
  }

  void stateChanged(AvahiClient* client, AvahiClientState state) {
    client_ = client;  // the first call comes before the client has been handed out
    switch (state) {
      case AVAHI_CLIENT_S_RUNNING:
        if (port_ != 0) enter();
        break;
      case AVAHI_CLIENT_S_COLLISION:
      case AVAHI_CLIENT_S_REGISTERING:
        // The host's own name is changing; the entries follow it when the daemon runs again.
        if (group_ != nullptr) avahi_.groupReset(group_);
        break;
      case AVAHI_CLIENT_CONNECTING: break;
      case AVAHI_CLIENT_FAILURE: connectAnew(avahi_.clientErrno(client)); break;
    }
  }

  /// A client whose daemon has gone stays dead, and its entries with it.
  void connectAnew(int reason) {
    if (reason != AVAHI_ERR_DISCONNECTED) return failed(reason);
    if (group_ != nullptr) avahi_.groupFree(std::exchange(group_, nullptr));
    avahi_.clientFree(std::exchange(client_, nullptr));
    if (const int error = makeClient(); error != AVAHI_OK) failed(error);
  }

  void enter() {
    if (group_ == nullptr) {
      group_ = avahi_.groupNew(
          client_,
          [](AvahiEntryGroup*, AvahiEntryGroupState state, void* self) {
            static_cast<AvahiAnnouncer*>(self)->entered(state);
          },
          this);
      if (group_ == nullptr) return failed(avahi_.clientErrno(client_));
    }
    const std::string type(kBonjourType);
    int error = addService(type);
    while (error == AVAHI_ERR_COLLISION) {
      takeOtherName();
      error = addService(type);
    }
    if (error == AVAHI_OK) error = avahi_.groupCommit(group_);
    if (error != AVAHI_OK) failed(error);
  }

  int addService(const std::string& type) {
    avahi_.groupReset(group_);
    return avahi_.groupAddService(group_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags{},
                                  name_.c_str(), type.c_str(), nullptr, nullptr, port_, nullptr);
  }

  void entered(AvahiEntryGroupState state) {
    if (state == AVAHI_ENTRY_GROUP_ESTABLISHED) {
      logLine(kSampleTag, "Announced as \"" + name_ + "\" on port " + std::to_string(port_));
    } else if (state == AVAHI_ENTRY_GROUP_COLLISION) {
      takeOtherName();
      enter();
    } else if (state == AVAHI_ENTRY_GROUP_FAILURE) {
      failed(avahi_.clientErrno(client_));
    }
  }

  void takeOtherName() {
    char* other = avahi_.alternativeName(name_.c_str());
    if (other == nullptr) return;
    name_ = other;
    avahi_.free(other);
  }

  void failed(int error) const {
    logLine(kSampleTag, std::string("Announcing failed: ") + avahi_.strerror(error));
  }

  const AvahiLibrary& avahi_;
  AvahiThreadedPoll* poll_;
  AvahiClient* client_ = nullptr;
  AvahiEntryGroup* group_ = nullptr;
  bool isRunning_ = false;
  std::string name_;
  std::uint16_t port_ = 0;
};

}  // namespace

Result<std::unique_ptr<Announcer>> Announcer::connect() {
  static const auto library = AvahiLibrary::load();
  if (!library) return Failure{library.reason()};
  auto announcer = std::make_unique<AvahiAnnouncer>(*library);
  std::string reason = announcer->start();
  if (!reason.empty()) return Failure{std::move(reason)};
  return std::unique_ptr<Announcer>(std::move(announcer));
}

}  // namespace wyvlet::sample
