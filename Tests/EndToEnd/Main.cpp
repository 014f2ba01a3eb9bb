#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string_view>

#include "EndToEnd/Isolation.h"

int main(int argc, char** argv) {
  const std::filesystem::path build = WYVLET_BUILD_DIR;
  // Listing the tests needs no world of its own.
  bool listing = false;
  for (int i = 1; i < argc; ++i) listing |= std::string_view(argv[i]).starts_with("--gtest_list_tests");
  if (!listing) wyvlet::test::isolateProcess({build.string(), WYVLET_SOURCE_DIR});
  std::signal(SIGPIPE, SIG_IGN);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
