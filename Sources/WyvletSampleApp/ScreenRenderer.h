#pragma once

#include <string>

#include "WyvletSampleApp/AppState.h"
#include "WyvletSampleApp/Canvas.h"

namespace wyvlet::sample {

/// Draws the screen as it stands. Equal states give equal pictures, to the byte, whatever the
/// machine and the time of day; that is what makes a baseline comparison mean something.
Canvas drawScreen(const AppState& state, int scale = 1);

}  // namespace wyvlet::sample
