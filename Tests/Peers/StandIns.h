#pragma once

#include <boost/json.hpp>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet::test {

/// Programs in the place of xcrun, axe, adb, xcodebuild, codesign and open, for the server to run. They
/// record their calls and do what they are told; untold, they succeed in silence. They find their
/// folder through the environment variable WYVLET_STAND_INS, which the object sets for the process
/// while it lives. One at a time, and made before the test starts threads.
class StandIns {
 public:
  struct Call {
    std::string tool;
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
    std::string input;  ///< what was on standard input
  };

  StandIns();
  ~StandIns();
  StandIns(const StandIns&) = delete;
  StandIns& operator=(const StandIns&) = delete;

  /// Puts a stand-in into `binFolder()` under that name.
  void install(const std::string& name);
  /// The same at a full path; makes the folders on the way.
  void installAt(const std::string& path);
  /// The same in /usr/bin, which this process must have for itself: see Isolation.h.
  void installInUsrBin(const std::string& name);

  /// What `tool` does from now on: a list of behaviours, of which the first applies whose "when" (a
  /// text; absent: always) occurs in the arguments joined by spaces. Keys of a behaviour: "output",
  /// "error" (texts), "status" (exit status), "seconds" (runs for so long), "flood" (bytes on each
  /// output), "ignoreTerm" (true), "grandchild" and "daemon" (seconds for which a child lives on with
  /// the outputs open, inside or outside the process group), "file" (content of the file that the
  /// last argument names).
  void tell(const std::string& tool, const boost::json::array& behaviours) const;

  std::vector<Call> calls() const;
  std::vector<Call> calls(std::string_view tool) const;
  void forgetCalls() const;

  /// Whether a "grandchild" or "daemon" still lives; only after it has started.
  bool anyGrandchildAlive() const;
  /// Waits until every one has ended; false when one still lives after ten seconds.
  bool allGrandchildrenEnded() const;

  const std::string& folder() const { return folder_; }
  std::string binFolder() const { return folder_ + "/bin"; }

 private:
  std::string folder_;
  int lifeLine_ = -1;
};

}  // namespace wyvlet::test
