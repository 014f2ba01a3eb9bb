#include "HTTP/HTTPRequest.h"

#include <algorithm>

#include "HTTP/HTTPTarget.h"

namespace wyvlet {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

char lowerASCII(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Header names and the values read here are ASCII whatever the locale; `lower` is in lower case.
bool isASCIICaseVariant(std::string_view text, std::string_view lower) {
  return std::ranges::equal(text, lower, {}, lowerASCII);
}

std::string_view withoutSpace(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/// A decimal count; one too large to be real reads as the largest that matters.
std::optional<std::size_t> parseLength(std::string_view digits) {
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  std::size_t value = 0;
  for (const char c : digits) {
    value = std::min(value * 10 + static_cast<std::size_t>(c - '0'), HTTPRequest::kMaxBytes);
  }
  return value;
}

/// The size at the start of a chunk's line, before any extension; nothing when there is none.
std::optional<std::size_t> parseChunkSize(std::string_view line) {
  std::size_t value = 0;
  std::size_t digits = 0;
  while (digits < line.size()) {
    const auto digit = hexDigit(line[digits]);
    if (!digit) break;
    value = std::min(value * 16 + static_cast<std::size_t>(*digit), HTTPRequest::kMaxBytes);
    ++digits;
  }
  const auto rest = withoutSpace(line.substr(digits));
  if (digits == 0 || !(rest.empty() || rest.starts_with(';'))) return std::nullopt;
  return value;
}

}  // namespace

void HTTPRequest::append(std::string_view bytes) {
  if (isComplete()) return;
  bytes = bytes.substr(0, kMaxBytes - taken_);
  taken_ += bytes.size();
  if (stage_ == Stage::Head) {
    takeHead(bytes);
  } else {
    takeBody(bytes);
  }
  if (taken_ == kMaxBytes) stage_ = Stage::Complete;
}

bool HTTPRequest::awaitsContinue() const {
  // A client that has begun with its body waits for nothing.
  const bool nothingCame = body_.empty() && chunkLine_.empty();
  return expectsContinue_ && nothingCame && (stage_ == Stage::FixedBody || stage_ == Stage::ChunkSize);
}

std::string_view HTTPRequest::requestLineWord(int index) const {
  std::string_view line(head_);
  line = line.substr(0, line.find(kLineEnd));
  for (;; --index) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const auto word = line.substr(0, line.find(' '));
    if (index == 0) return word;
    line.remove_prefix(word.size());
  }
}

void HTTPRequest::takeHead(std::string_view bytes) {
  // The blank line may have begun in an earlier piece.
  const auto searchFrom = head_.size() - std::min(head_.size(), kHeadEnd.size() - 1);
  const auto before = head_.size();
  head_.append(bytes.substr(0, kMaxHeadBytes - before));
  const auto end = head_.find(kHeadEnd, searchFrom);
  if (end == std::string::npos) {
    if (head_.size() == kMaxHeadBytes) stage_ = Stage::Complete;
    return;
  }
  bytes.remove_prefix(end + kHeadEnd.size() - before);
  head_.resize(end);

  std::string_view lines(head_);
  for (auto cut = lines.find(kLineEnd); cut != std::string_view::npos; cut = lines.find(kLineEnd)) {
    lines.remove_prefix(cut + kLineEnd.size());
    readHeader(lines.substr(0, lines.find(kLineEnd)));
  }

  if (isChunked_) {
    stage_ = Stage::ChunkSize;
  } else if (contentLength_.value_or(0) > 0) {
    stage_ = Stage::FixedBody;
    remaining_ = *contentLength_;
  } else {
    stage_ = Stage::Complete;
    if (!contentLength_) body_ = bytes;
    return;
  }
  takeBody(bytes);
}

void HTTPRequest::readHeader(std::string_view line) {
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const auto name = withoutSpace(line.substr(0, colon));
  const auto value = withoutSpace(line.substr(colon + 1));
  if (isASCIICaseVariant(name, "content-length")) {
    if (!contentLength_) contentLength_ = parseLength(value);
  } else if (isASCIICaseVariant(name, "transfer-encoding")) {
    // Chunked is the last coding when it is one of several.
    isChunked_ = isASCIICaseVariant(withoutSpace(value.substr(value.rfind(',') + 1)), "chunked");
  } else if (isASCIICaseVariant(name, "expect")) {
    expectsContinue_ = isASCIICaseVariant(value, "100-continue") && requestLineWord(2) != "HTTP/1.0";
  }
}

void HTTPRequest::takeBody(std::string_view bytes) {
  while (!bytes.empty() && stage_ != Stage::Complete) {
    if (stage_ == Stage::FixedBody || stage_ == Stage::ChunkData) {
      bytes.remove_prefix(takeData(bytes));
      continue;
    }
    const auto end = bytes.find('\n');
    chunkLine_.append(bytes.substr(0, end));
    if (end == std::string_view::npos) return;
    bytes.remove_prefix(end + 1);
    if (chunkLine_.ends_with('\r')) chunkLine_.pop_back();
    endChunkLine(chunkLine_);
    chunkLine_.clear();
  }
}

std::size_t HTTPRequest::takeData(std::string_view bytes) {
  const auto count = std::min(bytes.size(), remaining_);
  body_.append(bytes.substr(0, count));
  remaining_ -= count;
  if (remaining_ == 0) stage_ = stage_ == Stage::FixedBody ? Stage::Complete : Stage::ChunkEnd;
  return count;
}

void HTTPRequest::endChunkLine(std::string_view line) {
  if (stage_ == Stage::ChunkSize) {
    const auto size = parseChunkSize(line);
    remaining_ = size.value_or(0);
    // Without a size there is no telling where anything begins: the body ends with the chunk before.
    stage_ = !size ? Stage::Complete : *size > 0 ? Stage::ChunkData : Stage::Trailer;
  } else if (stage_ == Stage::ChunkEnd) {
    stage_ = line.empty() ? Stage::ChunkSize : Stage::Complete;
  } else if (line.empty()) {
    stage_ = Stage::Complete;
  }
}

}  // namespace wyvlet
