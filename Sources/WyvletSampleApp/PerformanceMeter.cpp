#include "WyvletSampleApp/PerformanceMeter.h"

#include <sys/resource.h>
#include <unistd.h>

#if defined(__APPLE__)
#include <mach/mach.h>
#else
#include <cstdio>
#endif

#include <string>

namespace wyvlet::sample {
namespace {

constexpr double kFrameSeconds = 1.0 / 60;
constexpr double kMegabyte = 1024.0 * 1024.0;

double residentBytes() {
#if defined(__APPLE__)
  mach_task_basic_info info{};
  mach_msg_type_number_t count = MACH_TASK_BASIC_INFO_COUNT;
  if (task_info(mach_task_self(), MACH_TASK_BASIC_INFO, reinterpret_cast<task_info_t>(&info), &count) !=
      KERN_SUCCESS) {
    return 0;
  }
  return static_cast<double>(info.resident_size);
#else
  std::FILE* file = std::fopen("/proc/self/statm", "re");
  if (file == nullptr) return 0;
  long total = 0;
  long resident = 0;
  const int read = std::fscanf(file, "%ld %ld", &total, &resident);
  std::fclose(file);
  return read == 2 ? static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) : 0;
#endif
}

double peakBytes() {
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
#if defined(__APPLE__)
  return static_cast<double>(usage.ru_maxrss);
#else
  return static_cast<double>(usage.ru_maxrss) * 1024;
#endif
}

}  // namespace

void PerformanceMeter::start() {
  startedAt_ = loop_.now();
  loop_.after(kFrameSeconds, [this] { tick(); });
}

void PerformanceMeter::tick() {
  const double now = loop_.now();
  ++ticks_;
  recent_.push_back(now);
  while (recent_.front() <= now - 1) recent_.pop_front();
  loop_.after(kFrameSeconds, [this] { tick(); });
}

PerfSnapshotResponse PerformanceMeter::snapshot(std::string_view screen) const {
  const double now = loop_.now();
  const double elapsed = now - startedAt_;
  PerfSnapshotResponse response;
  for (double at : recent_) response.fps += at > now - 1 ? 1 : 0;
  response.avgFPS = elapsed > 0 ? static_cast<double>(ticks_) / elapsed : 0;
  response.memoryMB = residentBytes() / kMegabyte;
  response.peakMemoryMB = peakBytes() / kMegabyte;
  response.screen = std::string(screen);
  return response;
}

}  // namespace wyvlet::sample
