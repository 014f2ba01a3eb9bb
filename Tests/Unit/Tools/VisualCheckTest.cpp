#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Client/WyvletClient.h"
#include "PNGWriter.h"
#include "PeerApp.h"
#include "TemporaryHome.h"
#include "Tools/VisualCheck.h"
#include "Tools/VisualDiff.h"
#include "WyvletShared/Base64.h"
#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::test {
namespace {

class VisualCheck : public ::testing::Test {
 protected:
  std::string check(std::string_view png, double threshold = 5.0, bool saveBaseline = false) {
    return checkScreenshot(png, "com.example.app", "Cart", threshold, saveBaseline);
  }

  /// A picture of 10 x 10 whose first `changed` pixels are white on black.
  static std::string picture(unsigned changed) {
    return writePNG({.width = 10, .height = 10, .colourType = 2},
                    [=](std::uint32_t x, std::uint32_t y, int) { return y * 10 + x < changed ? 255u : 0u; });
  }

  TemporaryHome home;
};

TEST_F(VisualCheck, FirstPictureBecomesTheBaseline) {
  EXPECT_EQ(check(picture(0)),
            "No baseline found for screen \"Cart\" — saved current screenshot as baseline.\n"
            "Run again to compare against this baseline.");
  EXPECT_EQ(VisualDiff::loadBaseline("com.example.app", "Cart"), picture(0));
  EXPECT_EQ(check(picture(0), 0.0),
            "PASS: Visual check for \"Cart\" — 0.00% changed (0/100 pixels, threshold: 0.0%)");
}

TEST_F(VisualCheck, ThresholdItselfPasses) {
  check(picture(0));
  EXPECT_EQ(check(picture(5)),
            "PASS: Visual check for \"Cart\" — 5.00% changed (5/100 pixels, threshold: 5.0%)");
  EXPECT_EQ(check(picture(6)),
            "FAIL: Visual regression on \"Cart\" — 6.00% changed (6/100 pixels, threshold: 5.0%)\n"
            "Use save_baseline=true to update the baseline if this change is intentional.");
}

TEST_F(VisualCheck, ABaselineIsReplacedOnPurposeOnly) {
  check(picture(0));
  check(picture(50));
  EXPECT_EQ(VisualDiff::loadBaseline("com.example.app", "Cart"), picture(0));
  EXPECT_EQ(check(picture(50), 5.0, true),
            "Baseline saved for screen \"Cart\" (app: com.example.app)\nPath: " + home.path +
                "/.wyvletqa/baselines/com.example.app/Cart.png");
  EXPECT_EQ(check(picture(50)),
            "PASS: Visual check for \"Cart\" — 0.00% changed (0/100 pixels, threshold: 5.0%)");
}

TEST_F(VisualCheck, UndecodablePictures) {
  check("no picture");
  EXPECT_EQ(check(picture(0)), "FAIL: Could not compare images (decode error)");
  check(picture(0), 5.0, true);
  EXPECT_EQ(check("no picture"), "FAIL: Could not compare images (decode error)");
}

TEST_F(VisualCheck, ABaselineThatCannotBeReadIsReplacedOnPurposeOnly) {
  const std::string path = VisualDiff::baselinePath("com.example.app", "Cart");
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(check(picture(0)), "FAIL: Could not compare images (decode error)");
  EXPECT_TRUE(std::filesystem::is_fifo(path));
  EXPECT_TRUE(check(picture(0), 5.0, true).starts_with("Baseline saved for screen \"Cart\""));
  EXPECT_EQ(VisualDiff::loadBaseline("com.example.app", "Cart"), picture(0));
}

TEST_F(VisualCheck, ABaselineThatCannotBeWrittenIsAnsweredAllTheSame) {
  std::filesystem::remove_all(home.path);
  std::filesystem::create_symlink("/dev/null", home.path);
  EXPECT_TRUE(check(picture(0)).starts_with("No baseline found for screen \"Cart\""));
  EXPECT_TRUE(check(picture(0), 5.0, true).starts_with("Baseline saved for screen \"Cart\""));
}

class VisualCheckOfAnApp : public VisualCheck {
 protected:
  std::string check(const std::string& base64, const std::optional<std::string>& screenName = std::nullopt,
                    const std::optional<std::string>& bundleId = std::nullopt) {
    PeerApp app({}, {{"command.requestScreenshot",
                      {"response.screenshot", encodeRecord(ScreenshotResponse{"Route/1", base64})}}});
    WyvletClient client;
    EXPECT_TRUE(client.connectDirectTCP("127.0.0.1", app.port(), 30.0));
    return visualCheck(client, bundleId, screenName, 5.0, true);
  }
};

TEST_F(VisualCheckOfAnApp, ScreenAndAppHaveDefaults) {
  const std::string picture = encodeBase64(plainPNG(2, 2, 1, 2, 3));
  EXPECT_EQ(check(picture), "Baseline saved for screen \"Route/1\" (app: unknown)\nPath: " + home.path +
                                "/.wyvletqa/baselines/unknown/Route_1.png");
  EXPECT_EQ(check(picture, "Cart", "com.example.app"),
            "Baseline saved for screen \"Cart\" (app: com.example.app)\nPath: " + home.path +
                "/.wyvletqa/baselines/com.example.app/Cart.png");
  EXPECT_EQ(VisualDiff::loadBaseline("unknown", "Route/1"), plainPNG(2, 2, 1, 2, 3));
}

TEST_F(VisualCheckOfAnApp, AnswersToEarlierRequestsAreNeitherComparedNorInTheWay) {
  const std::string early = plainPNG(2, 2, 1, 2, 3), own = plainPNG(2, 2, 4, 5, 6);
  const auto answer = [](const std::string& png) {
    return std::pair<std::string, std::string>{"response.screenshot",
                                               encodeRecord(ScreenshotResponse{"Cart", encodeBase64(png)})};
  };
  // The overlay's commands stand in for requests whose answers came when nobody waited any more.
  PeerApp app({}, {{"command.showOverlay", answer(early)},
                   {"command.requestScreenshot", answer(own)},
                   {"command.perfSnapshot", {"response.perfSnapshot", "{}"}}});
  WyvletClient client;
  ASSERT_TRUE(client.connectDirectTCP("127.0.0.1", app.port(), 30.0));
  client.showOverlay("data", std::nullopt, std::nullopt);
  client.showOverlay("data", std::nullopt, std::nullopt);
  ASSERT_EQ(client.requestPerfSnapshot(30.0), "Perf snapshot decode failed") << "the pictures are there now";
  for (int check = 0; check < 3; ++check) {
    EXPECT_TRUE(visualCheck(client, "app", std::nullopt, 0.0, true).starts_with("Baseline saved")) << check;
    EXPECT_EQ(VisualDiff::loadBaseline("app", "Cart"), own);
  }
}

TEST_F(VisualCheckOfAnApp, NoPicture) {
  EXPECT_EQ(check(""), "FAIL: Could not capture screenshot");
  EXPECT_EQ(check("no base64"), "FAIL: Could not capture screenshot");
}

TEST_F(VisualCheckOfAnApp, WithoutApp) {
  WyvletClient client;
  EXPECT_EQ(visualCheck(client, std::nullopt, std::nullopt, 5.0, false), "FAIL: Wyvlet not connected");
}

}  // namespace
}  // namespace wyvlet::test
