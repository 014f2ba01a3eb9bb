#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

class WyvletClient;

/// wyvlet_visual_check: takes a screenshot and compares it with the baseline of its screen; the first
/// of a screen becomes its baseline. Blocks for the screenshot's five seconds at most.
std::string visualCheck(WyvletClient& client, const std::optional<std::string>& bundleId,
                        const std::optional<std::string>& screenName, double threshold, bool saveBaseline);

/// The part after the screenshot: reads and writes baselines only.
std::string checkScreenshot(std::string_view png, std::string_view app, std::string_view screen,
                            double threshold, bool saveBaseline);

}  // namespace wyvlet
