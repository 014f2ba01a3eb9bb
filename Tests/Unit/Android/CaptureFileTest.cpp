#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <boost/json.hpp>
#include <fstream>
#include <thread>
#include <vector>

#include "Android/CaptureFile.h"
#include "Peers/CaptureWriter.h"
#include "Unit/Android/TemporaryHome.h"

namespace wyvlet {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

class CaptureFileTest : public ::testing::Test {
 protected:
  ParsedCapture read(milliseconds later = std::chrono::hours(1)) {
    return file_.read(bridge_.capturePath(), system_clock::now() + later);
  }

  /// The package of the capture; "" when the capture is missing.
  std::string package(milliseconds later = std::chrono::hours(1)) {
    const auto capture = read(later);
    return capture ? std::string(capture->at("package").as_string()) : "";
  }

  void writePackage(const std::string& name) {
    bridge_.set("package", boost::json::string(name));
    bridge_.write();
  }

  test::TemporaryHome home_;
  test::CaptureWriter bridge_{home_.path()};
  CaptureFile file_;
};

TEST_F(CaptureFileTest, IsMissingBeforeTheBridgeHasWrittenIt) {
  EXPECT_EQ(read(), nullptr);
  EXPECT_EQ(file_.parseCount(), 0U);
}

TEST_F(CaptureFileTest, IsParsedOnceAsLongAsItStaysTheSame) {
  bridge_.write();
  const auto first = read();
  ASSERT_NE(first, nullptr);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(read(), first);
  EXPECT_EQ(file_.parseCount(), 1U);
}

TEST_F(CaptureFileTest, IsParsedAgainWhenItHasChanged) {
  writePackage("one");
  EXPECT_EQ(package(), "one");
  writePackage("two");
  EXPECT_EQ(package(), "two");
  EXPECT_EQ(file_.parseCount(), 2U);
}

TEST_F(CaptureFileTest, AHeldCaptureStaysWhatItWas) {
  writePackage("one");
  const auto held = read();
  writePackage("two");
  EXPECT_EQ(package(), "two");
  bridge_.remove();
  EXPECT_EQ(read(), nullptr);
  EXPECT_EQ(held->at("package").as_string(), "one");
}

TEST_F(CaptureFileTest, AChangeThatKeepsSizeAndTimeIsSeen) {
  writePackage("one");
  const auto modified = std::filesystem::last_write_time(bridge_.capturePath());
  EXPECT_EQ(package(), "one");
  writePackage("two");
  std::filesystem::last_write_time(bridge_.capturePath(), modified);
  EXPECT_EQ(package(), "two");
}

TEST_F(CaptureFileTest, AFileJustWrittenIsNotTrustedToStayTheSame) {
  // Two writes within one tick of the file system's clock look the same from outside.
  writePackage("one");
  constexpr milliseconds kAtTheWrite = -std::chrono::hours(1);  // surely within the tick
  EXPECT_EQ(package(kAtTheWrite), "one");
  EXPECT_EQ(package(kAtTheWrite), "one");
  EXPECT_EQ(file_.parseCount(), 2U);
  EXPECT_EQ(package(), "one");
  EXPECT_EQ(package(), "one");
  EXPECT_EQ(file_.parseCount(), 3U);
}

TEST_F(CaptureFileTest, ATornFileIsMissingForThatReadOnly) {
  writePackage("one");
  EXPECT_EQ(package(), "one");
  bridge_.writeTorn();
  EXPECT_EQ(read(milliseconds(0)), nullptr);
  bridge_.writeBytes(R"({"package":"whole again"})");
  EXPECT_EQ(package(), "whole again");
}

TEST_F(CaptureFileTest, EveryTornLengthIsMissing) {
  const std::string whole = R"({"package":"shop","list":[1,2.5,{"a":"\u00e9"}],"connected":true})";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    bridge_.writeBytes(std::string_view(whole).substr(0, length));
    ASSERT_EQ(read(milliseconds(0)), nullptr) << length;
  }
  bridge_.writeBytes(whole);
  EXPECT_EQ(package(), "shop");
}

TEST_F(CaptureFileTest, WhatIsNoJSONObjectIsMissing) {
  for (const std::string text : {"", " ", "[]", "null", "7", "\"text\"", "{\"a\":1}}", "{\"a\":1,}",
                                 "{'a':1}", "{\"a\":\"\xFF\"}", "{\"a\":NaN}", "not json"}) {
    bridge_.writeBytes(text);
    EXPECT_EQ(read(), nullptr) << text;
  }
  bridge_.writeBytes(std::string("{\"a\":\"\0\"}", 9));
  EXPECT_EQ(read(), nullptr);
}

TEST_F(CaptureFileTest, MayNestFiveHundredAndTwelveDeepAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    return "{\"a\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
  };
  bridge_.writeBytes(nested(512));
  EXPECT_NE(read(), nullptr);
  bridge_.writeBytes(nested(513));
  EXPECT_EQ(read(), nullptr);
  bridge_.writeBytes("{\"a\":" + std::string(10'000'000, '['));
  EXPECT_EQ(read(), nullptr);
}

TEST_F(CaptureFileTest, ABrokenFileIsNotParsedAgainEither) {
  bridge_.writeBytes("broken");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(read(), nullptr);
  EXPECT_EQ(file_.parseCount(), 1U);
}

TEST_F(CaptureFileTest, APipeInItsPlaceIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(bridge_.capturePath().c_str(), 0600), 0);
  EXPECT_EQ(read(), nullptr);
}

TEST_F(CaptureFileTest, AFileBeyondTheLimitIsMissing) {
  bridge_.writeBytes(R"({"package":"shop"})");
  std::filesystem::resize_file(bridge_.capturePath(), CaptureFile::kMaxBytes + 1);  // sparse
  EXPECT_EQ(read(), nullptr);
  EXPECT_EQ(file_.parseCount(), 0U);
}

TEST_F(CaptureFileTest, AnotherPathIsAnotherFile) {
  bridge_.write();
  EXPECT_NE(read(), nullptr);
  EXPECT_EQ(file_.read(home_.path() + "/elsewhere.json", system_clock::now()), nullptr);
  EXPECT_NE(read(), nullptr);
}

TEST_F(CaptureFileTest, TensOfMegabytesAreParsedOnce) {
  boost::json::array requests;
  for (int i = 0; i < 300; ++i)
    requests.push_back(boost::json::object{{"responseBody", std::string(100'000, 'x')}});
  bridge_.set("httpRequests", std::move(requests));
  bridge_.write();
  ASSERT_GT(std::filesystem::file_size(bridge_.capturePath()), 30'000'000U);
  const auto first = read();
  ASSERT_NE(first, nullptr);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(read(), first);
  EXPECT_EQ(file_.parseCount(), 1U);
}

TEST_F(CaptureFileTest, ReadersNeverSeeHalfACaptureFromACarefulBridge) {
  writePackage("shop");
  bridge_.keepFresh();
  std::atomic<int> missing = 0;
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        if (package(milliseconds(0)) != "shop") ++missing;
      }
    });
  }
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(missing, 0);
}

}  // namespace
}  // namespace wyvlet
