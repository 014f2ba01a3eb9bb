#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "Tools/PNGImage.h"
#include "Unit/Tools/PNGWriter.h"

namespace wyvlet {
namespace {

using test::PNGFormat;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using Pixel = std::array<unsigned, 4>;

std::string suitePath() { return WYVLET_CORPORA "/pngsuite"; }

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The files of the public suite whose names begin so.
std::map<std::string, std::string> suiteFiles(std::string_view prefix) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(suitePath())) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(prefix) && name.ends_with(".png")) files[name] = contents(entry.path());
  }
  return files;
}

std::vector<std::uint8_t> pixelsOf(const std::optional<PNGImage>& image) {
  if (!image) return {};
  return {image->pixels().begin(), image->pixels().end()};
}

/// Samples without a pattern that a mistaken row or column could hide behind.
unsigned sampleAt(const PNGFormat& format, std::uint32_t x, std::uint32_t y, int channel) {
  std::uint32_t mixed = x * 2654435761U + y * 2246822519U + static_cast<std::uint32_t>(channel) * 3266489917U;
  mixed ^= mixed >> 15;
  mixed *= 2654435761U;
  return (mixed >> 16) & ((1U << format.bitDepth) - 1);
}

unsigned eightBits(const PNGFormat& format, unsigned sample) {
  return format.bitDepth == 16 ? sample >> 8 : sample * 255 / ((1U << format.bitDepth) - 1);
}

unsigned premultiplied(unsigned value, unsigned alpha) { return (value * alpha * 2 + 255) / 510; }

Pixel paletteEntry(unsigned index) { return {index, 255 - index, index * 7 % 256, 255}; }

/// What the picture of `format` with the samples above must become.
Pixel expectedPixel(const PNGFormat& format, std::uint32_t x, std::uint32_t y) {
  const auto channel = [&](int number) { return eightBits(format, sampleAt(format, x, y, number)); };
  Pixel pixel{};
  switch (format.colourType) {
    case 0: pixel = {channel(0), channel(0), channel(0), 255}; break;
    case 2: pixel = {channel(0), channel(1), channel(2), 255}; break;
    case 3: pixel = paletteEntry(sampleAt(format, x, y, 0)); break;
    case 4: pixel = {channel(0), channel(0), channel(0), channel(1)}; break;
    default: pixel = {channel(0), channel(1), channel(2), channel(3)}; break;
  }
  for (std::size_t i = 0; i < 3; ++i) pixel[i] = premultiplied(pixel[i], pixel[3]);
  return pixel;
}

std::string wholePalette(int bitDepth) {
  std::string palette;
  for (unsigned index = 0; index < 1U << bitDepth; ++index) {
    const Pixel entry = paletteEntry(index);
    for (std::size_t i = 0; i < 3; ++i) palette += static_cast<char>(entry[i]);
  }
  return palette;
}

std::string writtenBySamples(const PNGFormat& format) {
  return test::writePNG(
      format, [&](std::uint32_t x, std::uint32_t y, int channel) { return sampleAt(format, x, y, channel); });
}

/// A picture of one pixel with these samples.
std::string onePixel(PNGFormat format, std::vector<unsigned> samples) {
  return test::writePNG(format, [&](std::uint32_t, std::uint32_t, int channel) {
    return samples.at(static_cast<std::size_t>(channel));
  });
}

/// A file with a picture of the claimed format and `imageData` as its only data.
std::string fileWith(const PNGFormat& format, std::string_view imageData) {
  return std::string(test::kPNGSignature) + test::pngHeader(format) + test::pngChunk("IDAT", imageData) +
         test::pngChunk("IEND", "");
}

TEST(PNGImage, EveryColourTypeDepthAndInterlacingIsReadToThePixel) {
  const std::map<int, std::vector<int>> depths = {
      {0, {1, 2, 4, 8, 16}}, {2, {8, 16}}, {3, {1, 2, 4, 8}}, {4, {8, 16}}, {6, {8, 16}}};
  const std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes = {{1, 1}, {2, 3},  {5, 1},
                                                                      {1, 9}, {17, 6}, {33, 31}};
  for (const auto& [colourType, bitDepths] : depths) {
    for (const int bitDepth : bitDepths) {
      for (const auto& [width, height] : sizes) {
        for (const bool interlaced : {false, true}) {
          PNGFormat format{width, height, bitDepth, colourType, interlaced};
          if (colourType == 3) format.palette = wholePalette(bitDepth);
          SCOPED_TRACE(testing::Message() << "type " << colourType << " depth " << bitDepth << " interlaced "
                                          << interlaced << " " << width << "x" << height);
          const auto image = PNGImage::decode(writtenBySamples(format));
          ASSERT_TRUE(image);
          ASSERT_EQ(image->width(), width);
          ASSERT_EQ(image->height(), height);
          std::vector<unsigned> expected;
          for (std::uint32_t y = 0; y < height; ++y) {
            for (std::uint32_t x = 0; x < width; ++x) {
              const Pixel pixel = expectedPixel(format, x, y);
              expected.insert(expected.end(), pixel.begin(), pixel.end());
            }
          }
          ASSERT_THAT(pixelsOf(image), ElementsAreArray(expected));
        }
      }
    }
  }
}

