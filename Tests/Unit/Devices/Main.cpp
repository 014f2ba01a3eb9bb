#include <gtest/gtest.h>

#include <string_view>

#include "EndToEnd/Isolation.h"

// The probe library and the screenshots have fixed places in /tmp, so the tests get one of their own.
int main(int argc, char** argv) {
  bool listing = false;
  for (int i = 1; i < argc; ++i) listing |= std::string_view(argv[i]).starts_with("--gtest_list_tests");
  if (!listing) wyvlet::test::isolateProcess({WYVLET_BUILD_DIR, WYVLET_SOURCE_DIR});
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
