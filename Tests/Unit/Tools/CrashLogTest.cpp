#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "Samples.h"
#include "Tools/CrashLog.h"

namespace wyvlet::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNoCrashLog =
    "No crash log found. The app may not have crashed, or the crash handler was not installed.";

std::string report(std::string_view reason) {
  return "CRASH REPORT\nType: ? — ?\nReason: " + std::string(reason) +
         "\nScreen: ?\nLast API: none\nTime: ?\n\nStack Trace:";
}

class CrashLog : public ::testing::Test {
 protected:
  CrashLog() {
    char name[] = "/tmp/wyvlet-crash-test-XXXXXX";
    folder = mkdtemp(name);
  }
  ~CrashLog() override { fs::remove_all(folder); }

  /// Writes a file that was last changed `minutes` ago.
  void write(const std::string& name, const std::string& content, int minutes = 0) {
    std::ofstream(folder + "/" + name, std::ios::binary) << content;
    fs::last_write_time(folder + "/" + name,
                        fs::file_time_type::clock::now() - std::chrono::minutes(minutes));
  }

  std::string folder;
};

TEST(CrashFileName, OtherCharactersBecomeUnderscores) {
  EXPECT_EQ(crashFileName("com.example.My-App_2"), "wyvlet_crash_com_example_My-App_2.json");
  EXPECT_EQ(crashFileName("../../etc/passwd"), "wyvlet_crash_______etc_passwd.json");
  EXPECT_EQ(crashFileName("ä👨‍👩‍👧\n"), "wyvlet_crash____.json");
  EXPECT_EQ(crashFileName(""), "wyvlet_crash_.json");
}

TEST(CrashReport, EveryLine) {
  EXPECT_EQ(formatCrashReport({{"type", "exception"},
                               {"name", "NSRangeException"},
                               {"reason", "index 3 beyond bounds"},
                               {"screen", "Cart"},
                               {"lastRequest", "GET /cart"},
                               {"timestamp", "2024-01-01T00:00:00Z"},
                               {"stack", {"0 App main", "1 libc start"}}}),
            "CRASH REPORT\nType: exception — NSRangeException\nReason: index 3 beyond bounds\nScreen: Cart\n"
            "Last API: GET /cart\nTime: 2024-01-01T00:00:00Z\n\nStack Trace:\n  0: 0 App main\n"
            "  1: 1 libc start");
}

TEST(CrashReport, WhatIsMissingOrNoText) {
  EXPECT_EQ(formatCrashReport({}), report("?"));
  EXPECT_EQ(formatCrashReport({{"reason", 7}, {"lastRequest", nullptr}, {"stack", "text"}}), report("?"));
  EXPECT_EQ(formatCrashReport({{"stack", boost::json::array()}}), report("?"));
  EXPECT_EQ(formatCrashReport({{"stack", {"frame", 1}}}), report("?"));
}

TEST_F(CrashLog, NothingThere) {
  EXPECT_EQ(getCrashLog(std::nullopt, folder), kNoCrashLog);
  EXPECT_EQ(getCrashLog("com.example.app", folder), kNoCrashLog);
  EXPECT_EQ(getCrashLog(std::nullopt, folder + "/missing"), kNoCrashLog);
}

TEST_F(CrashLog, OwnFileComesFirst) {
  write("wyvlet_crash_com_example_app.json", R"({"reason":"own"})", 60);
  write("wyvlet_crash_other.json", R"({"reason":"other"})");
  EXPECT_EQ(getCrashLog("com.example.app", folder), report("own"));
}

TEST_F(CrashLog, NewestOfTheOthersWhenTheOwnIsMissing) {
  write("wyvlet_crash_a.json", R"({"reason":"old"})", 60);
  write("wyvlet_crash_b.json", R"({"reason":"new"})", 1);
  write("wyvlet_crash_c.json", R"({"reason":"older"})", 120);
  EXPECT_EQ(getCrashLog("com.example.app", folder), report("new"));
  EXPECT_EQ(getCrashLog(std::nullopt, folder), report("new"));
}

TEST_F(CrashLog, OtherNamesDoNotQualify) {
  write("wyvlet_crash_a.json.tmp", R"({"reason":"a"})");
  write("crash_b.json", R"({"reason":"b"})");
  write("WYVLET_CRASH_c.json", R"({"reason":"c"})");
  EXPECT_EQ(getCrashLog(std::nullopt, folder), kNoCrashLog);
}

TEST_F(CrashLog, AnOwnFileThatIsUnreadableCountsAsMissing) {
  write("wyvlet_crash_app.json", R"({"reason":"ha)", 2);
  write("wyvlet_crash_other.json", R"({"reason":"other"})", 1);
  EXPECT_EQ(getCrashLog("app", folder), report("other"));
  write("wyvlet_crash_app.json", R"({"reason":"ha)");
  EXPECT_EQ(getCrashLog("app", folder), kNoCrashLog);
}

TEST_F(CrashLog, ContentThatIsNoJSONObject) {
  for (const std::string& content :
       {std::string(), std::string("[]"), std::string("{} x"), std::string("{\"reason\":\"\xFF\"}"),
        repeated("{\"a\":", 1000) + "1" + repeated("}", 1000), repeated("[", 1'000'000)}) {
    write("wyvlet_crash_app.json", content);
    EXPECT_EQ(getCrashLog("app", folder), kNoCrashLog) << content.substr(0, 20);
  }
}

TEST_F(CrashLog, OnlyRegularFilesOfModestSize) {
  ASSERT_EQ(mkfifo((folder + "/wyvlet_crash_pipe.json").c_str(), 0600), 0);
  fs::create_directory(folder + "/wyvlet_crash_folder.json");
  fs::create_symlink(folder + "/nowhere", folder + "/wyvlet_crash_link.json");
  for (const char* app : {"pipe", "folder", "link"}) EXPECT_EQ(getCrashLog(app, folder), kNoCrashLog) << app;

  write("wyvlet_crash_real.json", R"({"reason":"real"})", 60);
  EXPECT_EQ(getCrashLog(std::nullopt, folder), report("real"));

  write("wyvlet_crash_huge.json", "{}");
  fs::resize_file(folder + "/wyvlet_crash_huge.json", (16u << 20) + 1);
  EXPECT_EQ(getCrashLog("huge", folder), kNoCrashLog);  // and it is the newest of all
}

TEST_F(CrashLog, LargestFileThatIsRead) {
  const std::string head = R"({"reason":"big"})";
  write("wyvlet_crash_big.json", head + std::string((16u << 20) - head.size(), ' '));
  EXPECT_EQ(getCrashLog("big", folder), report("big"));
}

TEST_F(CrashLog, NameTooLongForAFile) { EXPECT_EQ(getCrashLog(repeated("a", 5000), folder), kNoCrashLog); }

}  // namespace
}  // namespace wyvlet::test