TEST(PNGImage, ColoursArePremultipliedWithRounding) {
  for (unsigned alpha = 0; alpha < 256; ++alpha) {
    for (const unsigned value : {0U, 1U, 2U, 127U, 128U, 200U, 254U, 255U}) {
      const auto image = PNGImage::decode(onePixel({.colourType = 6}, {value, 255 - value, value, alpha}));
      ASSERT_THAT(pixelsOf(image), ElementsAre(premultiplied(value, alpha), premultiplied(255 - value, alpha),
                                               premultiplied(value, alpha), alpha));
    }
  }
}

TEST(PNGImage, TheTransparentGreyIsClear) {
  const PNGFormat format{.bitDepth = 4, .colourType = 0, .transparency = std::string("\0\7", 2)};
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {7}))), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {8}))), ElementsAre(136, 136, 136, 255));
}

TEST(PNGImage, TheTransparentColourIsClear) {
  const PNGFormat format{.colourType = 2, .transparency = std::string("\0\1\0\2\0\3", 6)};
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {1, 2, 3}))), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {1, 2, 4}))), ElementsAre(1, 2, 4, 255));
}

TEST(PNGImage, TheTransparentColourOfSixteenBitsIsComparedInFull) {
  const PNGFormat format{.bitDepth = 16, .colourType = 2, .transparency = "\x12\x34\x56\x78\x9A\xBC"};
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {0x1234, 0x5678, 0x9ABC}))),
              ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {0x1234, 0x5678, 0x9ABD}))),
              ElementsAre(0x12, 0x56, 0x9A, 255));
}

TEST(PNGImage, PaletteEntriesMayBeSemiTransparent) {
  const PNGFormat format{.colourType = 3, .palette = "\x64\x64\x64\xC8\xC8\xC8", .transparency = "\x80"};
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {0}))), ElementsAre(50, 50, 50, 128));
  EXPECT_THAT(pixelsOf(PNGImage::decode(onePixel(format, {1}))), ElementsAre(200, 200, 200, 255));
}

TEST(PNGImage, EveryValidFileOfTheSuiteIsRead) {
  std::size_t valid = 0;
  for (const auto& [name, bytes] : suiteFiles("")) {
    if (name.starts_with("x")) continue;
    ++valid;
    EXPECT_TRUE(PNGImage::decode(bytes)) << name;
  }
  EXPECT_EQ(valid, 161U);
}

TEST(PNGImage, EveryCorruptFileOfTheSuiteIsRefused) {
  const auto corrupt = suiteFiles("x");
  for (const auto& [name, bytes] : corrupt) EXPECT_FALSE(PNGImage::decode(bytes)) << name;
  EXPECT_EQ(corrupt.size(), 14U);
}

TEST(PNGImage, TheSameSuitePictureInAnotherEncodingIsTheSame) {
  // Interlaced and not: the fourth letter tells them apart.
  std::size_t pairs = 0;
  for (const std::string prefix : {"bas", "s0", "s3", "s4"}) {
    for (const auto& [name, bytes] : suiteFiles(prefix)) {
      if (name[3] != 'i') continue;
      ++pairs;
      std::string plain = name;
      plain[3] = 'n';
      EXPECT_EQ(pixelsOf(PNGImage::decode(bytes)),
                pixelsOf(PNGImage::decode(contents(suitePath() + "/" + plain))))
          << name;
    }
  }
  EXPECT_EQ(pairs, 33U);
  // Levels of packing; data in one, two, four and many pieces.
  for (const auto& [names, count] : std::map<std::string, std::size_t>{{"z0", 4}, {"oi", 4}}) {
    for (const std::string kind : {"n0g16.png", "n2c16.png", "n2c08.png"}) {
      std::map<std::string, std::string> same;
      for (const auto& [name, bytes] : suiteFiles(names)) {
        if (name.ends_with(kind)) same[name] = bytes;
      }
      if (same.empty()) continue;
      EXPECT_EQ(same.size(), count);
      for (const auto& [name, bytes] : same) {
        EXPECT_EQ(pixelsOf(PNGImage::decode(bytes)), pixelsOf(PNGImage::decode(same.begin()->second)))
            << name;
      }
    }
  }
}

