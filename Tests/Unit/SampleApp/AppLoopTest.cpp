#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "WyvletSampleApp/AppLoop.h"

namespace wyvlet::sample {
namespace {

TEST(AppLoop, TasksRunInTheOrderOfPosting) {
  AppLoop loop;
  std::string order;
  loop.post([&] { order += 'a'; });
  loop.post([&] { order += 'b'; });
  EXPECT_EQ(order, "");
  loop.advance(0);
  EXPECT_EQ(order, "ab");
}

TEST(AppLoop, TimersRunByTimeAndEqualOnesInTheOrderOfSetting) {
  AppLoop loop;
  std::string order;
  loop.after(2, [&] { order += 'c'; });
  loop.after(1, [&] { order += 'a'; });
  loop.after(1, [&] { order += 'b'; });
  loop.advance(0.999);
  EXPECT_EQ(order, "");
  loop.advance(0.001);
  EXPECT_EQ(order, "ab");
  loop.advance(5);
  EXPECT_EQ(order, "abc");
}

TEST(AppLoop, ATimerSeesItsOwnTimeAndMaySetTheNext) {
  AppLoop loop;
  std::vector<double> times;
  std::function<void()> tick = [&] {
    times.push_back(loop.now());
    loop.after(0.5, tick);
  };
  loop.after(0.5, tick);
  loop.advance(1.6);
  EXPECT_EQ(times, (std::vector<double>{0.5, 1.0, 1.5}));
  EXPECT_DOUBLE_EQ(loop.now(), 1.6);
}

TEST(AppLoop, TheHeadStartLiesInThePast) {
  const double before = Date::now().secondsSince1970;
  AppLoop loop(3);
  EXPECT_LE(loop.wallTime().secondsSince1970, Date::now().secondsSince1970 - 3);
  loop.advance(3);
  EXPECT_GE(loop.wallTime().secondsSince1970, before);
  EXPECT_LE(loop.wallTime().secondsSince1970, Date::now().secondsSince1970);
}

TEST(AppLoop, CallBringsAValueBackFromTheLoopsThread) {
  AppLoop loop;
  std::thread runner([&] { loop.run(); });
  const auto id = loop.call([] { return std::this_thread::get_id(); });
  ASSERT_TRUE(id);
  EXPECT_EQ(*id, runner.get_id());
  loop.stop();
  runner.join();
}

TEST(AppLoop, RunningTimersFireByTheSteadyClock) {
  AppLoop loop;
  double firedAt = 0;
  loop.after(0.02, [&] {
    firedAt = loop.now();
    loop.stop();
  });
  loop.run();
  EXPECT_GE(firedAt, 0.02);
}

TEST(AppLoop, AFloodOfTasksDoesNotDelayATimer) {
  AppLoop loop;
  std::function<void()> flood = [&] { loop.post(flood); };
  loop.post(flood);
  bool fired = false;
  loop.after(0.01, [&] {
    fired = true;
    loop.stop();
  });
  loop.run();
  EXPECT_TRUE(fired);
}

TEST(AppLoop, AStoppedLoopRefusesTasksAndReleasesCallers) {
  AppLoop loop;
  std::thread caller;
  loop.post([&] {
    // Queued behind this task, so never run.
    caller = std::thread([&] { EXPECT_FALSE(loop.call([] { return 1; })); });
    loop.stop();
  });
  loop.run();
  caller.join();
  EXPECT_FALSE(loop.post([] {}));
  EXPECT_FALSE(loop.call([] { return 1; }));
}

}  // namespace
}  // namespace wyvlet::sample
