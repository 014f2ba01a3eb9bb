// An HTTP request, whole and in pieces of every size, and what the routes make of it.

#include <boost/json.hpp>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "HTTP/HTTPRequest.h"
#include "HTTP/HTTPRoutes.h"
#include "HTTP/HTTPTarget.h"
#include "Support/Text.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

/// Reads `bytes` in pieces whose sizes the bytes themselves decide, up to `longest`.
HTTPRequest readInPieces(std::string_view bytes, std::size_t longest) {
  HTTPRequest request;
  while (!bytes.empty()) {
    const auto piece = bytes.substr(0, 1 + static_cast<unsigned char>(bytes.front()) % longest);
    request.append(piece);
    bytes.remove_prefix(piece.size());
  }
  return request;
}

void requireSame(const HTTPRequest& whole, const HTTPRequest& pieces) {
  require(whole.method() == pieces.method());
  require(whole.target() == pieces.target());
  require(whole.isComplete() == pieces.isComplete());
  require(whole.declaresBody() == pieces.declaresBody());
  if (whole.declaresBody() || !whole.isComplete()) {
    require(whole.body() == pieces.body());
  } else {
    // Such a body is what came with the end of the head, so in pieces it is the first of it.
    require(pieces.body() == "{}" || whole.body().starts_with(pieces.body()));
  }
}

void requireSoundRouting(const HTTPRequest& request) {
  boost::json::parse(notFoundJSON(request.method(), request.target()));
  for (const char* key : {"limit", "filter"}) {
    const auto value = queryValue(request.target(), key);
    require(!value || isValidUTF8(*value));
  }
  if (const auto* route = findRoute(request.method(), request.target())) {
    route->argumentsOf(request.target(), request.body());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  HTTPRequest whole;
  whole.append(bytes);
  for (const std::size_t longest : {std::size_t{1}, std::size_t{3}, std::size_t{64}}) {
    requireSame(whole, readInPieces(bytes, longest));
  }
  requireSoundRouting(whole);
  return 0;
}
