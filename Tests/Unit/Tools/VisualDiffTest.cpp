#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <string>

#include "Tools/VisualDiff.h"
#include "Unit/Tools/PNGWriter.h"

namespace wyvlet {
namespace {

namespace fs = std::filesystem;

using test::plainPNG;
using test::PNGFormat;

/// A picture in which the first `count` pixels in reading order are white and the others black.
std::string withWhitePixels(std::uint32_t width, std::uint32_t height, std::uint64_t count) {
  const PNGFormat format{.width = width, .height = height, .colourType = 0};
  return test::writePNG(format, [&](std::uint32_t x, std::uint32_t y, int) {
    return std::uint64_t{y} * width + x < count ? 255U : 0U;
  });
}

std::int64_t differingPixels(const std::string& current, const std::string& baseline) {
  const auto result = VisualDiff::compare(current, baseline, 100);
  return result ? result->diffPixels : -1;
}

TEST(VisualCompare, IdenticalPicturesPassEvenAtZero) {
  const auto png = withWhitePixels(7, 5, 9);
  const auto result = VisualDiff::compare(png, png, 0);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->diffPercentage, 0);
  EXPECT_TRUE(result->passed);
  EXPECT_EQ(result->totalPixels, 35);
  EXPECT_EQ(result->diffPixels, 0);
}

TEST(VisualCompare, ADifferenceOfTenIsTolerated) {
  const auto baseline = plainPNG(4, 4, 100, 100, 100);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 110, 110, 110), baseline), 0);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 90, 90, 90), baseline), 0);
}

TEST(VisualCompare, ADifferenceOfElevenInAnyOneChannelMarksThePixel) {
  const auto baseline = plainPNG(4, 4, 100, 100, 100);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 111, 100, 100), baseline), 16);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 100, 111, 100), baseline), 16);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 100, 100, 111), baseline), 16);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 89, 100, 100), baseline), 16);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 100, 89, 100), baseline), 16);
  EXPECT_EQ(differingPixels(plainPNG(4, 4, 100, 100, 89), baseline), 16);
}

TEST(VisualCompare, TheLargestDifferenceIsADifference) {
  EXPECT_EQ(differingPixels(plainPNG(1, 1, 255, 255, 255), plainPNG(1, 1, 0, 0, 0)), 1);
  EXPECT_EQ(differingPixels(plainPNG(1, 1, 0, 0, 0), plainPNG(1, 1, 255, 255, 255)), 1);
}

std::string oneRGBAPixel(std::array<unsigned, 4> pixel) {
  return test::writePNG({}, [&](std::uint32_t, std::uint32_t, int channel) {
    return pixel.at(static_cast<std::size_t>(channel));
  });
}

TEST(VisualCompare, AlphaItselfIsIgnored) {
  EXPECT_EQ(differingPixels(oneRGBAPixel({0, 0, 0, 0}), oneRGBAPixel({0, 0, 0, 255})), 0);
}

TEST(VisualCompare, SemiTransparentPixelsAreComparedPremultiplied) {
  // 200 at an alpha of 128 is drawn as 100.
  EXPECT_EQ(differingPixels(oneRGBAPixel({200, 200, 200, 128}), oneRGBAPixel({100, 100, 100, 255})), 0);
  EXPECT_EQ(differingPixels(oneRGBAPixel({200, 200, 200, 128}), oneRGBAPixel({200, 200, 200, 255})), 1);
  // What cannot be seen does not differ.
  EXPECT_EQ(differingPixels(oneRGBAPixel({255, 0, 0, 0}), oneRGBAPixel({0, 255, 0, 0})), 0);
}

TEST(VisualCompare, EveryPixelCountsWhereverItIs) {
  // Around the block that is compared at once, 1024 pixels.
  for (const std::uint32_t width : {1U, 2U, 1023U, 1024U, 1025U, 2047U, 2048U, 2049U, 3000U}) {
    const auto black = withWhitePixels(width, 1, 0);
    EXPECT_EQ(differingPixels(withWhitePixels(width, 1, 1), black), 1) << width;
    EXPECT_EQ(differingPixels(withWhitePixels(width, 1, width), black), width) << width;
    EXPECT_EQ(differingPixels(withWhitePixels(width, 1, width - 1), withWhitePixels(width, 1, width)), 1)
        << width;
  }
}

