#include "Client/ServiceBrowser.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "Support/Threads.h"

namespace wyvlet {

/// One search: what to call, and a pipe that becomes readable when it is no longer wanted.
struct ServiceBrowser::Search {
  explicit Search(Done whenDone) : done(std::move(whenDone)) {
    if (::pipe(pipe.data()) != 0) {
      failure = errno;
      return;
    }
    for (const int end : pipe) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  ~Search() {
    for (const int end : pipe) {
      if (end >= 0) ::close(end);
    }
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  void cancel() const {
    const auto written = ::write(pipe[1], "", 1);
    static_cast<void>(written);
  }

  Done done;
  std::array<int, 2> pipe = {-1, -1};
  int failure = 0;
};

ServiceBrowser::~ServiceBrowser() {
  cancel();
  std::thread thread;
  {
    MutexLock lock(mutex_);
    thread = std::move(thread_);
  }
  if (thread.joinable()) thread.join();
}

void ServiceBrowser::start(Done done) {
  auto search = std::make_shared<Search>(std::move(done));
  MutexLock lock(mutex_);
  if (current_) current_->cancel();
  next_ = std::move(search);
  if (isRunning_) return;
  if (thread_.joinable()) thread_.join();  // has left its last search, so this does not wait
  thread_ = std::thread([this] { run(); });
  isRunning_ = true;
}

void ServiceBrowser::cancel() {
  MutexLock lock(mutex_);
  next_.reset();
  if (current_) current_->cancel();
}

void ServiceBrowser::run() {
  nameThread("wyvlet-browser");
  for (;;) {
    std::shared_ptr<Search> search;
    {
      MutexLock lock(mutex_);
      current_ = std::move(next_);
      next_.reset();
      if (!current_) {
        isRunning_ = false;
        return;
      }
      search = current_;
    }
    if (search->failure != 0) {
      search->done(Failure{std::generic_category().message(search->failure)});
    } else if (auto outcome = findApp(search->pipe[0])) {
      search->done(*std::move(outcome));
    }
  }
}

}  // namespace wyvlet
