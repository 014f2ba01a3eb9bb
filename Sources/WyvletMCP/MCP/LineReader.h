#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace wyvlet {

/// Reads lines from a descriptor. A line longer than the limit is read to its end and left out, so
/// that no peer can make the server hold more than that. One thread at a time.
class LineReader {
 public:
  static constexpr std::size_t kMaxLineBytes = std::size_t{64} << 20;

  explicit LineReader(int descriptor, std::size_t maxLineBytes = kMaxLineBytes)
      : descriptor_(descriptor), maxLineBytes_(maxLineBytes) {}

  /// The next line without its line feed; the last one may lack it. Nothing at the end of input or
  /// when the descriptor fails. Blocks until then.
  std::optional<std::string> next();

 private:
  int descriptor_;
  std::size_t maxLineBytes_;
  std::string buffer_;
  std::size_t begin_ = 0;  // first byte of the current line
};

/// Writes all of `bytes`, waiting where the reader is slow; false when nobody can read them any more.
bool writeAll(int descriptor, std::string_view bytes);

}  // namespace wyvlet
