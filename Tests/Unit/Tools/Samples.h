#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "Client/CacheSnapshot.h"

/// Records to build a cache from; a test changes what it is about.
namespace wyvlet::test {

/// The moment at which the tests call the tools.
inline constexpr Date kNow{1'700'000'000.0};

/// "0000000N-0000-4000-8000-000000000000".
inline UUID sampleId(std::uint8_t number) {
  UUID id;
  id.bytes[3] = number;
  id.bytes[6] = 0x40;
  id.bytes[8] = 0x80;
  return id;
}

inline TransferableNetworkRequest sampleRequest(std::uint8_t number, std::string method, std::string url,
                                                std::optional<std::int64_t> statusCode = 200) {
  TransferableNetworkRequest request;
  request.id = sampleId(number);
  request.timestamp = kNow;
  request.url = std::move(url);
  request.method = std::move(method);
  request.statusCode = statusCode;
  request.duration = 0.125;
  return request;
}

inline TransferableLogEntry sampleEntry(std::string level, std::string category, std::string message) {
  TransferableLogEntry entry;
  entry.timestamp = kNow;
  entry.level = std::move(level);
  entry.category = std::move(category);
  entry.message = std::move(message);
  entry.file = "Cart.swift";
  entry.line = 42;
  return entry;
}

inline TransferableEnvironment sampleEnvironment(std::uint8_t number, std::string name,
                                                 std::vector<std::string> baseURLs) {
  return {sampleId(number), std::move(name), std::move(baseURLs), ""};
}

/// `count` times `text`.
inline std::string repeated(std::string_view text, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

/// The cache of an app that is there but has nothing to show.
inline CacheSnapshot connected() {
  CacheSnapshot cache;
  cache.isConnected = true;
  return cache;
}

}  // namespace wyvlet::test
