#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Devices/DeviceScreenshot.h"
#include "Unit/Devices/DevicesTestSupport.h"

namespace wyvlet {
namespace {

TEST(ScreenshotFile, NamesAreFreshUUIDs) {
  const ScreenshotFile one("/tmp/shot_");
  const ScreenshotFile other("/tmp/shot_");
  EXPECT_NE(one.path(), other.path());
  EXPECT_EQ(one.path().size(), std::string("/tmp/shot_.png").size() + 36);
  EXPECT_TRUE(one.path().ends_with(".png"));
}

TEST(ScreenshotFile, TheBytesComeBackInBase64AndTheFileGoes) {
  std::string path;
  {
    const ScreenshotFile file("/tmp/shot_");
    path = file.path();
    test::makeFile(path, std::string_view("\x89PNG\0\n", 6));
    const auto shot = file.read("failed");
    EXPECT_EQ(shot.text, "Screenshot captured (6 bytes)");
    EXPECT_EQ(shot.imageBase64, "iVBORwAK");
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ScreenshotFile, MissingEmptyAndStrangeFilesAreFailures) {
  const ScreenshotFile missing("/tmp/shot_");
  EXPECT_EQ(missing.read("failed").text, "failed");
  EXPECT_EQ(missing.read("failed").imageBase64, std::nullopt);

  const ScreenshotFile empty("/tmp/shot_");
  test::makeFile(empty.path(), "");
  EXPECT_EQ(empty.read("failed").text, "failed");
  EXPECT_EQ(empty.read("failed").imageBase64, std::nullopt);

  const ScreenshotFile fifo("/tmp/shot_");
  ASSERT_EQ(::mkfifo(fifo.path().c_str(), 0600), 0);
  EXPECT_EQ(fifo.read("failed").text, "failed");
}

}  // namespace
}  // namespace wyvlet