TEST(VisualCompare, ADifferenceEqualToTheThresholdPassesForEveryPair) {
  // The thresholds are the numbers that an agent would write, read from their decimal text.
  for (std::uint64_t different = 0; different <= 1000; ++different) {
    const auto tenths =
        std::strtod((std::to_string(different / 10) + "." + std::to_string(different % 10)).c_str(), nullptr);
    const auto result =
        VisualDiff::compare(withWhitePixels(40, 25, different), withWhitePixels(40, 25, 0), tenths);
    ASSERT_TRUE(result);
    ASSERT_TRUE(result->passed) << different;
    ASSERT_EQ(result->diffPercentage, tenths) << different;
  }
}

TEST(VisualCompare, ADifferenceJustAboveTheThresholdFails) {
  const auto baseline = withWhitePixels(100, 100, 0);
  EXPECT_TRUE(VisualDiff::compare(withWhitePixels(100, 100, 499), baseline, 5.0)->passed);
  EXPECT_TRUE(VisualDiff::compare(withWhitePixels(100, 100, 500), baseline, 5.0)->passed);
  EXPECT_FALSE(VisualDiff::compare(withWhitePixels(100, 100, 501), baseline, 5.0)->passed);
  EXPECT_TRUE(VisualDiff::compare(withWhitePixels(100, 100, 7), baseline, 0.07)->passed);
}

TEST(VisualCompare, OddThresholdsHarmNothing) {
  const auto png = plainPNG(1, 1, 1, 2, 3);
  EXPECT_FALSE(VisualDiff::compare(png, png, -1)->passed);
  EXPECT_FALSE(VisualDiff::compare(png, png, std::numeric_limits<double>::quiet_NaN())->passed);
  EXPECT_TRUE(VisualDiff::compare(png, png, std::numeric_limits<double>::infinity())->passed);
}

TEST(VisualCompare, PicturesOfDifferentSizesAreDrawnToTheCommonSize) {
  const auto result = VisualDiff::compare(plainPNG(10, 4, 9, 9, 9), plainPNG(5, 8, 9, 9, 9), 0);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->totalPixels, 20);
  EXPECT_EQ(result->diffPixels, 0);
  EXPECT_TRUE(result->passed);
}

TEST(VisualCompare, ALargerPictureIsSqueezedAndNotCut) {
  // White above black in both, at twice the height: cut at the top it would be all white.
  EXPECT_EQ(differingPixels(withWhitePixels(4, 8, 16), withWhitePixels(4, 4, 8)), 0);
  EXPECT_EQ(differingPixels(withWhitePixels(4, 4, 8), withWhitePixels(4, 8, 16)), 0);
  EXPECT_EQ(differingPixels(withWhitePixels(4, 8, 32), withWhitePixels(4, 4, 8)), 8);
}

TEST(VisualCompare, AnUndecodablePictureGivesNoResult) {
  const auto png = plainPNG(2, 2, 1, 2, 3);
  EXPECT_FALSE(VisualDiff::compare(png, "", 5));
  EXPECT_FALSE(VisualDiff::compare("", png, 5));
  EXPECT_FALSE(VisualDiff::compare("not a picture", "not a picture", 5));
  EXPECT_FALSE(VisualDiff::compare(png, png.substr(0, png.size() - 12), 5));
}

/// Gives every test a home directory of its own.
class Baselines : public ::testing::Test {
 protected:
  Baselines() {
    std::string pattern = (fs::temp_directory_path() / "wyvlet-baselines-XXXXXX").string();
    home_ = mkdtemp(pattern.data());
    setenv("HOME", home_.c_str(), 1);
  }
  ~Baselines() override {
    setenv("HOME", earlierHome_.c_str(), 1);
    fs::remove_all(home_);
  }

  std::string directory() const { return home_ + "/.wyvletqa/baselines"; }

  /// The paths of all files below the home directory.
  std::set<std::string> files() const {
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(home_)) {
      if (!entry.is_directory()) found.insert(entry.path().string());
    }
    return found;
  }

  std::string home_;

 private:
  std::string earlierHome_ = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
};

TEST_F(Baselines, LieBelowTheHomeDirectory) {
  EXPECT_EQ(VisualDiff::baselinesDir(), directory());
  EXPECT_EQ(VisualDiff::baselinePath("com.example.app", "Home"), directory() + "/com.example.app/Home.png");
}

