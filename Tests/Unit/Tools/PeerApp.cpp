#include "PeerApp.h"

#include <gtest/gtest.h>

#include <chrono>

namespace wyvlet::test {

PeerApp::PeerApp(LenientSyncPayload sync, Answers answers) {
  auto listener = CompanionListener::listen(0);
  if (!listener) {
    ADD_FAILURE() << listener.reason();
    return;
  }
  listener_ = *std::move(listener);
  thread_ =
      std::thread([this, sync = std::move(sync), answers = std::move(answers)] { serve(sync, answers); });
}

PeerApp::~PeerApp() {
  if (listener_) listener_->shutdown();
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
    if (link_) link_->shutdown();
  }
  if (thread_.joinable()) thread_.join();
}

void PeerApp::serve(const LenientSyncPayload& sync, const Answers& answers) {
  std::shared_ptr<CompanionConnection> link = listener_->accept();
  {
    std::lock_guard lock(mutex_);
    if (!link || ending_) return;
    link_ = link;
  }
  link->send(CompanionMessage::make(CompanionMessageType::syncFull, sync, DateEpoch::Unix1970));
  while (const auto message = link->receive()) {
    const std::string type = message->registered ? std::string(rawString(message->registered->type))
                                                 : message->free.value_or(RawMessage{}).type;
    const std::string payload = message->registered ? message->registered->payload.data
                                                    : message->free.value_or(RawMessage{}).payload.data;
    if (const auto answer = answers.find(type); answer != answers.end()) {
      link->send(RawMessage{answer->second.first, Bytes{answer->second.second}, Date::now()});
    }
    std::lock_guard lock(mutex_);
    commands_.push_back(type + " " + payload);
    changed_.notify_all();
  }
}

std::vector<std::string> PeerApp::waitForCommands(std::size_t count) {
  std::unique_lock lock(mutex_);
  EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(30), [&] { return commands_.size() >= count; }));
  return commands_;
}

}  // namespace wyvlet::test
