// The example of Examples/companion, built against the installed library, as an agent sees it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EndToEnd/Harness.h"

namespace wyvlet::test {
namespace {

TEST(CompanionExample, AnAgentSeesTheKettle) {
  Process kettle({.arguments = {WYVLET_KETTLE_PATH}});
  ASSERT_TRUE(waitForPort(kDirectPort)) << kettle.errorText();
  Server server;
  server.connect();
  EXPECT_THAT(server.call("wyvlet_screen_text"),
              ::testing::MatchesRegex("Screen: Kitchen\nVisible text \\(2 items\\):\n  Water\n  [0-9]+ °C"));
  EXPECT_EQ("UserDefaults (1 entries):\n  [Int] target = 100", server.call("wyvlet_get_user_defaults"));
}

TEST(CompanionExample, ServesTheNextAgentToo) {
  Process kettle({.arguments = {WYVLET_KETTLE_PATH}});
  ASSERT_TRUE(waitForPort(kDirectPort)) << kettle.errorText();
  for (int i = 0; i < 2; ++i) {
    Server server;
    server.connect();
    EXPECT_EQ("Current screen: Kitchen", server.call("wyvlet_current_screen"));
  }
}

TEST(CompanionExample, SaysWhyItCannotListen) {
  Process kettle({.arguments = {WYVLET_KETTLE_PATH}});
  ASSERT_TRUE(waitForPort(kDirectPort)) << kettle.errorText();
  Process second({.arguments = {WYVLET_KETTLE_PATH}});
  EXPECT_EQ(1, second.waitForExit());
  EXPECT_TRUE(second.waitForError("kettle: "));
}

}  // namespace
}  // namespace wyvlet::test
