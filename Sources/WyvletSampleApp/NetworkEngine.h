#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "WyvletSampleApp/AppLoop.h"
#include "WyvletSampleApp/RuleBook.h"
#include "WyvletShared/TrafficRecords.h"

namespace wyvlet::sample {

/// One call that the app wants made.
struct HTTPCall {
  std::string method = "GET";
  std::string url;  // a production URL, unless `verbatim`
  std::map<std::string, std::string> headers;
  std::optional<std::string> body;
  std::optional<std::string> source;  // the capture path; absent for the app's own calls
  std::string screenName;             // the screen from which the call is made
  bool verbatim = false;              // goes out to `url` as it stands: a replayed request
};

/// How a call ended, as the app's code sees it.
struct HTTPReply {
  std::optional<std::int64_t> status;
  std::string body;
  std::optional<std::string> error;

  bool succeeded() const { return status && *status >= 200 && *status < 300; }
};

/// The app's HTTP stack. On its way to the backend a call meets, in this order, the active
/// environment, the rewrite rules, the mock rules (which answer it) and the intercept rules (which
/// hold it until it is released); the finished exchange is handed to `captured`, and then the reply
/// to the caller. Loop thread only.
class NetworkEngine {
 public:
  using Completion = std::function<void(const HTTPReply&)>;
  using Capture = std::function<void(TransferableNetworkRequest)>;

  struct Settings {
    double latencyFactor = 1;  ///< by how much the backend's own times are stretched
    double holdSeconds = 30;   ///< after this long a held call goes out by itself
  };

  /// The loop and the books must outlive the engine; the engine must outlive the loop's last task.
  NetworkEngine(AppLoop& loop, const EnvironmentBook& environments, const RuleBook& rules, Settings settings,
                Capture captured);

  void send(HTTPCall call, Completion completion = {});

  /// The calls that are held, oldest first: exchange id, and "METHOD URL".
  std::vector<std::pair<UUID, std::string>> held() const;

  /// Lets held calls go: those whose id begins with `id` (either case), or all when it is empty.
  /// How many there were.
  std::size_t release(std::string_view id = {});

  /// Calls under way, held ones not counted.
  std::size_t inFlight() const { return inFlight_; }

 private:
  struct Exchange {
    TransferableNetworkRequest record;
    Completion completion;
    double startedAt = 0;  // on the loop's clock
  };

  void goOut(Exchange exchange);
  void finishAfter(double seconds, Exchange exchange);

  AppLoop& loop_;
  const EnvironmentBook& environments_;
  const RuleBook& rules_;
  Settings settings_;
  Capture captured_;
  std::vector<Exchange> held_;
  std::size_t inFlight_ = 0;
};

}  // namespace wyvlet::sample
