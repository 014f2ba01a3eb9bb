#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "WyvletShared/Values.h"

namespace wyvlet::sample {

/// One request as it leaves the app.
struct BackendRequest {
  std::string method;
  std::string url;
  std::map<std::string, std::string> headers;
  std::string body;
  Date sentAt;
};

/// What comes back, and how long it takes.
struct BackendResponse {
  std::optional<std::int64_t> status;  // absent when `error` is set
  std::map<std::string, std::string> headers;
  std::optional<std::string> body;   // absent for an answer without one
  std::optional<std::string> error;  // the transport error
  double seconds = 0;
};

/// The servers of Harbor Travel: API, images, help pages, promotion pages and a metrics collector
/// that never answers, in each environment; every other host cannot be found. The same request
/// always gets the same answer, except for the date in it.
BackendResponse respond(const BackendRequest& request);

}  // namespace wyvlet::sample
