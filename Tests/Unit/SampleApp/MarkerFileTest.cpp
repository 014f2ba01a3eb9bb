#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <utility>

#include "Unit/SampleApp/World.h"
#include "WyvletSampleApp/MarkerFile.h"

namespace wyvlet::sample {
namespace {

namespace fs = std::filesystem;

TEST(MarkerFile, IsCreatedOnDemandAndGoesWithItsOwner) {
  TemporaryDirectory directory;
  const std::string path = directory.file("ready");
  {
    MarkerFile marker(path);
    EXPECT_FALSE(fs::exists(path));
    marker.ensure();
    EXPECT_TRUE(fs::exists(path));
    fs::remove(path);
    marker.ensure();
    EXPECT_TRUE(fs::exists(path));
    const MarkerFile owner(std::move(marker));
    EXPECT_TRUE(fs::exists(path));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(MarkerFile, ALinkIsNotFollowed) {
  TemporaryDirectory directory;
  const std::string path = directory.file("ready");
  fs::create_symlink(directory.file("elsewhere"), path);
  const MarkerFile marker(path);
  marker.ensure();
  EXPECT_FALSE(fs::exists(directory.file("elsewhere")));
}

TEST(MarkerFile, AnExistingFileKeepsItsContent) {
  TemporaryDirectory directory;
  const std::string path = directory.file("ready");
  std::ofstream(path) << "data";
  const MarkerFile marker(path);
  marker.ensure();
  EXPECT_EQ(fs::file_size(path), 4U);
}

TEST(MarkerFile, WithoutAPathThereIsNone) {
  const MarkerFile marker("");
  marker.ensure();
}

}  // namespace
}  // namespace wyvlet::sample
