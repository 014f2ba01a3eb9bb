#include "EndToEnd/Harness.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace wyvlet::test {
namespace {

std::chrono::steady_clock::time_point after(double seconds) {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<long>(seconds * 1000));
}

struct Pipe {
  int ends[2];
  Pipe() { EXPECT_EQ(0, ::pipe2(ends, O_CLOEXEC)); }
};

int connectToPort(std::uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return fd;
  ::close(fd);
  return -1;
}

}  // namespace

std::string homeDirectoryOfTest() {
  const std::string home = "/tmp/home";
  std::filesystem::create_directories(home);
  return home;
}

Process::Process(Options options) {
  Pipe input, output, errors;
  input_ = input.ends[1];
  output_.fd = output.ends[0];
  errors_.fd = errors.ends[0];

  std::map<std::string, std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    environment[text.substr(0, text.find('='))] = text.substr(text.find('=') + 1);
  }
  environment["HOME"] = homeDirectoryOfTest();
  for (const auto& [name, value] : options.environment) environment[name] = value;
  if (!options.pathPrefix.empty()) environment["PATH"] = options.pathPrefix + ":" + environment["PATH"];

  std::vector<std::string> assignments;
  for (const auto& [name, value] : environment) assignments.push_back(name + "=" + value);
  std::vector<char*> arguments, variables;
  for (auto& argument : options.arguments) arguments.push_back(argument.data());
  for (auto& assignment : assignments) variables.push_back(assignment.data());
  arguments.push_back(nullptr);
  variables.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.ends[0], 0);
  posix_spawn_file_actions_adddup2(&actions, output.ends[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errors.ends[1], 2);
  const int error =
      ::posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), variables.data());
  posix_spawn_file_actions_destroy(&actions);
  EXPECT_EQ(0, error) << "cannot start " << options.arguments[0] << ": " << std::strerror(error);
  ::close(input.ends[0]);
  ::close(output.ends[1]);
  ::close(errors.ends[1]);
  if (options.readOutput) startReading(output_);
  if (options.readErrors) startReading(errors_);
}

Process::~Process() {
  closeInput();
  if (!exitStatus_ && pid_ > 0) {
    ::kill(pid_, SIGKILL);
    waitForExit();
  }
  for (Stream* stream : {&output_, &errors_}) {
    if (stream->thread.joinable()) {
      stream->thread.join();
    } else {
      ::close(stream->fd);
    }
  }
}

void Process::startReading(Stream& stream) {
  stream.thread = std::thread([this, &stream] {
    char chunk[65536];
    for (;;) {
      const ssize_t count = ::read(stream.fd, chunk, sizeof chunk);
      if (count < 0 && errno == EINTR) continue;
      std::lock_guard lock(mutex_);
      if (count <= 0) stream.ended = true;
      if (count > 0) stream.text.append(chunk, static_cast<std::size_t>(count));
      changed_.notify_all();
      if (stream.ended) break;
    }
    ::close(stream.fd);
  });
}

void Process::startReadingOutput() { startReading(output_); }
void Process::startReadingErrors() { startReading(errors_); }

void Process::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(input_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    ASSERT_GT(count, 0) << "the process no longer reads: " << std::strerror(errno);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void Process::closeInput() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

std::optional<std::string> Process::readLine(double seconds) {
  std::unique_lock lock(mutex_);
  std::size_t end = std::string::npos;
  changed_.wait_until(lock, after(seconds), [&] {
    end = output_.text.find('\n', output_.taken);
    return end != std::string::npos || output_.ended;
  });
  if (end == std::string::npos) return std::nullopt;
  std::string line = output_.text.substr(output_.taken, end - output_.taken);
  output_.taken = end + 1;
  return line;
}

bool Process::waitForError(std::string_view text, double seconds) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, after(seconds),
                             [&] { return errors_.text.find(text) != std::string::npos; });
}

std::string Process::errorText() {
  std::lock_guard lock(mutex_);
  return errors_.text;
}

std::string Process::wholeErrorText() {
  std::unique_lock lock(mutex_);
  EXPECT_TRUE(changed_.wait_until(lock, after(kPatience), [&] { return errors_.ended; }));
  return errors_.text;
}

