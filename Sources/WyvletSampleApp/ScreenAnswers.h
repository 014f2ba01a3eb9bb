#pragma once

#include <string_view>
#include <vector>

#include "WyvletSampleApp/Element.h"
#include "WyvletShared/Responses.h"

namespace wyvlet::sample {

/// What the app answers about its screen; pure functions of the elements on it.

/// The elements whose label, text or value is `query` (`exact`) or contains it without regard to
/// case. An element that only its value matched goes by that value.
FindResponse findElements(std::string_view screen, const std::vector<Element>& elements,
                          std::string_view query, bool exact);

/// Every visible text, line by line from top to bottom and left to right; a text field gives its
/// name and then its content.
ScreenTextResponse screenText(std::string_view screen, const std::vector<Element>& elements);

/// All elements, in drawing order.
SnapshotResponse screenSnapshot(std::string_view screen, const std::vector<Element>& elements);

/// The screen as compact HTML, one tag an element; c="x,y" is where to tap it.
ScreenHTMLResponse screenHTML(std::string_view screen, const std::vector<Element>& elements);

/// Buttons without a label (error), things to tap that are smaller than 44x44 and images without a
/// description (warnings).
AccessibilityAuditResponse accessibilityAudit(std::string_view screen, const std::vector<Element>& elements);

}  // namespace wyvlet::sample
