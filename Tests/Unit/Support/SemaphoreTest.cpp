#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "Support/Semaphore.h"

namespace wyvlet {
namespace {

TEST(Semaphore, SignalsStayCounted) {
  Semaphore semaphore;
  semaphore.signal();
  semaphore.signal();
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_FALSE(semaphore.wait(0));
}

TEST(Semaphore, WaitEndsWithItsTimeout) {
  Semaphore semaphore;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(semaphore.wait(0.05));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST(Semaphore, OddTimeoutsAreBounded) {
  Semaphore semaphore;
  EXPECT_FALSE(semaphore.wait(-1));
  EXPECT_FALSE(semaphore.wait(std::numeric_limits<double>::quiet_NaN()));
  semaphore.signal();
  EXPECT_TRUE(semaphore.wait(std::numeric_limits<double>::infinity()));
  semaphore.signal();
  EXPECT_TRUE(semaphore.wait(1e300));
}

TEST(Semaphore, EverySignalWakesOneWaiter) {
  constexpr int kWaiters = 8;
  Semaphore start;
  Semaphore done;
  std::vector<std::thread> threads;
  for (int i = 0; i < kWaiters; ++i) {
    threads.emplace_back([&] {
      EXPECT_TRUE(start.wait(30));
      done.signal();
    });
  }
  for (int i = 0; i < kWaiters; ++i) start.signal();
  for (int i = 0; i < kWaiters; ++i) EXPECT_TRUE(done.wait(30));
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(start.wait(0));
}

}  // namespace
}  // namespace wyvlet
