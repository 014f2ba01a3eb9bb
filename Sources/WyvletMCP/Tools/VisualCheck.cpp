#include "Tools/VisualCheck.h"

#include <fmt/format.h>

#include "Client/WyvletClient.h"
#include "Support/Text.h"
#include "Tools/VerificationTools.h"
#include "Tools/VisualDiff.h"
#include "WyvletShared/Base64.h"

namespace wyvlet {
namespace {

constexpr double kScreenshotSeconds = 5.0;

}  // namespace

std::string visualCheck(WyvletClient& client, const std::optional<std::string>& bundleId,
                        const std::optional<std::string>& screenName, double threshold, bool saveBaseline) {
  if (!client.isConnected()) return std::string(kFailNotConnected);
  // An earlier request's picture would be compared under this screen's name, so only our own counts.
  const auto screenshot = client.requestScreenshot(kScreenshotSeconds).ownImageBase64;
  const auto png = screenshot ? decodeBase64(*screenshot) : std::nullopt;
  if (!png || png->empty()) return "FAIL: Could not capture screenshot";
  return checkScreenshot(*png, bundleId.value_or("unknown"),
                         screenName ? *screenName : client.currentScreen(), threshold, saveBaseline);
}

std::string checkScreenshot(std::string_view png, std::string_view app, std::string_view screen,
                            double threshold, bool saveBaseline) {
  // A baseline that could not be written shows at the next check, which finds none.
  if (saveBaseline) {
    VisualDiff::saveBaseline(png, app, screen);
    return fmt::format("Baseline saved for screen \"{}\" (app: {})\nPath: {}", screen, app,
                       VisualDiff::baselinePath(app, screen));
  }
  // One that is there but cannot be read is replaced on purpose only, as any other is.
  if (!VisualDiff::hasBaseline(app, screen)) {
    VisualDiff::saveBaseline(png, app, screen);
    return fmt::format(
        "No baseline found for screen \"{}\" — saved current screenshot as baseline.\n"
        "Run again to compare against this baseline.",
        screen);
  }
  const auto baseline = VisualDiff::loadBaseline(app, screen);
  const auto result = baseline ? VisualDiff::compare(png, *baseline, threshold) : std::nullopt;
  if (!result) return "FAIL: Could not compare images (decode error)";
  const std::string measured =
      fmt::format("{}% changed ({}/{} pixels, threshold: {}%)", fixedText(result->diffPercentage, 2),
                  result->diffPixels, result->totalPixels, fixedText(threshold, 1));
  if (result->passed) return fmt::format("PASS: Visual check for \"{}\" — {}", screen, measured);
  return fmt::format(
      "FAIL: Visual regression on \"{}\" — {}\n"
      "Use save_baseline=true to update the baseline if this change is intentional.",
      screen, measured);
}

}  // namespace wyvlet
