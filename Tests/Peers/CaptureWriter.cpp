#include "Peers/CaptureWriter.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace wyvlet::test {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

void writeFile(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace

CaptureWriter::CaptureWriter(const std::string& home)
    : folder_(home + "/.wyvletqa"),
      capture_{{"connected", true},
               {"package", "com.example.shop"},
               {"httpRequests", json::array()},
               {"logEntries", json::array()}} {
  fs::create_directories(folder_);
}

CaptureWriter::~CaptureWriter() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  ended_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void CaptureWriter::set(std::string_view key, json::value value) {
  const std::lock_guard lock(mutex_);
  capture_[key] = std::move(value);
}

void CaptureWriter::setAge(std::chrono::milliseconds age) {
  const std::lock_guard lock(mutex_);
  age_ = age;
}

std::string CaptureWriter::text() {
  const std::lock_guard lock(mutex_);
  const auto now = std::chrono::system_clock::now().time_since_epoch() - age_;
  capture_["timestamp"] = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  return json::serialize(capture_);
}

void CaptureWriter::write() {
  // The test and the thread that keeps the file fresh may write at the same time.
  static std::atomic<unsigned> serial = 0;
  const auto beside = capturePath() + ".new" + std::to_string(serial++);
  writeFile(beside, text());
  fs::rename(beside, capturePath());
}

void CaptureWriter::writeTorn() {
  const auto whole = text();
  writeFile(capturePath(), std::string_view(whole).substr(0, whole.size() / 2));
}

void CaptureWriter::writeBytes(std::string_view bytes) { writeFile(capturePath(), bytes); }

void CaptureWriter::remove() { fs::remove(capturePath()); }

void CaptureWriter::keepFresh(json::array prefsEntries) {
  write();
  thread_ = std::thread([this, prefsEntries = std::move(prefsEntries)] {
    std::unique_lock lock(mutex_);
    // A script has nothing to wake it either: it looks again and again.
    while (!ended_.wait_for(lock, std::chrono::milliseconds(50), [this] { return ending_; })) {
      lock.unlock();
      answerCommand(prefsEntries);
      write();
      lock.lock();
    }
  });
}

void CaptureWriter::answerCommand(const json::array& prefsEntries) {
  const auto asked = command();
  if (!asked.is_object() || asked.get_object().if_contains("action") == nullptr) return;
  if (asked.at("action") == "read_prefs") set("prefsEntries", prefsEntries);
}

json::value CaptureWriter::command() const {
  std::ifstream file(commandsPath(), std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  json::error_code error;
  auto value = json::parse(text, error);
  return error ? json::value() : value;
}

}  // namespace wyvlet::test