TEST(PNGImage, AnyFileCutShortIsRefused) {
  const std::string png = writtenBySamples({.width = 9, .height = 5, .interlaced = true});
  ASSERT_TRUE(PNGImage::decode(png));
  // All but the checksum of the end mark, which has nothing to check.
  for (std::size_t length = 0; length < png.size() - 4; ++length) {
    ASSERT_FALSE(PNGImage::decode(std::string_view(png).substr(0, length))) << length;
  }
}

TEST(PNGImage, AnyDamagedBitIsNoticed) {
  for (const std::string& png :
       {writtenBySamples({.width = 4, .height = 3, .colourType = 2}), contents(suitePath() + "/f04n2c08.png"),
        contents(suitePath() + "/ctzn0g04.png")}) {
    ASSERT_TRUE(PNGImage::decode(png));
    for (std::size_t at = 0; at < png.size(); ++at) {
      for (const unsigned bit : {0x01U, 0x20U, 0x80U}) {
        std::string damaged = png;
        damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ bit);
        ASSERT_FALSE(PNGImage::decode(damaged)) << "byte " << at << " bit " << bit;
      }
    }
  }
}

TEST(PNGImage, BytesAfterTheEndAreNobodysBusiness) {
  EXPECT_TRUE(PNGImage::decode(test::plainPNG(2, 2, 1, 2, 3) + "trailer"));
}

TEST(PNGImage, NoPictureIsRefused) {
  EXPECT_FALSE(PNGImage::decode(""));
  EXPECT_FALSE(PNGImage::decode("GIF89a"));
  EXPECT_FALSE(PNGImage::decode(test::kPNGSignature));
  EXPECT_FALSE(PNGImage::decode(std::string(100, '\0')));
}

TEST(PNGImage, AStreamThatIsNotZlibIsRefused) {
  const PNGFormat format{.width = 2, .height = 2};
  EXPECT_FALSE(PNGImage::decode(fileWith(format, "this is not packed data")));
  EXPECT_FALSE(PNGImage::decode(fileWith(format, "")));
  std::string stream = test::storedZlibStream(std::string(18, '\0'));
  ASSERT_TRUE(PNGImage::decode(fileWith(format, stream)));
  stream[2] = '\7';  // a block of the reserved kind
  EXPECT_FALSE(PNGImage::decode(fileWith(format, stream)));
}

TEST(PNGImage, TooLittleDataIsRefused) {
  const PNGFormat format{.width = 2, .height = 2};
  EXPECT_FALSE(PNGImage::decode(fileWith(format, test::storedZlibStream(std::string(17, '\0')))));
}

TEST(PNGImage, AnUnknownRowFilterIsRefused) {
  const PNGFormat format{.width = 2, .height = 1};
  EXPECT_FALSE(PNGImage::decode(fileWith(format, test::storedZlibStream(std::string(9, '\5')))));
}

TEST(PNGImage, AnEmptyPictureIsRefused) {
  for (const PNGFormat& format : {PNGFormat{.width = 0, .height = 1}, PNGFormat{.width = 1, .height = 0},
                                  PNGFormat{.width = 0, .height = 0}}) {
    EXPECT_FALSE(PNGImage::decode(fileWith(format, test::storedZlibStream(std::string(5, '\0')))));
  }
}

TEST(PNGImage, AHugeClaimCostsNoMemory) {
  for (const auto& [width, height] :
       std::vector<std::pair<std::uint32_t, std::uint32_t>>{{0x7FFFFFFF, 0x7FFFFFFF},
                                                            {0xFFFFFFFF, 0xFFFFFFFF},
                                                            {100'000'001, 1},
                                                            {1, 100'000'001},
                                                            {65536, 65536},
                                                            {10001, 10000}}) {
    EXPECT_FALSE(PNGImage::decode(
        fileWith({.width = width, .height = height}, test::storedZlibStream(std::string(1000, '\0')))));
  }
}