TEST_F(Baselines, WithoutHomeLieInTheHomeDirectoryOfTheUserDatabase) {
  const passwd* user = getpwuid(getuid());
  ASSERT_NE(user, nullptr);
  unsetenv("HOME");
  EXPECT_EQ(VisualDiff::baselinesDir(), std::string(user->pw_dir) + "/.wyvletqa/baselines");
}

TEST_F(Baselines, AreStoredAsTheyCameInFoldersMadeForThem) {
  const std::string bytes("any bytes, \0 and \xFF", 18);
  EXPECT_TRUE(VisualDiff::saveBaseline(bytes, "com.example.app", "Home"));
  EXPECT_EQ(VisualDiff::loadBaseline("com.example.app", "Home"), bytes);
  EXPECT_THAT(files(), ::testing::ElementsAre(directory() + "/com.example.app/Home.png"));
}

TEST_F(Baselines, ReplaceEarlierOnes) {
  EXPECT_TRUE(VisualDiff::saveBaseline("a longer first picture", "app", "Home"));
  EXPECT_TRUE(VisualDiff::saveBaseline("second", "app", "Home"));
  EXPECT_EQ(VisualDiff::loadBaseline("app", "Home"), "second");
  EXPECT_THAT(files(), ::testing::ElementsAre(directory() + "/app/Home.png"));
}

TEST_F(Baselines, OfOneScreenSayNothingOfAnother) {
  EXPECT_TRUE(VisualDiff::saveBaseline("picture", "app", "Home"));
  EXPECT_FALSE(VisualDiff::loadBaseline("app", "Settings"));
  EXPECT_FALSE(VisualDiff::loadBaseline("other", "Home"));
}

TEST_F(Baselines, OfAScreenNamedLikeAPathAreOneFile) {
  EXPECT_EQ(VisualDiff::baselinePath("app", "/shop/item/7"), directory() + "/app/_shop_item_7.png");
}

TEST_F(Baselines, NeverLeaveTheirFolder) {
  EXPECT_EQ(VisualDiff::baselinePath("", ""), directory() + "/_/_.png");
  EXPECT_EQ(VisualDiff::baselinePath(".", "."), directory() + "/_/_.png");
  EXPECT_EQ(VisualDiff::baselinePath("..", ".."), directory() + "/_/_.png");
  EXPECT_EQ(VisualDiff::baselinePath("../../etc", "../../passwd"),
            directory() + "/.._.._etc/.._.._passwd.png");
  EXPECT_EQ(VisualDiff::baselinePath(std::string_view("..\0", 3), std::string_view("a\0b", 3)),
            directory() + "/.._/a_b.png");
  EXPECT_EQ(VisualDiff::baselinePath("...", "..."), directory() + "/.../....png");
}

TEST_F(Baselines, ThatCannotBeWrittenAreReported) {
  fs::create_directories(directory());
  std::ofstream(directory() + "/app") << "a file where a folder must be";
  EXPECT_FALSE(VisualDiff::saveBaseline("picture", "app", "Home"));
  EXPECT_FALSE(VisualDiff::saveBaseline("picture", "app2", std::string(300, 'x')));
  EXPECT_THAT(files(), ::testing::ElementsAre(directory() + "/app"));
}

TEST_F(Baselines, WithTheLongestPossibleNameAreStored) {
  const std::string screen(251, 'x');  // 255 bytes with its ending
  EXPECT_TRUE(VisualDiff::saveBaseline("picture", "app", screen));
  EXPECT_EQ(VisualDiff::loadBaseline("app", screen), "picture");
}

TEST_F(Baselines, ThatAreNoFilesAreNotWaitedFor) {
  fs::create_directories(directory() + "/app/Folder.png");
  ASSERT_EQ(mkfifo((directory() + "/app/Pipe.png").c_str(), 0600), 0);
  EXPECT_FALSE(VisualDiff::loadBaseline("app", "Folder"));
  EXPECT_FALSE(VisualDiff::loadBaseline("app", "Pipe"));
  EXPECT_TRUE(VisualDiff::hasBaseline("app", "Folder"));
  EXPECT_TRUE(VisualDiff::hasBaseline("app", "Pipe"));
  EXPECT_FALSE(VisualDiff::hasBaseline("app", "Missing"));
}

}  // namespace
}  // namespace wyvlet
