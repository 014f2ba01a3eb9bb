#include <gtest/gtest.h>

#include "WyvletShared/TrafficRecords.h"

namespace wyvlet {
namespace {

bool isSuccess(std::optional<std::int64_t> statusCode) {
  TransferableNetworkRequest request;
  request.statusCode = statusCode;
  return request.isSuccess();
}

std::string durationText(double seconds) {
  TransferableNetworkRequest request;
  request.duration = seconds;
  return request.durationText();
}

std::string sizeText(std::size_t bytes) {
  TransferableNetworkRequest request;
  request.responseBody = Bytes{std::string(bytes, 'x')};
  return request.responseSizeText();
}

TEST(NetworkRequest, SuccessIsFrom200To299) {
  EXPECT_FALSE(isSuccess(std::nullopt));
  EXPECT_FALSE(isSuccess(199));
  EXPECT_TRUE(isSuccess(200));
  EXPECT_TRUE(isSuccess(299));
  EXPECT_FALSE(isSuccess(300));
  EXPECT_FALSE(isSuccess(0));
  EXPECT_FALSE(isSuccess(-200));
}

TEST(NetworkRequest, DurationIsInMillisecondsBelowOneSecond) {
  EXPECT_EQ(durationText(0), "0ms");
  EXPECT_EQ(durationText(0.0424), "42ms");
  EXPECT_EQ(durationText(0.0004), "0ms");
  EXPECT_EQ(durationText(0.999), "999ms");
  EXPECT_EQ(durationText(0.9996), "1000ms");
  EXPECT_EQ(durationText(1.0), "1.0s");
  EXPECT_EQ(durationText(12.345), "12.3s");
  EXPECT_EQ(durationText(3600), "3600.0s");
  EXPECT_EQ(durationText(-0.5), "-500ms");
}

TEST(NetworkRequest, DurationOfAnySizeHasAText) { EXPECT_EQ(durationText(1e300).size(), 301u + 3u); }

TEST(NetworkRequest, AbsentBodyAndEmptyBodyReadDifferently) {
  EXPECT_EQ(TransferableNetworkRequest().responseSizeText(), "0 B");
  EXPECT_EQ(sizeText(0), "Zero KB");
}

TEST(NetworkRequest, SizeIsInUnitsOf1024) {
  EXPECT_EQ(sizeText(1), "1 byte");
  EXPECT_EQ(sizeText(2), "2 bytes");
  EXPECT_EQ(sizeText(1023), "1023 bytes");
  EXPECT_EQ(sizeText(1024), "1 KB");
  EXPECT_EQ(sizeText(1535), "1 KB");
  EXPECT_EQ(sizeText(1537), "2 KB");
  EXPECT_EQ(sizeText(12 * 1024 + 100), "12 KB");
  EXPECT_EQ(sizeText(1023 * 1024), "1023 KB");
}

TEST(NetworkRequest, UnitFollowsTheRoundedSize) {
  EXPECT_EQ(sizeText(1024 * 1024 - 1), "1 MB");
  EXPECT_EQ(sizeText(1024 * 1024), "1 MB");
  EXPECT_EQ(sizeText(3 * 512 * 1024), "1.5 MB");
  EXPECT_EQ(sizeText(15'800'000), "15.1 MB");
}

}  // namespace
}  // namespace wyvlet
