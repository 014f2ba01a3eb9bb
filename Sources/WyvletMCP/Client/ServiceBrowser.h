#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Client/AppLink.h"
#include "Support/Mutex.h"
#include "WyvletShared/Result.h"

namespace wyvlet {

/// Looks for apps that announce themselves by DNS-SD. Owned by the client.
///
/// A search has a thread of its own, "wyvlet-browser", because the libraries that speak to the
/// system's DNS-SD daemon block on it: a daemon that hangs may cost a search, never the client queue.
/// The thread ends with the search, so an idle server has none.
class ServiceBrowser {
 public:
  /// Where the first app that could be resolved is reached, or why nothing will be found.
  using Outcome = Result<std::vector<AppAddress>>;
  using Done = std::function<void(Outcome)>;

  ServiceBrowser() = default;
  /// Ends a running search, waiting for the daemon if the search does.
  ~ServiceBrowser();
  ServiceBrowser(const ServiceBrowser&) = delete;
  ServiceBrowser& operator=(const ServiceBrowser&) = delete;

  /// Starts a search in place of a running one. Returns at once. `done` is called at most once, on
  /// the browser's thread; a call that has already begun when the search is cancelled or replaced
  /// cannot be stopped, so the caller tells its searches apart. Any thread.
  void start(Done done) EXCLUDES(mutex_);

  /// Ends the search. Returns at once. Any thread.
  void cancel() EXCLUDES(mutex_);

 private:
  struct Search;

  void run() EXCLUDES(mutex_);

  Mutex mutex_;
  std::shared_ptr<Search> next_ GUARDED_BY(mutex_);
  std::shared_ptr<Search> current_ GUARDED_BY(mutex_);
  bool isRunning_ GUARDED_BY(mutex_) = false;
  std::thread thread_ GUARDED_BY(mutex_);
};

/// One search by the means of the platform: blocks until an app was found and resolved, until the
/// search has failed, or until `cancelDescriptor` becomes readable, which gives nothing. Called on
/// the browser's thread only.
std::optional<ServiceBrowser::Outcome> findApp(int cancelDescriptor);

}  // namespace wyvlet
