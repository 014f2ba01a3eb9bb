#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Support/Memory.h"

namespace wyvlet {
namespace {

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

long residentMegabytes() {
  long total = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * ::sysconf(_SC_PAGESIZE) >> 20;
}

TEST(Memory, WhatAThreadHasFreedGoesBackToTheSystem) {
  shareOneMemoryPool();
  const long before = residentMegabytes();
  std::unique_ptr<char[]> last;
  std::thread([&] {
    std::vector<std::unique_ptr<char[]>> blocks;
    for (int i = 0; i < 100'000; ++i) blocks.push_back(std::make_unique<char[]>(1000));
    // What lies behind all of it stays, so that the end of the pool cannot simply be cut off.
    last = std::make_unique<char[]>(1000);
    EXPECT_GT(residentMegabytes(), before + 80);
  }).join();
  returnFreedMemory();
  EXPECT_LT(residentMegabytes(), before + 10);
}

#endif

}  // namespace
}  // namespace wyvlet
