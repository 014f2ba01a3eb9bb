#include "Peers/StandIns.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace wyvlet::test {
namespace {

namespace fs = std::filesystem;

void require(bool ok, const std::string& what) {
  if (!ok) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

StandIns::StandIns() {
  folder_ = (fs::temp_directory_path() / "stand-ins-XXXXXX").string();
  require(::mkdtemp(folder_.data()) != nullptr, "mkdtemp");
  fs::create_directory(binFolder());
  const auto lifeLine = folder_ + "/lifeline";
  require(::mkfifo(lifeLine.c_str(), 0600) == 0, "mkfifo");
  lifeLine_ = ::open(lifeLine.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  require(lifeLine_ >= 0, "open the life line");
  ::setenv("WYVLET_STAND_INS", folder_.c_str(), 1);
}

StandIns::~StandIns() {
  ::unsetenv("WYVLET_STAND_INS");
  ::close(lifeLine_);
  fs::remove_all(folder_);
}

void StandIns::install(const std::string& name) { installAt(binFolder() + "/" + name); }

void StandIns::installAt(const std::string& path) {
  fs::create_directories(fs::path(path).parent_path());
  fs::create_symlink(WYVLET_RECORDING_TOOL, path);
}

void StandIns::installInUsrBin(const std::string& name) {
  // A folder of links to the real programs takes the place of /usr/bin, because the folder itself
  // belongs to the machine. The real one stays read-only and outside our folder, so that no clearing up
  // can ever reach it.
  static const std::string real = "/tmp/real-usr-bin";
  if (fs::create_directory(real)) {
    require(::mount("/usr/bin", real.c_str(), nullptr, MS_BIND, nullptr) == 0, "bind /usr/bin");
    require(::mount(nullptr, real.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0,
            "make the real /usr/bin read-only");
    require(::mount("tmpfs", "/usr/bin", "tmpfs", 0, "mode=755") == 0, "cover /usr/bin");
    for (const auto& program : fs::directory_iterator(real)) {
      fs::create_symlink(program.path(), "/usr/bin" / program.path().filename());
    }
  }
  fs::remove("/usr/bin/" + name);
  installAt("/usr/bin/" + name);
}

void StandIns::tell(const std::string& tool, const boost::json::array& behaviours) const {
  const auto path = folder_ + "/" + tool + ".json";
  std::ofstream(path + ".new") << boost::json::serialize(behaviours);
  fs::rename(path + ".new", path);
}

std::vector<StandIns::Call> StandIns::calls() const {
  std::vector<Call> result;
  std::ifstream file(folder_ + "/calls");
  for (std::string line; std::getline(file, line);) {
    const auto object = boost::json::parse(line).as_object();
    Call call;
    call.tool = boost::json::value_to<std::string>(object.at("tool"));
    call.arguments = boost::json::value_to<std::vector<std::string>>(object.at("arguments"));
    call.environment = boost::json::value_to<std::map<std::string, std::string>>(object.at("environment"));
    call.input = boost::json::value_to<std::string>(object.at("input"));
    result.push_back(std::move(call));
  }
  return result;
}

std::vector<StandIns::Call> StandIns::calls(std::string_view tool) const {
  auto result = calls();
  std::erase_if(result, [&](const Call& call) { return call.tool != tool; });
  return result;
}

void StandIns::forgetCalls() const { fs::remove(folder_ + "/calls"); }

bool StandIns::anyGrandchildAlive() const {
  pollfd waiting{lifeLine_, POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 0;
}

bool StandIns::allGrandchildrenEnded() const {
  pollfd waiting{lifeLine_, POLLIN, 0};
  return ::poll(&waiting, 1, 10000) == 1 && (waiting.revents & POLLHUP) != 0;
}

}  // namespace wyvlet::test
