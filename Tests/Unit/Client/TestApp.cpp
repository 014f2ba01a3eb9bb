#include "Unit/Client/TestApp.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "Unit/Client/LogCapture.h"

namespace wyvlet::test {

TestApp::TestApp(std::optional<LenientSyncPayload> greeting) : greeting_(std::move(greeting)) {
  auto listener = CompanionListener::listen(0);
  if (!listener) throw std::runtime_error(listener.reason());
  listener_ = *std::move(listener);
  acceptor_ = std::thread([this] { accept(); });
}

TestApp::~TestApp() {
  listener_->shutdown();
  acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const auto& link : links_) {
      if (link.connection) link.connection->shutdown();
    }
  }
  for (auto& thread : threads_) thread.join();
}

void TestApp::accept() {
  while (auto accepted = listener_->accept()) {
    auto& connection = *accepted;
    {
      const std::lock_guard lock(mutex_);
      links_.push_back({.connection = std::move(accepted)});
      threads_.emplace_back([this, number = links_.size(), &connection] { serve(number, connection); });
      changed_.notify_all();
    }
    // Last, so that a client that has been greeted finds the app ready to send.
    if (greeting_) connection.sendBytes(frameOf(CompanionMessageType::syncFull, encodeRecord(*greeting_)));
  }
}

void TestApp::serve(std::size_t number, CompanionConnection& connection) {
  while (const auto message = connection.receive()) {
    Command command{.type = {}, .payload = {}, .link = number};
    if (message->registered) {
      command.type = rawString(message->registered->type);
      command.payload = message->registered->payload.data;
    } else {
      command.type = message->free->type;
      command.payload = message->free->payload.data;
    }
    std::function<void()> answer;
    {
      const std::lock_guard lock(mutex_);
      if (const auto known = answers_.find(command.type); known != answers_.end()) answer = known->second;
      commands_.push_back(std::move(command));
      changed_.notify_all();
    }
    if (answer) answer();
  }
  const std::lock_guard lock(mutex_);
  links_[number - 1].hasEnded = true;
  changed_.notify_all();
}

void TestApp::onCommand(std::string type, std::function<void()> answer) {
  const std::lock_guard lock(mutex_);
  answers_[std::move(type)] = std::move(answer);
}

CompanionConnection* TestApp::newest() {
  const std::lock_guard lock(mutex_);
  return links_.empty() ? nullptr : links_.back().connection.get();
}

bool TestApp::sendsPayload(CompanionMessageType type, std::string payload) {
  return sendsBytes(frameOf(type, std::move(payload)));
}

bool TestApp::sendsFree(std::string type, std::string payload) {
  return sendsBytes(
      encodeFrame(encodeEnvelope(RawMessage{std::move(type), Bytes{std::move(payload)}, Date::now()})));
}

bool TestApp::sendsBytes(std::string_view bytes) {
  auto* link = newest();
  return link != nullptr && link->sendBytes(bytes);
}

bool TestApp::waitForLink(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::duration<double>(kPatience),
                           [&] { return links_.size() >= count; });
}

std::optional<TestApp::Command> TestApp::waitForCommand(std::string_view type) {
  std::unique_lock lock(mutex_);
  std::optional<Command> taken;
  changed_.wait_for(lock, std::chrono::duration<double>(kPatience), [&] {
    const auto at = std::find_if(commands_.begin(), commands_.end(),
                                 [&](const Command& command) { return command.type == type; });
    if (at == commands_.end()) return false;
    taken = std::move(*at);
    commands_.erase(at);
    return true;
  });
  return taken;
}

std::vector<TestApp::Command> TestApp::untaken() {
  const std::lock_guard lock(mutex_);
  return commands_;
}

void TestApp::closeLink() {
  std::size_t number = 0;
  {
    const std::lock_guard lock(mutex_);
    number = links_.size();
    links_.back().connection->shutdown();
  }
  waitForEnd(number);
}

bool TestApp::waitForEnd(std::size_t number) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::duration<double>(kPatience),
                           [&] { return links_.size() >= number && links_[number - 1].hasEnded; });
}

std::string frameOf(CompanionMessageType type, std::string payload) {
  const CompanionMessage message{type, Bytes{std::move(payload)}, Date::now()};
  return encodeFrame(encodeEnvelope(message, DateEpoch::Unix1970));
}

TransferableNetworkRequest request(const std::string& path) {
  TransferableNetworkRequest request;
  request.id = UUID::random();
  request.timestamp = Date{1700000000};
  request.url = "https://api.example.com" + path;
  request.host = "api.example.com";
  request.path = path;
  request.method = "GET";
  return request;
}

TransferableLogEntry logEntry(const std::string& message) {
  TransferableLogEntry entry;
  entry.id = UUID::random();
  entry.timestamp = Date{1700000000};
  entry.level = "INFO";
  entry.message = message;
  return entry;
}

}  // namespace wyvlet::test
