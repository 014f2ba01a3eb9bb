#include "WyvletSampleApp/ControlServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>
#include <optional>
#include <system_error>
#include <utility>

#include "Support/Environment.h"
#include "Support/Threads.h"

namespace wyvlet::sample {
namespace {

constexpr std::size_t kMostClients = 32;
constexpr std::size_t kMostLineBytes = std::size_t{1} << 20;

std::string systemReason(const std::string& what) {
  return what + ": " + std::generic_category().message(errno);
}

bool sendAll(int socket, std::string_view bytes) {
#if defined(MSG_NOSIGNAL)
  constexpr int kFlags = MSG_NOSIGNAL;
#else
  constexpr int kFlags = 0;
#endif
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), kFlags);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

void prepare(int socket) {
  ::fcntl(socket, F_SETFD, FD_CLOEXEC);
#if defined(SO_NOSIGPIPE)
  const int on = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

std::optional<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return {};
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

/// Whether `path` is a socket file that its maker left behind.
bool isAbandoned(const sockaddr_un& address) {
  struct stat status {};
  if (::lstat(address.sun_path, &status) != 0 || !S_ISSOCK(status.st_mode)) return false;
  const int probe = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (probe < 0) return false;
  const bool refused = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
                       errno == ECONNREFUSED;
  ::close(probe);
  return refused;
}

}  // namespace

/// One connected client, with its thread.
class ControlServer::Client {
 public:
  Client(AppLoop& loop, ControlHandler& handler, int socket)
      : loop_(loop), handler_(handler), socket_(socket), thread_([this] { serve(); }) {}

  ~Client() {
    ::shutdown(socket_, SHUT_RDWR);
    thread_.join();
    ::close(socket_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool isDone() const { return done_; }

 private:
  void serve() {
    nameThread("sample-control");
    std::string buffer;
    std::array<char, 4096> chunk{};
    while (true) {
      const ssize_t count = ::recv(socket_, chunk.data(), chunk.size(), 0);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) break;
      buffer.append(chunk.data(), static_cast<std::size_t>(count));
      if (!answerLines(buffer) || buffer.size() > kMostLineBytes) break;
    }
    // The peer learns of the end now; the descriptor itself goes with the object.
    ::shutdown(socket_, SHUT_RDWR);
    done_ = true;
  }

  bool answerLines(std::string& buffer) {
    std::size_t start = 0;
    for (auto end = buffer.find('\n'); end != std::string::npos; end = buffer.find('\n', start)) {
      std::string line = buffer.substr(start, end - start);
      if (line.ends_with('\r')) line.pop_back();
      start = end + 1;
      ControlAnswer answer = ask(std::move(line));
      const bool sent = sendAll(socket_, answer.line() + "\n");
      if (answer.afterwards) loop_.post(std::move(answer.afterwards));
      if (!sent) return false;
    }
    buffer.erase(0, start);
    return true;
  }

  ControlAnswer ask(std::string line) {
    auto promise = std::make_shared<std::promise<ControlAnswer>>();
    auto future = promise->get_future();
    loop_.post([this, line = std::move(line), promise] {
      handler_.handle(line, [promise](ControlAnswer answer) { promise->set_value(std::move(answer)); });
    });
    promise.reset();
    try {
      return future.get();
    } catch (const std::future_error&) {  // the loop ended with the command still waiting
      return {false, "the app is ending", {}};
    }
  }

  AppLoop& loop_;
  ControlHandler& handler_;
  const int socket_;
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

ControlServer::ControlServer(AppLoop& loop, ControlHandler& handler) : loop_(loop), handler_(handler) {}

ControlServer::~ControlServer() {
  if (acceptor_.joinable()) {
    const ssize_t written = ::write(wakeWriter_, "", 1);
    static_cast<void>(written);
    acceptor_.join();
  }
  clients_.clear();
  for (int descriptor : {socket_, wakeReader_, wakeWriter_}) {
    if (descriptor >= 0) ::close(descriptor);
  }
  if (!path_.empty()) ::unlink(path_.c_str());
}

std::string ControlServer::listen(const std::string& path) {
  const auto address = addressOf(path);
  if (!address) return "the control path is empty or too long: " + path;
  std::array<int, 2> wake{};
  if (::pipe(wake.data()) != 0) return systemReason("pipe");
  wakeReader_ = wake[0];
  wakeWriter_ = wake[1];
  ::fcntl(wakeReader_, F_SETFD, FD_CLOEXEC);
  ::fcntl(wakeWriter_, F_SETFD, FD_CLOEXEC);
  socket_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (socket_ < 0) return systemReason("socket");
  prepare(socket_);
  if (isAbandoned(*address)) ::unlink(path.c_str());
  if (::bind(socket_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    return systemReason("bind " + path);
  }
  path_ = path;
  if (::chmod(path.c_str(), 0600) != 0) return systemReason("chmod " + path);
  if (::listen(socket_, SOMAXCONN) != 0) return systemReason("listen on " + path);
  acceptor_ = std::thread([this] { accept(); });
  return "";
}

std::string ControlServer::defaultPath() {
  std::string parent = environmentVariable("XDG_RUNTIME_DIR").value_or("");
  if (parent.empty()) parent = environmentVariable("TMPDIR").value_or("");
  if (parent.empty()) parent = "/tmp";
  while (parent.size() > 1 && parent.ends_with('/')) parent.pop_back();
  const std::string directory = parent + "/wyvlet-sample-" + std::to_string(::getuid());
  if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) return {};
  struct stat status {};
  const bool ours = ::lstat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                    status.st_uid == ::getuid() && (status.st_mode & 077) == 0;
  if (!ours) return {};
  return directory + "/control-" + std::to_string(::getpid()) + ".sock";
}

void ControlServer::accept() {
  nameThread("sample-control");
  while (true) {
    std::array<pollfd, 2> waited{{{wakeReader_, POLLIN, 0}, {socket_, POLLIN, 0}}};
    if (::poll(waited.data(), waited.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (waited[0].revents != 0) return;
    clients_.remove_if([](const auto& client) { return client->isDone(); });
    const int connected = ::accept(socket_, nullptr, nullptr);
    if (connected < 0) continue;
    prepare(connected);
    if (clients_.size() >= kMostClients) {
      ::close(connected);
    } else {
      clients_.push_back(std::make_unique<Client>(loop_, handler_, connected));
    }
  }
}

}  // namespace wyvlet::sample
