#include "HTTP/HTTPResponse.h"

#include <fmt/format.h>

namespace wyvlet {
namespace {

/// Lets a page of any origin call the server.
constexpr std::string_view kCrossOriginHeaders =
    "Access-Control-Allow-Origin: *\r\n"
    "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
    "Access-Control-Allow-Headers: Content-Type, Authorization\r\n";

}  // namespace

std::string jsonResponse(std::string_view body) {
  return fmt::format("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n{}Content-Length: {}\r\n\r\n{}",
                     kCrossOriginHeaders, body.size(), body);
}

std::string preflightResponse() {
  return fmt::format("HTTP/1.1 204 No Content\r\n{}\r\n", kCrossOriginHeaders);
}

std::string_view continueResponse() { return "HTTP/1.1 100 Continue\r\n\r\n"; }

}  // namespace wyvlet
