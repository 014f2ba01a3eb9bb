#include "EndToEnd/ServiceDaemons.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <csignal>
#include <filesystem>
#include <fstream>

namespace wyvlet::test {
namespace {

constexpr const char* kServices = "/etc/avahi/services/";

/// Everybody may do everything: there is nobody else on this bus.
constexpr std::string_view kBusConfiguration = R"(<busconfig>
<type>system</type>
<listen>unix:path=/run/dbus/system_bus_socket</listen>
<auth>EXTERNAL</auth>
<policy context="default">
<allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/><allow user="*"/>
</policy>
</busconfig>
)";

constexpr std::string_view kAvahiConfiguration = R"([server]
host-name=wyvlet-test
allow-interfaces=lo
use-ipv4=yes
use-ipv6=yes
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
)";

void cover(const char* folder) {
  std::filesystem::create_directories(folder);
  ASSERT_EQ(0, ::mount("tmpfs", folder, "tmpfs", 0, nullptr)) << folder;
}

void write(const std::string& path, std::string_view text) { std::ofstream(path) << text; }

std::string serviceFile(const std::string& name) { return kServices + name + ".service"; }

}  // namespace

ServiceDaemons::ServiceDaemons() {
  cover("/run");
  cover("/etc/avahi");
  std::filesystem::create_directories("/run/dbus");
  std::filesystem::create_directories("/run/avahi-daemon");
  std::filesystem::create_directories(kServices);
  write("/run/bus.conf", kBusConfiguration);
  write("/run/avahi.conf", kAvahiConfiguration);
  startBus();
  startAvahi();
}

ServiceDaemons::~ServiceDaemons() {
  avahi_.reset();
  bus_.reset();
  ::umount2("/etc/avahi", MNT_DETACH);
  ::umount2("/run", MNT_DETACH);
}

void ServiceDaemons::startBus() {
  bus_ = std::make_unique<Process>(
      Process::Options{.arguments = {"dbus-daemon", "--config-file=/run/bus.conf", "--nofork", "--nopidfile",
                                     "--print-address=1"}});
  ASSERT_TRUE(bus_->readLine()) << "the bus prints its address when it is there";
}

void ServiceDaemons::startAvahi() {
  avahi_ = std::make_unique<Process>(
      Process::Options{.arguments = {"/usr/sbin/avahi-daemon", "--no-drop-root", "--no-chroot",
                                     "--no-rlimits", "--no-proc-title", "--file=/run/avahi.conf"}});
  ASSERT_TRUE(avahi_->waitForError("Server startup complete")) << avahi_->errorText();
}

void ServiceDaemons::killAvahi() {
  avahi_->signal(SIGKILL);
  avahi_->waitForExit();
}

void ServiceDaemons::killBus() {
  bus_->signal(SIGKILL);
  bus_->waitForExit();
}

void ServiceDaemons::announce(const std::string& name, std::uint16_t port) {
  write("/run/new.service", R"(<?xml version="1.0" standalone="no"?>
<!DOCTYPE service-group SYSTEM "avahi-service.dtd">
<service-group><name>)" + name + R"(</name><service><type>_wyvlet._tcp</type><port>)" +
                                std::to_string(port) +
                                R"(</port></service></service-group>
)");
  // The daemon watches the folder, so the file must appear whole.
  std::filesystem::copy_file("/run/new.service", kServices + ("." + name));
  std::filesystem::rename(kServices + ("." + name), serviceFile(name));
  ASSERT_TRUE(
      avahi_->waitForError("Service \"" + name + "\" (" + serviceFile(name) + ") successfully established."))
      << avahi_->errorText();
}

void ServiceDaemons::withdraw(const std::string& name) { std::filesystem::remove(serviceFile(name)); }

}  // namespace wyvlet::test
