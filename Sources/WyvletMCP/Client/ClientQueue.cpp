#include "Client/ClientQueue.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <exception>
#include <string>
#include <utility>

#include "Support/Log.h"
#include "Support/Threads.h"

namespace wyvlet {

namespace asio = boost::asio;

ClientQueue::ClientQueue() : context_(std::make_unique<asio::io_context>(1)) {}

ClientQueue::~ClientQueue() {
  context_->stop();
  std::thread thread;
  {
    MutexLock lock(mutex_);
    isEnding_ = true;
    thread = std::move(thread_);
  }
  if (thread.joinable()) thread.join();
}

void ClientQueue::post(std::function<void()> work) {
  asio::post(*context_, std::move(work));
  MutexLock lock(mutex_);
  if (!isEnding_ && !thread_.joinable()) thread_ = std::thread([this] { run(); });
}

void ClientQueue::postAfter(std::chrono::milliseconds wait, std::function<void()> work) {
  post([this, wait, work = std::move(work)] {
    const auto timer = std::make_shared<asio::steady_timer>(*context_, wait);
    timer->async_wait([timer, work](const boost::system::error_code& stopped) {
      if (!stopped) work();
    });
  });
}

void ClientQueue::run() {
  nameThread("wyvlet-client");
  const auto keepRunning = asio::make_work_guard(*context_);
  while (!context_->stopped()) {
    try {
      context_->run();
    } catch (const std::exception& problem) {
      logLine(kClientTag, std::string("Network callback failed: ") + problem.what());
    }
  }
}

}  // namespace wyvlet
