#pragma once

#include <sys/types.h>

#include <boost/json.hpp>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/FullSync.h"

/// The real programs, driven from outside. Every end-to-end test runs in a network and a /tmp of its
/// own (see Isolation.h), so the fixed ports and paths are free: 54321, 8686, /tmp/wyvletprobe_ready.
namespace wyvlet::test {

/// How long a test waits for something that must come; long, because sanitizers are slow.
inline constexpr double kPatience = 30.0;

/// A temporary home directory for the test's processes; `HOME` of every process started later.
std::string homeDirectoryOfTest();

/// A child process whose three standard descriptors are pipes to the test. Reading goes on in the
/// background, so the child never blocks on a full pipe unless told otherwise.
class Process {
 public:
  struct Options {
    std::vector<std::string> arguments = {};              ///< program first
    std::map<std::string, std::string> environment = {};  ///< on top of the test's own
    std::string pathPrefix = {};                          ///< a folder put first on PATH
    bool readOutput = true;                               ///< false: leave standard output in the pipe
    bool readErrors = true;                               ///< false: leave standard error in the pipe
  };

  explicit Process(Options options);
  ~Process();  ///< kills what still runs
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  void write(std::string_view bytes);
  void closeInput();

  /// The next line of standard output, waiting up to `seconds`.
  std::optional<std::string> readLine(double seconds = kPatience);

  /// Waits until standard error holds `text`; false when it does not come in time.
  bool waitForError(std::string_view text, double seconds = kPatience);
  std::string errorText();
  /// All of standard error, waiting for its end; for a process that leaves nothing running behind.
  std::string wholeErrorText();

  /// Starts reading a stream that was left alone.
  void startReadingOutput();
  void startReadingErrors();

  void signal(int number);
  /// Waits for the end and returns the exit status (128 plus the signal when it was killed); nothing
  /// when it still runs after `seconds`.
  std::optional<int> waitForExit(double seconds = kPatience);

 private:
  struct Stream {
    int fd = -1;
    std::string text;
    std::size_t taken = 0;
    bool ended = false;
    std::thread thread;
  };
  void startReading(Stream& stream);

  pid_t pid_ = -1;
  int input_ = -1;
  std::mutex mutex_;
  std::condition_variable changed_;
  Stream output_;
  Stream errors_;
  std::optional<int> exitStatus_;
};

/// The server under test, as an agent drives it.
class Server {
 public:
  explicit Server(Process::Options options = {});
  /// Ends the server and fails the test when it does not end cleanly with status 0.
  ~Server();

  Process& process() { return *process_; }

  void sendLine(std::string_view line);
  std::optional<std::string> readLine(double seconds = kPatience) { return process_->readLine(seconds); }

  /// Sends one request with a fresh id and returns the whole answer, whose id is checked.
  boost::json::object request(std::string_view method, boost::json::object params = {});
  /// One `tools/call`; its "result".
  boost::json::object callTool(std::string_view name, boost::json::object arguments = {});
  /// One `tools/call`; the text of its first item.
  std::string call(std::string_view name, boost::json::object arguments = {});

  /// Connects to the app on 127.0.0.1:54321 by the "usb" mode; fails the test when that fails.
  void connect();

  bool waitForLog(std::string_view text, double seconds = kPatience) {
    return process_->waitForError(text, seconds);
  }
  std::string log() { return process_->errorText(); }

 private:
  std::unique_ptr<Process> process_;
  int nextId_ = 1;
};

/// A companion app inside the test: sends the sync it was given, answers what it was told to answer,
/// records what it was asked.
class ScriptedApp {
 public:
  /// What to answer to one command: nothing, or messages.
  using Answer = std::function<std::vector<RawMessage>(const std::string& payload)>;

  explicit ScriptedApp(LenientSyncPayload sync = {}, std::uint16_t port = kDirectPort);
  ~ScriptedApp();

  /// Set before the server connects, or any time for later commands. Keyed by the raw type string.
  void answer(std::string type, Answer answer);
  /// Answers `type` with one message of `responseType` carrying `record`.
  template <class Record>
  void answerWith(std::string type, std::string responseType, const Record& record) {
    answer(std::move(type), [responseType, payload = encodeRecord(record)](const std::string&) {
      return std::vector<RawMessage>{{responseType, Bytes{payload}, Date::now()}};
    });
  }

  /// Sends an event with a record to the newest link.
  template <class Record>
  void sends(CompanionMessageType type, const Record& record) {
    sendBody(encodeEnvelope(CompanionMessage::make(type, record, DateEpoch::Unix1970), DateEpoch::Unix1970));
  }
  void sendBody(std::string_view body);
  /// Sends bytes as they are, without a frame header.
  void sendRaw(std::string_view bytes);

  /// Waits for the next command of that type, in order of arrival, and returns its payload.
  std::optional<std::string> waitForCommand(std::string_view type, double seconds = kPatience);

  /// Waits until a server has connected `count` times.
  bool waitForLink(int count = 1, double seconds = kPatience);
  void dropLink();
  void setSync(LenientSyncPayload sync);
  std::uint16_t port() const { return listener_->port(); }

 private:
  void acceptLinks();
  void serve(const std::shared_ptr<CompanionConnection>& link);

  std::unique_ptr<CompanionListener> listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  LenientSyncPayload sync_;
  std::map<std::string, Answer, std::less<>> answers_;
  std::map<std::string, std::deque<std::string>, std::less<>> commands_;
  std::vector<std::shared_ptr<CompanionConnection>> links_;
  std::vector<std::thread> threads_;  // one a link; the acceptor's until it has been joined
  std::thread acceptor_;
  bool ending_ = false;
};

/// The sample app as a process of its own.
class SampleApp {
 public:
  explicit SampleApp(std::vector<std::string> arguments = {});
  ~SampleApp();

  Process& process() { return *process_; }
  /// Sends one line to the control channel and returns the line that answers it.
  std::string control(std::string_view command);
  const std::string& controlPath() const { return controlPath_; }

 private:
  std::unique_ptr<Process> process_;
  std::string controlPath_;
};

/// Sends raw bytes to the server's HTTP port and returns everything that comes back until the end.
std::string httpExchange(std::string_view bytes, std::uint16_t port = 8686);

/// Waits until something listens on a loopback port.
bool waitForPort(std::uint16_t port, double seconds = kPatience);

/// Runs `check` until it is true or the patience is over; for states that no event announces.
bool eventually(const std::function<bool()>& check, double seconds = kPatience);

}  // namespace wyvlet::test
