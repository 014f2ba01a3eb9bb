#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <thread>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/AppModel.h"
#include "WyvletSampleApp/CommandHandler.h"
#include "WyvletSampleApp/CompanionLink.h"
#include "WyvletSampleApp/MarkerFile.h"
#include "WyvletSampleApp/Probe.h"
#include "WyvletShared/CompanionConnection.h"
#include "WyvletShared/Result.h"

namespace wyvlet::sample {

/// The app's side of the companion links: takes servers in, gives each its full sync, passes events
/// and further syncs to all of them and their commands to the handler.
///
/// Lives on the loop. Its threads (one that accepts, two for each link) only post; they are gone
/// when the object is, which may be destroyed only before the loop has run or after it has ended.
class CompanionServer {
 public:
  /// The references must outlive the server. Takes over `probe`'s reports.
  CompanionServer(AppLoop& loop, Probe& probe, const AppModel& app, CommandHandler& commands,
                  MarkerFile marker);
  ~CompanionServer();
  CompanionServer(const CompanionServer&) = delete;
  CompanionServer& operator=(const CompanionServer&) = delete;

  /// Starts to listen, creates the marker file, and returns the port.
  Result<std::uint16_t> listen(std::uint16_t port, bool loopbackOnly);

  /// Ends every link; servers may come back. Loop thread.
  void dropLinks();

  std::size_t linkCount() const { return links_.size(); }

  /// Whether all links have taken everything that was sent to them. Loop thread.
  bool isDrained() const;

 private:
  void accept();
  void adopt(std::unique_ptr<CompanionConnection> connection);
  void forget(std::uint64_t link);
  void sendToAll(const std::shared_ptr<const std::string>& body);
  void syncSoon();
  void watchMarker();
  void beat();
  std::shared_ptr<const std::string> syncBody() const;

  AppLoop& loop_;
  Probe& probe_;
  const AppModel& app_;
  CommandHandler& commands_;
  MarkerFile marker_;
  std::unique_ptr<CompanionListener> listener_;
  std::thread acceptor_;
  std::map<std::uint64_t, std::unique_ptr<CompanionLink>> links_;
  std::uint64_t nextLink_ = 1;
  bool syncDue_ = false;
};

}  // namespace wyvlet::sample
