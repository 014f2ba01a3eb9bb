#pragma once

#include <string>
#include <string_view>

namespace wyvlet {

/// The answer to everything but a preflight: status 200, headers and the JSON text `body`. Errors
/// travel in the body, so there is no other status.
std::string jsonResponse(std::string_view body);

/// The answer to a browser that asks whether a page may send its request: any page may.
std::string preflightResponse();

/// What a client that expects "100-continue" waits for before it sends its body.
std::string_view continueResponse();

}  // namespace wyvlet
