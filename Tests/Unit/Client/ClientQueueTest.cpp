#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Client/ClientQueue.h"
#include "Unit/Client/LogCapture.h"

namespace wyvlet {
namespace {

TEST(ClientQueue, RunsWorkInOrderOnOneThread) {
  ClientQueue queue;
  std::vector<int> order;
  std::vector<std::thread::id> threads;
  std::promise<void> done;
  for (int i = 0; i < 100; ++i) {
    queue.post([&, i] {
      order.push_back(i);
      threads.push_back(std::this_thread::get_id());
    });
  }
  queue.post([&] { done.set_value(); });
  done.get_future().wait();
  for (std::size_t i = 0; i < 100; ++i) {
    EXPECT_EQ(order[i], static_cast<int>(i));
    EXPECT_EQ(threads[i], threads[0]);
    EXPECT_NE(threads[i], std::this_thread::get_id());
  }
}

TEST(ClientQueue, WorkMayAddWork) {
  ClientQueue queue;
  std::promise<void> done;
  queue.post([&] { queue.post([&] { done.set_value(); }); });
  done.get_future().wait();
}

TEST(ClientQueue, WorkMayWait) {
  using Clock = std::chrono::steady_clock;
  ClientQueue queue;
  std::promise<Clock::time_point> done;
  bool isFirst = true;
  const auto begin = Clock::now();
  queue.postAfter(std::chrono::milliseconds(50), [&] {
    EXPECT_FALSE(isFirst);
    done.set_value(Clock::now());
  });
  queue.post([&] { isFirst = false; });
  EXPECT_GE(done.get_future().get() - begin, std::chrono::milliseconds(50));
}

TEST(ClientQueue, EndsWhileWorkWaits) {
  auto witness = std::make_shared<int>();
  {
    ClientQueue queue;
    std::promise<void> posted;
    queue.postAfter(std::chrono::hours(1), [witness] { FAIL(); });
    queue.post([&] { posted.set_value(); });
    posted.get_future().wait();
  }
  EXPECT_EQ(witness.use_count(), 1) << "what waited is gone";
}

TEST(ClientQueue, WorkMayAddWorkWhileTheQueueEnds) {
  auto queue = std::make_unique<ClientQueue>();
  std::promise<void> started;
  queue->post([&started, &queue = *queue] {
    started.set_value();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    while (std::chrono::steady_clock::now() < end) queue.post([] {});
  });
  started.get_future().wait();
  queue.reset();
}

TEST(ClientQueue, GoesOnAfterAnException) {
  test::LogCapture log;
  ClientQueue queue;
  std::promise<void> done;
  queue.post([] { throw std::runtime_error("out of luck"); });
  queue.post([&] { done.set_value(); });
  done.get_future().wait();
  EXPECT_TRUE(log.waitFor("[wyvlet] Network callback failed: out of luck"));
}

TEST(ClientQueue, IsFreeToEndUnused) { const ClientQueue queue; }

}  // namespace
}  // namespace wyvlet
