#pragma once

#include <boost/json/fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// wyvlet_get_crash_log: the report that the app's crash handler left, that of `bundleId` when it left
/// one, else the newest of any app. Reads regular files of at most 16 MiB, so that nothing that others
/// put into the shared directory can hold the answer up. `directory` is another one in tests only.
std::string getCrashLog(const std::optional<std::string>& bundleId, const std::string& directory = "/tmp");

/// "wyvlet_crash_com_example_app.json": every character of the identifier other than ASCII letters and
/// digits, "-" and "_" becomes "_". Pure.
std::string crashFileName(std::string_view bundleId);

/// The lines of a crash record; what is missing shows as "?". Pure.
std::string formatCrashReport(const boost::json::object& crash);

}  // namespace wyvlet
