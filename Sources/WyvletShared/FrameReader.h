#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace wyvlet {

/// The longest body that a server accepts from an app, in bytes.
inline constexpr std::uint32_t kMaxFrameBytes = 50'000'000;

/// What precedes a body on the wire: its length as four big-endian bytes.
using FrameHeader = std::array<char, 4>;

/// The header of a body of `bodyBytes`. A length that four bytes cannot hold is our own mistake and
/// ends the process.
FrameHeader frameHeader(std::size_t bodyBytes);

/// The bytes of one frame: header and body.
std::string encodeFrame(std::string_view body);

/// Cuts the byte stream of the companion link into frames, however the network cut it into pieces.
/// The caller reads straight into the reader's own buffer, so that a body is copied at most once,
/// and takes the items out until none is left:
///
///     auto space = reader.writableSpace();
///     reader.wrote(recv(fd, space.data(), space.size(), 0));
///     for (auto item = reader.next(); item.kind != FrameReader::Kind::NeedMore; item = reader.next()) ...
///
/// A length of 0 or above the limit is no frame: its four bytes are skipped, and the next four are
/// taken as a header. The buffer grows to what one frame needs and shrinks again afterwards.
/// Not thread-safe; owned by the connection that it reads.
class FrameReader {
 public:
  enum class Kind {
    NeedMore,   ///< no whole frame is left in the buffer
    Frame,      ///< `body` is one body, valid until the next `writableSpace()`
    BadLength,  ///< `length` announced a body that is empty or too long
  };
  struct Item {
    Kind kind = Kind::NeedMore;
    std::string_view body;
    std::uint32_t length = 0;
  };

  explicit FrameReader(std::uint32_t maxBodyBytes = kMaxFrameBytes);

  /// Room for the next bytes from the network; never empty. For a body in the making it reaches at
  /// least to the body's end, within a bound that keeps a lying header from costing memory.
  std::span<char> writableSpace();

  /// Says that the first `count` bytes of the space handed out last are now filled.
  void wrote(std::size_t count);

  /// The next item, in stream order.
  Item next();

  /// True between a header and the end of its body; tells a link that broke inside a frame from
  /// one that ended between frames.
  bool insideBody() const;

 private:
  struct Free {
    void operator()(char* buffer) const { std::free(buffer); }
  };
  void resize(std::size_t capacity);

  std::uint32_t maxBodyBytes_;
  std::unique_ptr<char, Free> buffer_;  // from malloc, whose realloc moves large blocks without copying
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;  // first byte not yet taken
  std::size_t end_ = 0;    // one past the last byte received
};

}  // namespace wyvlet
