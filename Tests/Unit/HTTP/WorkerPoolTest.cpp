#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>
#include <thread>

#include "HTTP/WorkerPool.h"
#include "Support/Semaphore.h"

namespace wyvlet {
namespace {

using namespace std::chrono_literals;

TEST(WorkerPool, RunsEveryPieceOfWork) {
  std::atomic<int> done = 0;
  Semaphore all;
  WorkerPool pool(4, 10s);
  for (int i = 0; i < 1000; ++i) {
    pool.submit([&] {
      if (++done == 1000) all.signal();
    });
  }
  EXPECT_TRUE(all.wait(30));
}

TEST(WorkerPool, AsManyRunAtOnceAsTheLimitSays) {
  std::latch together(8);
  WorkerPool pool(8, 10s);
  Semaphore done;
  for (int i = 0; i < 8; ++i) {
    pool.submit([&] {
      together.arrive_and_wait();
      done.signal();
    });
  }
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(done.wait(30));
}

TEST(WorkerPool, WorkBeyondTheLimitWaitsItsTurn) {
  Semaphore began, mayEnd;
  std::atomic<int> running = 0;
  std::atomic<int> most = 0;
  {
    WorkerPool pool(2, 10s);
    for (int i = 0; i < 6; ++i) {
      pool.submit([&] {
        const int now = ++running;
        for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
        }
        began.signal();
        EXPECT_TRUE(mayEnd.wait(30));
        --running;
      });
    }
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(began.wait(30));
    for (int i = 2; i < 6; ++i) {
      EXPECT_EQ(2, running);
      mayEnd.signal();
      EXPECT_TRUE(began.wait(30));
    }
    for (int i = 0; i < 2; ++i) mayEnd.signal();
  }
  EXPECT_EQ(2, most);
}

TEST(WorkerPool, WorkersAreUsedAgain) {
  std::set<std::thread::id> threads;
  Semaphore done;
  WorkerPool pool(2, 30s);
  for (int i = 0; i < 20; ++i) {
    pool.submit([&] {
      threads.insert(std::this_thread::get_id());
      done.signal();
    });
    EXPECT_TRUE(done.wait(30));
  }
  EXPECT_LE(threads.size(), 2u);
}

TEST(WorkerPool, WorkersWithoutWorkEndAndNewOnesCome) {
  static std::atomic<int> alive;
  struct CountsThread {
    CountsThread() { ++alive; }
    ~CountsThread() {
      --alive;
      alive.notify_all();
    }
  };
  alive = 0;
  Semaphore done;
  WorkerPool pool(4, 1ms);
  for (int round = 0; round < 3; ++round) {
    pool.submit([&] {
      thread_local CountsThread counts;
      done.signal();
    });
    EXPECT_TRUE(done.wait(30));
    for (int now = alive; now > 0; now = alive) alive.wait(now);
  }
}

TEST(WorkerPool, EndingWaitsForRunningWorkAndDropsTheRest) {
  Semaphore began;
  std::atomic<int> done = 0;
  {
    WorkerPool pool(1, 10s);
    pool.submit([&] {
      began.signal();
      Semaphore never;
      never.wait(0.05);
      ++done;
    });
    pool.submit([&] { done += 100; });
    EXPECT_TRUE(began.wait(30));
  }
  EXPECT_EQ(1, done);
}

}  // namespace
}  // namespace wyvlet
