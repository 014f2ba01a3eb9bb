#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace wyvlet {

/// One HTTP request, read from its bytes as they come, at whatever cuts the network makes. Every
/// sequence of bytes is a request of some kind: what cannot be understood is left out, and what has
/// come can be asked for at any time, since a client that stops half-way is answered too. One thread
/// at a time.
class HTTPRequest {
 public:
  /// Head and body together; what comes beyond is not taken.
  static constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

  /// The head with its blank line. A longer one ends the request there, without a body: no client has a
  /// use for it, while what is done with each header line, and an answer that names the target, would
  /// cost more the longer it is.
  static constexpr std::size_t kMaxHeadBytes = std::size_t{64} << 10;

  /// Takes the next bytes. What lies behind the end of the request is dropped. A head that does not
  /// say how long its body is ends the request: its body is what came in the same call.
  void append(std::string_view bytes);

  /// How many bytes have come, head and framing included.
  std::size_t size() const { return taken_; }
  bool isEmpty() const { return taken_ == 0; }

  /// Whether nothing more belongs to the request.
  bool isComplete() const { return stage_ == Stage::Complete; }

  /// Whether the head says how long the body is.
  bool declaresBody() const { return isChunked_ || contentLength_.has_value(); }

  /// Whether the client waits for an interim response before it sends its body.
  bool awaitsContinue() const;

  /// The first and the second word of the request line; "" where there is none. Valid until the next
  /// `append` and as long as the request stays where it is.
  std::string_view method() const { return requestLineWord(0); }
  std::string_view target() const { return requestLineWord(1); }

  /// The body without its chunk framing; "{}" when there is none, so that it reads as no arguments.
  std::string_view body() const { return body_.empty() ? std::string_view("{}") : std::string_view(body_); }

 private:
  enum class Stage { Head, FixedBody, ChunkSize, ChunkData, ChunkEnd, Trailer, Complete };

  std::string_view requestLineWord(int index) const;
  void takeHead(std::string_view bytes);
  void readHeader(std::string_view line);
  void takeBody(std::string_view bytes);
  std::size_t takeData(std::string_view bytes);
  void endChunkLine(std::string_view line);

  Stage stage_ = Stage::Head;
  std::size_t taken_ = 0;
  std::string head_;  // without the blank line once that has come
  std::string body_;
  std::optional<std::size_t> contentLength_;
  bool isChunked_ = false;
  bool expectsContinue_ = false;
  std::size_t remaining_ = 0;  // of the fixed body or of the chunk
  std::string chunkLine_;      // the unfinished line between two chunks
};

}  // namespace wyvlet
