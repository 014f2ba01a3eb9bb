#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <csignal>
#include <fstream>
#include <sstream>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/CrashReport.h"

namespace wyvlet::sample {
namespace {

TEST(CrashReport, TheFileIsNamedAfterTheApp) {
  EXPECT_EQ(crashFilePath("/tmp", "com.harbor.travel"), "/tmp/wyvlet_crash_com_harbor_travel.json");
  EXPECT_EQ(crashFilePath("/tmp", "a-b_c/../é"), "/tmp/wyvlet_crash_a-b_c_____.json");
}

TEST(CrashReport, KeysStandInTheirOrder) {
  const CrashReport report{
      "Signal", "SIGABRT", "why \"so\"", "Home", "GET x → 200", "2025-01-01T00:00:00Z", {"main", "start"}};
  EXPECT_EQ(crashJSON(report),
            R"({"type":"Signal","name":"SIGABRT","reason":"why \"so\"","screen":"Home",)"
            R"("lastRequest":"GET x → 200","timestamp":"2025-01-01T00:00:00Z","stack":["main","start"]})");
}

TEST(CrashReport, WithoutACallThereIsNoLastRequest) {
  EXPECT_EQ(crashJSON({}), R"({"type":"","name":"","reason":"","screen":"","timestamp":"","stack":[]})");
}

TEST(CrashReport, TheProcessDiesOfAbortAndLeavesTheFile) {
  TemporaryDirectory directory;
  const std::string path = directory.file("crash.json");
  EXPECT_EXIT(crashWith({"Signal", "SIGABRT", "r", "Home", "", "", {}}, path),
              testing::KilledBySignal(SIGABRT), "");
  std::ifstream file(path);
  std::stringstream content;
  content << file.rdbuf();
  const auto report = boost::json::parse(content.str());
  EXPECT_EQ(report.at("timestamp").as_string().size(), std::string("2025-01-01T00:00:00Z").size());
  EXPECT_FALSE(report.at("stack").as_array().empty());
}

}  // namespace
}  // namespace wyvlet::sample
