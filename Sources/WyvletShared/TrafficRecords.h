#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WyvletShared/FieldTable.h"
#include "WyvletShared/UUID.h"
#include "WyvletShared/Values.h"

namespace wyvlet {

/// One HTTP exchange that the app made.
struct TransferableNetworkRequest {
  UUID id;
  Date timestamp;   // when the request started
  std::string url;  // as sent, after any rewrite
  std::string host;
  std::string path;
  std::string method;
  std::map<std::string, std::string> requestHeaders;
  std::optional<Bytes> requestBody;
  std::optional<std::int64_t> statusCode;  // absent when no response arrived
  std::map<std::string, std::string> responseHeaders;
  std::optional<Bytes> responseBody;            // may be left out by the app for size
  double duration = 0;                          // seconds from start to completion
  std::optional<std::string> errorDescription;  // transport error, when the exchange failed
  std::optional<std::string> mimeType;
  bool isMocked = false;                   // answered by a mock rule
  bool isIntercepted = false;              // held by an intercept rule
  bool isEnvironmentRewritten = false;     // URL changed by the environment or a rule
  std::optional<std::string> originalURL;  // before rewriting
  std::optional<std::string> screenName;   // the screen that was showing
  std::optional<std::string> source;       // the capture path, such as "WebView"

  static constexpr std::string_view recordName = "TransferableNetworkRequest";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableNetworkRequest::id),
      field("timestamp", &TransferableNetworkRequest::timestamp),
      field("url", &TransferableNetworkRequest::url), field("host", &TransferableNetworkRequest::host),
      field("path", &TransferableNetworkRequest::path), field("method", &TransferableNetworkRequest::method),
      field("requestHeaders", &TransferableNetworkRequest::requestHeaders),
      field("requestBody", &TransferableNetworkRequest::requestBody),
      field("statusCode", &TransferableNetworkRequest::statusCode),
      field("responseHeaders", &TransferableNetworkRequest::responseHeaders),
      field("responseBody", &TransferableNetworkRequest::responseBody),
      field("duration", &TransferableNetworkRequest::duration),
      field("errorDescription", &TransferableNetworkRequest::errorDescription),
      field("mimeType", &TransferableNetworkRequest::mimeType),
      field("isMocked", &TransferableNetworkRequest::isMocked),
      field("isIntercepted", &TransferableNetworkRequest::isIntercepted),
      field("isEnvironmentRewritten", &TransferableNetworkRequest::isEnvironmentRewritten),
      field("originalURL", &TransferableNetworkRequest::originalURL),
      field("screenName", &TransferableNetworkRequest::screenName),
      field("source", &TransferableNetworkRequest::source));

  /// True for a status from 200 to 299.
  bool isSuccess() const;

  /// "42ms", "1.0s". The boundary is on the unrounded value: 0.9996 s is "1000ms".
  std::string durationText() const;

  /// The size of the response body in units of 1024: "Zero KB" when empty, "0 B" when absent,
  /// "1 byte", "12 KB", "1.5 MB", "2.25 GB".
  std::string responseSizeText() const;

  bool operator==(const TransferableNetworkRequest&) const = default;
};

/// One WebSocket message.
struct TransferableWSFrame {
  UUID id;
  UUID connectionId;  // the owning connection
  Date timestamp;
  std::string direction;  // "Sent" or what the app calls the other way
  std::string frameType;  // text, binary or control, in the app's words
  std::optional<Bytes> payload;
  std::optional<std::string> payloadString;  // the payload, when it is text

  static constexpr std::string_view recordName = "TransferableWSFrame";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableWSFrame::id), field("connectionId", &TransferableWSFrame::connectionId),
      field("timestamp", &TransferableWSFrame::timestamp),
      field("direction", &TransferableWSFrame::direction),
      field("frameType", &TransferableWSFrame::frameType), field("payload", &TransferableWSFrame::payload),
      field("payloadString", &TransferableWSFrame::payloadString));
  bool operator==(const TransferableWSFrame&) const = default;
};

/// One WebSocket connection with its frames so far, oldest first.
struct TransferableWSConnection {
  UUID id;
  std::string url;
  std::string host;
  Date startTime;
  std::string status;  // in the app's words
  std::vector<TransferableWSFrame> frames;
  std::optional<std::int64_t> closeCode;
  std::optional<std::string> closeReason;

  static constexpr std::string_view recordName = "TransferableWSConnection";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableWSConnection::id), field("url", &TransferableWSConnection::url),
      field("host", &TransferableWSConnection::host),
      field("startTime", &TransferableWSConnection::startTime),
      field("status", &TransferableWSConnection::status), field("frames", &TransferableWSConnection::frames),
      field("closeCode", &TransferableWSConnection::closeCode),
      field("closeReason", &TransferableWSConnection::closeReason));
  bool operator==(const TransferableWSConnection&) const = default;
};

/// One line of the app's own log.
struct TransferableLogEntry {
  UUID id;
  Date timestamp;
  std::string level;  // severity in the app's words, such as "ERROR"
  std::string category;
  std::string message;
  std::string file;
  std::uint64_t line = 0;
  std::optional<std::string> screenName;  // the screen that was showing

  static constexpr std::string_view recordName = "TransferableLogEntry";
  static constexpr auto fields = fieldTable(
      field("id", &TransferableLogEntry::id), field("timestamp", &TransferableLogEntry::timestamp),
      field("level", &TransferableLogEntry::level), field("category", &TransferableLogEntry::category),
      field("message", &TransferableLogEntry::message), field("file", &TransferableLogEntry::file),
      field("line", &TransferableLogEntry::line), field("screenName", &TransferableLogEntry::screenName));
  bool operator==(const TransferableLogEntry&) const = default;
};

}  // namespace wyvlet
