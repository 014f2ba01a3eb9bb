#pragma once

#include <boost/json/fwd.hpp>
#include <string>

namespace wyvlet {

class SimulatorBridge;

/// Stops, builds, installs and relaunches the app under test on its simulator, and returns what
/// happened as lines for the agent. `args` may hold "scheme" and "project_path"; the session defaults
/// stand in for what is missing. Blocks for up to 121 seconds of building and 31 for each other step.
/// Any thread.
std::string rebuildApp(const boost::json::object& args, SimulatorBridge& sim);

}  // namespace wyvlet
