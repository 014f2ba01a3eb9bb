#include <gtest/gtest.h>

#include <thread>

#include "WyvletSampleApp/PerformanceMeter.h"

namespace wyvlet::sample {
namespace {

TEST(PerformanceMeter, AnUndisturbedLoopRunsAtSixtyFrames) {
  AppLoop loop;
  PerformanceMeter meter(loop);
  meter.start();
  loop.advance(5);
  const auto snapshot = meter.snapshot("Home");
  EXPECT_NEAR(snapshot.fps, 60, 1);
  EXPECT_NEAR(snapshot.avgFPS, 60, 1);
  EXPECT_EQ(snapshot.screen, "Home");
}

TEST(PerformanceMeter, ABlockedLoopDropsFrames) {
  AppLoop loop;
  PerformanceMeter meter(loop);
  meter.start();
  loop.post([&] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); });
  loop.after(1, [&] { loop.stop(); });
  loop.run();
  EXPECT_LT(meter.snapshot("Home").fps, 45);
}

TEST(PerformanceMeter, MemoryIsThatOfTheProcess) {
  AppLoop loop;
  const PerformanceMeter meter(loop);
  const auto snapshot = meter.snapshot("Home");
  EXPECT_GT(snapshot.memoryMB, 1);
  EXPECT_GE(snapshot.peakMemoryMB * 1.05, snapshot.memoryMB);
}

TEST(PerformanceMeter, BeforeTheStartThereAreNoFrames) {
  AppLoop loop;
  const PerformanceMeter meter(loop);
  EXPECT_EQ(meter.snapshot("Home").fps, 0);
  EXPECT_EQ(meter.snapshot("Home").avgFPS, 0);
}

}  // namespace
}  // namespace wyvlet::sample
