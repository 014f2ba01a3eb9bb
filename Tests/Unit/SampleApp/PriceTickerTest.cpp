#include <gtest/gtest.h>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/PriceTicker.h"

namespace wyvlet::sample {
namespace {

class PriceTickerTest : public testing::Test {
 protected:
  PriceTickerTest() { ticker.open(); }
  std::size_t frames() const { return world.sync().wsConnections->at(0).frames.size(); }

  World world;
  PriceTicker ticker{world.loop, world.probe};
};

TEST_F(PriceTickerTest, SubscribesWhenItOpens) {
  EXPECT_EQ(frames(), 3U);
  const auto first = world.sync().wsConnections->at(0).frames.at(0);
  EXPECT_EQ(first.direction, "Sent");
  EXPECT_EQ(first.payloadString, R"({"op":"subscribe","channel":"prices"})");
}

TEST_F(PriceTickerTest, PricesFlowOnlyWhileTheyAreSeen) {
  world.pass(10);
  EXPECT_EQ(frames(), 3U);
  ticker.setVisible(true);
  world.pass(10);
  EXPECT_EQ(frames(), 8U);
  ticker.setVisible(false);
  world.pass(10);
  EXPECT_EQ(frames(), 8U);
}

TEST_F(PriceTickerTest, ComingBackDoesNotDoubleTheFlow) {
  ticker.setVisible(true);
  world.pass(1);
  ticker.setVisible(false);
  ticker.setVisible(true);
  ticker.setVisible(true);
  world.pass(4);
  EXPECT_EQ(frames(), 5U);
}

}  // namespace
}  // namespace wyvlet::sample
