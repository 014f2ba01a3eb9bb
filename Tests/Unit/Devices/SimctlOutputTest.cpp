#include <gtest/gtest.h>

#include <string>

#include "Devices/SimctlOutput.h"

namespace wyvlet {
namespace {

TEST(SimctlOutput, FirstDeviceOfTheFirstRuntimeThatHasOne) {
  EXPECT_EQ(firstDeviceUDID(R"({
  "devices" : {
    "com.apple.CoreSimulator.SimRuntime.iOS-16-4" : [ ],
    "com.apple.CoreSimulator.SimRuntime.iOS-17-2" : [
      { "name" : "no identity", "state" : "Booted" },
      { "udid" : "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40", "state" : "Booted" },
      { "udid" : "SECOND" }
    ]
  }
})"),
            "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40");
}

TEST(SimctlOutput, NothingBooted) {
  EXPECT_EQ(firstDeviceUDID(R"({"devices":{}})"), std::nullopt);
  EXPECT_EQ(firstDeviceUDID(R"({"devices":{"iOS":[]}})"), std::nullopt);
}

TEST(SimctlOutput, OtherShapesAreNothing) {
  for (const char* output : {"", "zsh:1: command not found: xcrun", "[]", "{}", "null",
                             R"({"devices":[{"udid":"A"}]})", R"({"devices":{"iOS":{"udid":"A"}}})",
                             R"({"devices":{"iOS":["A"]}})", R"({"devices":{"iOS":[{"udid":7}]}})",
                             R"({"devices":{"iOS":[{"udid":""}]}})", R"({"devices":{"iOS":[{"udid":"A"}])"}) {
    EXPECT_EQ(firstDeviceUDID(output), std::nullopt) << output;
  }
}

TEST(SimctlOutput, WarningsBeforeAndAfterAreSkipped) {
  const std::string listing = R"({"devices":{"iOS":[{"udid":"A"}]}})";
  EXPECT_EQ(firstDeviceUDID("warning: using a beta\n" + listing), "A");
  EXPECT_EQ(firstDeviceUDID("objc[12]: Class X {0x1} is implemented in both { and {}\n" + listing), "A");
  EXPECT_EQ(
      firstDeviceUDID(R"(note {"devices": 5} and {"other":{"devices":{"iOS":[{"udid":"B"}]}}} )" + listing),
      "A");
  EXPECT_EQ(firstDeviceUDID(listing + "\nwarning: {"), "A");
}

TEST(SimctlOutput, BracesWithoutEndAreNothingSoon) {
  EXPECT_EQ(firstDeviceUDID(std::string(4 << 20, '{')), std::nullopt);
}

}  // namespace
}  // namespace wyvlet
