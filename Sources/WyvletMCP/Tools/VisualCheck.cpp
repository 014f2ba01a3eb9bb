#include "Tools/VisualCheck.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "Client/WyvletClient.h"
#include "Support/Semaphore.h"
#include "Support/Text.h"
#include "Tools/VerificationTools.h"
#include "Tools/VisualDiff.h"
#include "WyvletShared/Base64.h"

namespace wyvlet {
namespace {

constexpr double kScreenshotSeconds = 5.0;

/// The picture that the app takes for this check: an earlier one would be compared under this screen's
/// name. An answer that came too late for an earlier request ends the wait before ours is there, and
/// every later wait in its turn, so the app is then asked again for as long as the time lasts.
std::optional<std::string> ownScreenshot(WyvletClient& client) {
  const auto deadline = deadlineAfter(kScreenshotSeconds);
  double left = kScreenshotSeconds;
  for (;;) {
    auto answer = client.requestScreenshot(left);
    left = std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
    if (!answer.endedByLateAnswer || left <= 0) return std::move(answer.ownImageBase64);
  }
}

}  // namespace

std::string visualCheck(WyvletClient& client, const std::optional<std::string>& bundleId,
                        const std::optional<std::string>& screenName, double threshold, bool saveBaseline) {
  if (!client.isConnected()) return std::string(kFailNotConnected);
  const auto screenshot = ownScreenshot(client);
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
