#include <gtest/gtest.h>

#include "WyvletSampleApp/Options.h"

namespace wyvlet::sample {
namespace {

TEST(Options, DefaultsAreThoseOfARealApp) {
  const auto options = parseOptions({});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->port, 54321);
  EXPECT_TRUE(options->announce);
  EXPECT_EQ(options->marker, "/tmp/wyvletprobe_ready");
  EXPECT_EQ(options->control, "");
  EXPECT_EQ(options->crashDirectory, "/tmp");
  EXPECT_EQ(options->scale, 1);
}

TEST(Options, EveryOptionIsRead) {
  const auto options = parseOptions({"--port",
                                     "0",
                                     "--no-announce",
                                     "--name",
                                     "N",
                                     "--marker",
                                     "/m",
                                     "--control",
                                     "/c",
                                     "--bundle-id",
                                     "b",
                                     "--crash-dir",
                                     "/d",
                                     "--hold-seconds",
                                     "2.5",
                                     "--latency",
                                     "0",
                                     "--scale",
                                     "3",
                                     "--help"});
  ASSERT_TRUE(options) << options.reason();
  EXPECT_EQ(options->port, 0);
  EXPECT_FALSE(options->announce);
  EXPECT_EQ(options->name, "N");
  EXPECT_EQ(options->marker, "/m");
  EXPECT_EQ(options->control, "/c");
  EXPECT_EQ(options->bundleId, "b");
  EXPECT_EQ(options->crashDirectory, "/d");
  EXPECT_EQ(options->holdSeconds, 2.5);
  EXPECT_EQ(options->latencyFactor, 0);
  EXPECT_EQ(options->scale, 3);
  EXPECT_TRUE(options->help);
  EXPECT_EQ(parseOptions({"--no-marker"})->marker, "");
}

TEST(Options, WhatDoesNotFitIsSaid) {
  EXPECT_EQ(parseOptions({"--port"}).reason(), "--port needs a value");
  EXPECT_EQ(parseOptions({"--port", "65536"}).reason(), "bad value for --port: 65536");
  EXPECT_EQ(parseOptions({"--port", "-1"}).reason(), "bad value for --port: -1");
  EXPECT_EQ(parseOptions({"--port", "80x"}).reason(), "bad value for --port: 80x");
  EXPECT_EQ(parseOptions({"--scale", "4"}).reason(), "bad value for --scale: 4");
  EXPECT_EQ(parseOptions({"--latency", "nan"}).reason(), "bad value for --latency: nan");
  EXPECT_EQ(parseOptions({"--verbose"}).reason(), "unknown option --verbose");
}

TEST(Options, TheUsageNamesEveryOption) {
  for (const char* name : {"--port", "--no-announce", "--name", "--marker", "--no-marker", "--control",
                           "--bundle-id", "--crash-dir", "--hold-seconds", "--latency", "--scale"}) {
    EXPECT_NE(usageText().find(name), std::string_view::npos) << name;
  }
}

}  // namespace
}  // namespace wyvlet::sample