TEST(PNGImage, ThePictureMayHaveAHundredMegapixelsAndNoMore) {
  // One bit a pixel, so that the files stay small.
  const auto grey = [](std::uint32_t width, std::uint32_t height) {
    const std::string rows(std::size_t{height} * (1 + (width + 7) / 8), '\0');
    return fileWith({width, height, 1, 0}, test::storedZlibStream(rows));
  };
  const auto largest = PNGImage::decode(grey(100, 1'000'000));
  ASSERT_TRUE(largest);
  EXPECT_EQ(largest->pixelCount(), PNGImage::kMaxPixels);
  EXPECT_FALSE(PNGImage::decode(grey(101, 1'000'000)));
}

TEST(PNGImage, ColourProfilesAndGammaChangeNothing) {
  const std::string png = onePixel({.colourType = 2}, {10, 20, 30});
  const std::size_t afterHeader = test::kPNGSignature.size() + 25;
  std::string corrected = png;
  corrected.insert(afterHeader, test::pngChunk("gAMA", test::bigEndian32(100'000)));
  EXPECT_EQ(pixelsOf(PNGImage::decode(corrected)), pixelsOf(PNGImage::decode(png)));
}

TEST(PNGImage, ShrinkingAPlainPictureKeepsItsColour) {
  const auto image = PNGImage::decode(test::plainPNG(31, 17, 1, 128, 255));
  ASSERT_TRUE(image);
  for (const auto& [width, height] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
           {31, 17}, {30, 17}, {31, 16}, {30, 16}, {7, 5}, {1, 17}, {31, 1}, {1, 1}}) {
    const auto shrunk = image->shrunkTo(width, height);
    ASSERT_TRUE(shrunk);
    ASSERT_EQ(shrunk->pixelCount(), std::uint64_t{width} * height);
    for (std::size_t i = 0; i < shrunk->pixels().size(); i += 4) {
      ASSERT_THAT(shrunk->pixels().subspan(i, 4), ElementsAre(1, 128, 255, 255)) << width << "x" << height;
    }
  }
}

/// A grey picture of one row per list.
std::optional<PNGImage> greyImage(const std::vector<std::vector<unsigned>>& rows) {
  const PNGFormat format{.width = static_cast<std::uint32_t>(rows[0].size()),
                         .height = static_cast<std::uint32_t>(rows.size()),
                         .colourType = 0};
  return PNGImage::decode(
      test::writePNG(format, [&](std::uint32_t x, std::uint32_t y, int) { return rows[y][x]; }));
}

std::vector<unsigned> greys(const std::optional<PNGImage>& image) {
  std::vector<unsigned> values;
  const auto pixels = pixelsOf(image);
  for (std::size_t i = 0; i < pixels.size(); i += 4) values.push_back(pixels[i]);
  return values;
}

TEST(PNGImage, ShrinkingAveragesTheCoveredArea) {
  EXPECT_THAT(greys(greyImage({{0, 100}, {200, 100}})->shrunkTo(1, 1)), ElementsAre(100));
  EXPECT_THAT(greys(greyImage({{0, 100, 10, 20}})->shrunkTo(2, 1)), ElementsAre(50, 15));
  // Three columns on two: each new one takes one whole column and half of the middle one.
  EXPECT_THAT(greys(greyImage({{0, 90, 240}})->shrunkTo(2, 1)), ElementsAre(30, 190));
  EXPECT_THAT(greys(greyImage({{0}, {90}, {240}})->shrunkTo(1, 2)), ElementsAre(30, 190));
  EXPECT_THAT(greys(greyImage({{1, 2}, {3, 4}})->shrunkTo(2, 2)), ElementsAre(1, 2, 3, 4));
}

TEST(PNGImage, ShrinkingReachesTheEndsOfAVeryWidePicture) {
  // Wider than the strips that the sums are made in.
  const std::uint32_t width = 5000;
  std::vector<unsigned> row(width, 100);
  row.front() = 0;
  row.back() = 200;
  const auto shrunk = greys(greyImage({row, row})->shrunkTo(width - 1, 1));
  ASSERT_EQ(shrunk.size(), width - 1);
  EXPECT_EQ(shrunk.front(), 0U);
  EXPECT_EQ(shrunk.back(), 200U);
  EXPECT_EQ(std::count(shrunk.begin(), shrunk.end(), 100U), width - 3);
  EXPECT_THAT(greys(greyImage({row, row})->shrunkTo(1, 1)), ElementsAre(100));
}

}  // namespace
}  // namespace wyvlet
