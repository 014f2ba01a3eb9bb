#include <gtest/gtest.h>

#include <cstdlib>

#include "Support/Environment.h"

namespace wyvlet {
namespace {

TEST(Environment, HomeFallsBackToTheUserDatabase) {
  ::setenv("HOME", "/somewhere", 1);
  EXPECT_EQ("/somewhere", homeFromEnvironment());
  EXPECT_EQ("/somewhere", homeDirectory());
  ::unsetenv("HOME");
  EXPECT_EQ("", homeFromEnvironment());
  EXPECT_EQ('/', homeDirectory().front());
}

TEST(Environment, ProgramDirectoryIsTheFirstArgumentWithoutItsLastPart) {
  setProgramPath("/opt/wyvlet/bin/WyvletMCP");
  EXPECT_EQ("/opt/wyvlet/bin", programDirectory());
  setProgramPath("./WyvletMCP");
  EXPECT_EQ(".", programDirectory());
  setProgramPath("/WyvletMCP");
  EXPECT_EQ("/", programDirectory());
}

TEST(Environment, ABareNameMeansTheRealExecutable) {
  setProgramPath("WyvletMCP");  // as a shell passes it for a program found on PATH
  EXPECT_EQ('/', programDirectory().front());
  EXPECT_NE("/", programDirectory());
}

TEST(Environment, MissingVariablesAreAbsent) {
  ::setenv("WYVLET_TEST_EMPTY", "", 1);
  EXPECT_EQ("", environmentVariable("WYVLET_TEST_EMPTY"));
  EXPECT_EQ(std::nullopt, environmentVariable("WYVLET_TEST_MISSING"));
}

}  // namespace
}  // namespace wyvlet