void Process::signal(int number) { ::kill(pid_, number); }

std::optional<int> Process::waitForExit(double seconds) {
  if (exitStatus_) return exitStatus_;
  // No event tells of a child's end but SIGCHLD, which belongs to the whole process; so look.
  eventually(
      [this] {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) != pid_) return false;
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return true;
      },
      seconds);
  return exitStatus_;
}

Server::Server(Process::Options options) {
  options.arguments.insert(options.arguments.begin(), WYVLET_SERVER_PATH);
  process_ = std::make_unique<Process>(std::move(options));
}

Server::~Server() {
  if (process_->waitForExit(0)) return;
  process_->signal(SIGTERM);
  const auto status = process_->waitForExit();
  EXPECT_TRUE(status.has_value()) << "the server did not end on SIGTERM";
  if (status) {
    EXPECT_EQ(0, *status) << process_->errorText();
  }
}

void Server::sendLine(std::string_view line) { process_->write(std::string(line) + "\n"); }

boost::json::object Server::request(std::string_view method, boost::json::object params) {
  const int id = nextId_++;
  sendLine(boost::json::serialize(boost::json::object{{"jsonrpc", "2.0"},
                                                      {"id", id},
                                                      {"method", boost::json::string(method)},
                                                      {"params", std::move(params)}}));
  const auto line = readLine();
  if (!line) {
    ADD_FAILURE() << "no answer to " << method << "\n" << log();
    return {};
  }
  auto answer = boost::json::parse(*line).as_object();
  EXPECT_EQ(answer.at("id"), boost::json::value(id));
  return answer;
}

boost::json::object Server::callTool(std::string_view name, boost::json::object arguments) {
  auto answer =
      request("tools/call", {{"name", boost::json::string(name)}, {"arguments", std::move(arguments)}});
  auto* result = answer.if_contains("result");
  if (result == nullptr) {
    ADD_FAILURE() << name << " has no result: " << boost::json::serialize(answer);
    return {};
  }
  return result->as_object();
}

std::string Server::call(std::string_view name, boost::json::object arguments) {
  const auto result = callTool(name, std::move(arguments));
  const auto* content = result.if_contains("content");
  if (content == nullptr) return {};
  return std::string(content->as_array().at(0).at("text").as_string());
}

void Server::connect() {
  const auto text = call("session_set_defaults", {{"connectMode", "usb"}});
  ASSERT_NE(std::string::npos, text.find("Connected via USB tunnel")) << text << "\n" << log();
}

ScriptedApp::ScriptedApp(LenientSyncPayload sync, std::uint16_t port) : sync_(std::move(sync)) {
  auto listener = CompanionListener::listen(port);
  if (!listener) {
    ADD_FAILURE() << "cannot listen on port " << port << ": " << listener.reason();
    return;
  }
  listener_ = *std::move(listener);
  acceptor_ = std::thread([this] { acceptLinks(); });
}

ScriptedApp::~ScriptedApp() {
  if (listener_) listener_->shutdown();
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
    for (const auto& link : links_) link->shutdown();
  }
  if (acceptor_.joinable()) acceptor_.join();
  for (auto& thread : threads_) thread.join();
}

void ScriptedApp::acceptLinks() {
  while (std::shared_ptr<CompanionConnection> link = listener_->accept()) {
    std::lock_guard lock(mutex_);
    if (ending_) {
      link->shutdown();
      return;
    }
    links_.push_back(link);
    threads_.emplace_back([this, link] { serve(link); });
    changed_.notify_all();
  }
}

void ScriptedApp::serve(const std::shared_ptr<CompanionConnection>& link) {
  LenientSyncPayload sync;
  {
    std::lock_guard lock(mutex_);
    sync = sync_;
  }
  link->send(CompanionMessage::make(CompanionMessageType::syncFull, sync, DateEpoch::Unix1970));
  while (const auto message = link->receive()) {
    const std::string type = message->registered ? std::string(rawString(message->registered->type))
                             : message->free     ? message->free->type
                                                 : "";
    const std::string payload = message->registered ? message->registered->payload.data
                                : message->free     ? message->free->payload.data
                                                    : "";
    Answer answer;
    {
      std::lock_guard lock(mutex_);
      commands_[type].push_back(payload);
      if (const auto it = answers_.find(type); it != answers_.end()) answer = it->second;
      changed_.notify_all();
    }
    if (!answer) continue;
    for (const auto& response : answer(payload)) link->send(response);
  }
}

