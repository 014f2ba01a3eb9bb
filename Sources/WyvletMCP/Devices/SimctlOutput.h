#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// The UDID of the first device in what `simctl list devices ... -j` printed; nothing when it lists
/// none. The listing is found behind warnings that came before it and in front of those after it.
std::optional<std::string> firstDeviceUDID(std::string_view simctlOutput);

}  // namespace wyvlet
