// A byte stream of the companion link, cut at arbitrary points, must give the frames of the uncut one.
//
// The input's first byte chooses the longest body; the second says how many bytes follow that are the
// sizes of the pieces, taken in turn; the rest is the stream.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/FrameReader.h"

namespace {

using namespace wyvlet;

void require(bool holds) {
  if (!holds) std::abort();
}

struct Item {
  std::uint32_t length = 0;
  std::string body;  // empty for a bad length
  bool operator==(const Item&) const = default;
};

struct Reading {
  std::vector<Item> items;
  bool insideBody = false;
  bool operator==(const Reading&) const = default;
};

void write(FrameReader& reader, std::string_view bytes) {
  while (!bytes.empty()) {
    const std::span<char> space = reader.writableSpace();
    require(!space.empty());
    const std::size_t count = std::min(space.size(), bytes.size());
    std::memcpy(space.data(), bytes.data(), count);
    reader.wrote(count);
    bytes.remove_prefix(count);
  }
}

void take(FrameReader& reader, std::vector<Item>& items) {
  for (auto item = reader.next(); item.kind != FrameReader::Kind::NeedMore; item = reader.next()) {
    require((item.kind == FrameReader::Kind::Frame) == !item.body.empty());
    items.push_back({item.length, std::string(item.body)});
  }
}

/// All of the stream before the first item is taken.
Reading readUncut(std::string_view stream, std::uint32_t limit) {
  FrameReader reader(limit);
  Reading reading;
  write(reader, stream);
  take(reader, reading.items);
  reading.insideBody = reader.insideBody();
  return reading;
}

Reading readCut(std::string_view stream, std::uint32_t limit, std::string_view sizes) {
  FrameReader reader(limit);
  Reading reading;
  for (std::size_t i = 0; !stream.empty(); ++i) {
    const std::size_t size = sizes.empty() ? 1 : static_cast<unsigned char>(sizes[i % sizes.size()]) + 1u;
    const std::string_view piece = stream.substr(0, size);
    write(reader, piece);
    take(reader, reading.items);
    stream.remove_prefix(piece.size());
  }
  reading.insideBody = reader.insideBody();
  return reading;
}

/// The format itself, over bytes that are all there.
Reading readByTheBook(std::string_view stream, std::uint32_t limit) {
  Reading reading;
  while (stream.size() >= 4) {
    std::uint32_t length = 0;
    for (int i = 0; i < 4; ++i)
      length = length * 256 + static_cast<unsigned char>(stream[static_cast<std::size_t>(i)]);
    const bool good = length > 0 && length <= limit;
    if (good && stream.size() - 4 < length) {
      reading.insideBody = true;
      break;
    }
    reading.items.push_back({length, std::string(stream.substr(4, good ? length : 0))});
    stream.remove_prefix(4 + (good ? length : 0));
  }
  return reading;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  if (input.size() < 2) return 0;
  const auto limitChoice = static_cast<unsigned char>(input[0]);
  const std::uint32_t limit = limitChoice == 0 ? kMaxFrameBytes : limitChoice * 4u;
  const std::size_t sizeCount = static_cast<unsigned char>(input[1]) % 16;
  input.remove_prefix(2);
  const std::string_view sizes = input.substr(0, sizeCount);
  input.remove_prefix(sizes.size());

  const Reading expected = readByTheBook(input, limit);
  require(readUncut(input, limit) == expected);
  require(readCut(input, limit, sizes) == expected);
  for (const Item& item : expected.items) {
    if (!item.body.empty()) require(encodeFrame(item.body).substr(4) == item.body);
  }
  return 0;
}
