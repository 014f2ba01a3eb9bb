#include "EndToEnd/Isolation.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace wyvlet::test {
namespace {

void require(bool ok, const char* what) {
  if (ok) return;
  std::fprintf(stderr, "cannot isolate the test: %s: %s\n", what, std::strerror(errno));
  std::_Exit(2);
}

void write(const char* path, const std::string& text) { std::ofstream(path) << text; }

}  // namespace

void setNetwork(bool up) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  require(fd >= 0, "socket");
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  require(::ioctl(fd, SIOCGIFFLAGS, &request) == 0, "SIOCGIFFLAGS");
  const int flags = up ? request.ifr_flags | IFF_UP | IFF_MULTICAST : request.ifr_flags & ~IFF_UP;
  request.ifr_flags = static_cast<short>(flags);
  require(::ioctl(fd, SIOCSIFFLAGS, &request) == 0, "SIOCSIFFLAGS");
  ::close(fd);
}

void isolateProcess(const std::vector<std::string>& visible) {
  const auto uid = ::geteuid();
  const auto gid = ::getegid();
  const int user = uid == 0 ? 0 : CLONE_NEWUSER;
  require(::unshare(CLONE_NEWNET | CLONE_NEWNS | user) == 0, "unshare");
  if (user != 0) {
    write("/proc/self/setgroups", "deny");
    write("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
  }
  require(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "make mounts private");

  std::vector<int> kept;
  for (const auto& folder : visible) kept.push_back(::open(folder.c_str(), O_PATH | O_CLOEXEC));
  require(::mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0, "mount /tmp");
  for (std::size_t i = 0; i < visible.size(); ++i) {
    if (!visible[i].starts_with("/tmp/") || kept[i] < 0) continue;
    std::filesystem::create_directories(visible[i]);
    const auto source = "/proc/self/fd/" + std::to_string(kept[i]);
    require(::mount(source.c_str(), visible[i].c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
            "bind mount");
  }
  for (const int fd : kept) {
    if (fd >= 0) ::close(fd);
  }
  setNetwork(true);
}

}  // namespace wyvlet::test