void ScriptedApp::answer(std::string type, Answer answer) {
  std::lock_guard lock(mutex_);
  answers_[std::move(type)] = std::move(answer);
}

void ScriptedApp::setSync(LenientSyncPayload sync) {
  std::lock_guard lock(mutex_);
  sync_ = std::move(sync);
}

void ScriptedApp::sendBody(std::string_view body) {
  ASSERT_TRUE(waitForLink());
  std::shared_ptr<CompanionConnection> link;
  {
    std::lock_guard lock(mutex_);
    link = links_.back();
  }
  link->sendBody(body);
}

void ScriptedApp::sendRaw(std::string_view bytes) {
  ASSERT_TRUE(waitForLink());
  std::shared_ptr<CompanionConnection> link;
  {
    std::lock_guard lock(mutex_);
    link = links_.back();
  }
  link->sendBytes(bytes);
}

std::optional<std::string> ScriptedApp::waitForCommand(std::string_view type, double seconds) {
  std::unique_lock lock(mutex_);
  const auto arrived = [&] {
    const auto it = commands_.find(type);
    return it != commands_.end() && !it->second.empty();
  };
  if (!changed_.wait_until(lock, after(seconds), arrived)) return std::nullopt;
  auto& queue = commands_.find(type)->second;
  std::string payload = std::move(queue.front());
  queue.pop_front();
  return payload;
}

bool ScriptedApp::waitForLink(int count, double seconds) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, after(seconds), [&] { return static_cast<int>(links_.size()) >= count; });
}

void ScriptedApp::dropLink() {
  std::lock_guard lock(mutex_);
  if (!links_.empty()) links_.back()->shutdown();
}

SampleApp::SampleApp(std::vector<std::string> arguments) {
  controlPath_ = "/tmp/sample-control";
  std::vector<std::string> all{WYVLET_SAMPLE_APP_PATH, "--control", controlPath_};
  all.insert(all.end(), arguments.begin(), arguments.end());
  process_ = std::make_unique<Process>(Process::Options{.arguments = std::move(all)});
  const auto ready = process_->readLine();
  EXPECT_TRUE(ready && ready->starts_with("ready ")) << process_->errorText();
}

SampleApp::~SampleApp() {
  process_->signal(SIGTERM);
  process_->waitForExit();
}

std::string SampleApp::control(std::string_view command) {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, controlPath_.c_str(), sizeof address.sun_path - 1);
  std::string answer;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    const auto line = std::string(command) + "\n";
    EXPECT_EQ(static_cast<ssize_t>(line.size()), ::send(fd, line.data(), line.size(), MSG_NOSIGNAL));
    char byte = 0;
    while (::recv(fd, &byte, 1, 0) == 1 && byte != '\n') answer += byte;
  } else {
    ADD_FAILURE() << "the sample app's control channel does not answer: " << std::strerror(errno);
  }
  ::close(fd);
  return answer;
}

std::string httpExchange(std::string_view bytes, std::uint16_t port) {
  if (!waitForPort(port)) return {};
  const int fd = connectToPort(port);
  std::string answer;
  while (!bytes.empty()) {
    const ssize_t count = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) break;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  char chunk[65536];
  for (ssize_t count = 0; (count = ::recv(fd, chunk, sizeof chunk, 0)) > 0;) {
    answer.append(chunk, static_cast<std::size_t>(count));
  }
  ::close(fd);
  return answer;
}

bool waitForPort(std::uint16_t port, double seconds) {
  return eventually(
      [port] {
        const int fd = connectToPort(port);
        if (fd >= 0) ::close(fd);
        return fd >= 0;
      },
      seconds);
}

bool eventually(const std::function<bool()>& check, double seconds) {
  const auto deadline = after(seconds);
  while (!check()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace wyvlet::test
