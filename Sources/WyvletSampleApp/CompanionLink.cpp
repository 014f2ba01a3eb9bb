#include "WyvletSampleApp/CompanionLink.h"

#include <utility>

#include "Support/Threads.h"

namespace wyvlet::sample {
namespace {

constexpr std::size_t kMostQueuedBytes = 64UL * 1024 * 1024;

}  // namespace

CompanionLink::CompanionLink(std::unique_ptr<CompanionConnection> connection, Callbacks callbacks)
    : connection_(std::move(connection)),
      callbacks_(std::move(callbacks)),
      reader_([this] { read(); }),
      writer_([this] { write(); }) {}

CompanionLink::~CompanionLink() {
  end();
  reader_.join();
  writer_.join();
}

void CompanionLink::send(std::shared_ptr<const std::string> body) {
  bool overrun = false;
  {
    MutexLock lock(mutex_);
    if (ending_) return;
    queuedBytes_ += body->size();
    overrun = queuedBytes_ > kMostQueuedBytes;
    queue_.push_back(std::move(body));
    changed_.notifyOne();
  }
  if (overrun) end();
}

void CompanionLink::end() {
  {
    MutexLock lock(mutex_);
    ending_ = true;
    changed_.notifyOne();
  }
  connection_->shutdown();
}

bool CompanionLink::isDrained() const {
  MutexLock lock(mutex_);
  return ending_ || queuedBytes_ == 0;
}

void CompanionLink::read() {
  nameThread("sample-reader");
  while (auto message = connection_->receive()) callbacks_.received(std::move(*message));
  end();
  callbacks_.ended();
}

void CompanionLink::write() {
  nameThread("sample-writer");
  while (true) {
    std::shared_ptr<const std::string> body;
    {
      MutexLock lock(mutex_);
      while (queue_.empty() && !ending_) changed_.wait(mutex_);
      if (ending_) return;
      body = std::move(queue_.front());
      queue_.pop_front();
    }
    const bool sent = connection_->sendBody(*body);
    {
      MutexLock lock(mutex_);
      queuedBytes_ -= body->size();
    }
    if (!sent) {
      end();
      return;
    }
  }
}

}  // namespace wyvlet::sample
