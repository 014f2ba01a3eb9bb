#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HTTP/HTTPRequest.h"

namespace wyvlet {
namespace {

HTTPRequest requestFrom(std::initializer_list<std::string_view> pieces) {
  HTTPRequest request;
  for (const auto piece : pieces) request.append(piece);
  return request;
}

HTTPRequest requestByteByByte(std::string_view bytes) {
  HTTPRequest request;
  for (std::size_t i = 0; i < bytes.size(); ++i) request.append(bytes.substr(i, 1));
  return request;
}

TEST(HTTPRequest, NothingHasComeAtFirst) {
  const HTTPRequest request;
  EXPECT_TRUE(request.isEmpty());
  EXPECT_FALSE(request.isComplete());
  EXPECT_EQ("", request.method());
  EXPECT_EQ("", request.target());
  EXPECT_EQ("{}", request.body());
}

TEST(HTTPRequest, GetIsCompleteWithItsHead) {
  const auto request = requestFrom({"GET /status?x=1 HTTP/1.1\r\nHost: localhost\r\n\r\n"});
  EXPECT_FALSE(request.isEmpty());
  EXPECT_TRUE(request.isComplete());
  EXPECT_FALSE(request.declaresBody());
  EXPECT_EQ("GET", request.method());
  EXPECT_EQ("/status?x=1", request.target());
  EXPECT_EQ("{}", request.body());
}

TEST(HTTPRequest, HeadIsIncompleteUntilTheBlankLine) {
  HTTPRequest request;
  request.append("GET / HTTP/1.1\r\nHost: a\r\n\r");
  EXPECT_FALSE(request.isComplete());
  request.append("\n");
  EXPECT_TRUE(request.isComplete());
}

TEST(HTTPRequest, BodyIsReadToItsContentLength) {
  HTTPRequest request;
  request.append("POST /tap HTTP/1.1\r\nContent-Length: 7\r\n\r\n");
  EXPECT_TRUE(request.declaresBody());
  request.append("{\"x\":1");
  EXPECT_FALSE(request.isComplete());
  request.append("}");
  EXPECT_TRUE(request.isComplete());
  EXPECT_EQ("{\"x\":1}", request.body());
}

TEST(HTTPRequest, AnyCutReadsTheSame) {
  const std::string bytes =
      "POST /mcp HTTP/1.1\r\nHost: localhost:8686\r\ncontent-LENGTH:  12 \r\nA: b\r\n\r\nhello "
      "\xF0\x9F\x98\x80!!";
  for (std::size_t first = 0; first <= bytes.size(); ++first) {
    for (std::size_t second = first; second <= bytes.size(); ++second) {
      const std::string_view all(bytes);
      const auto request =
          requestFrom({all.substr(0, first), all.substr(first, second - first), all.substr(second)});
      ASSERT_TRUE(request.isComplete()) << first << " " << second;
      ASSERT_EQ("POST", request.method());
      ASSERT_EQ("/mcp", request.target());
      ASSERT_EQ("hello \xF0\x9F\x98\x80!!", request.body()) << first << " " << second;
    }
  }
}

TEST(HTTPRequest, WhatFollowsTheBodyIsDropped) {
  auto request = requestFrom({"POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\nokGET /next HTTP/1.1\r\n\r\n"});
  EXPECT_TRUE(request.isComplete());
  request.append("more");
  EXPECT_EQ("ok", request.body());
}

TEST(HTTPRequest, ZeroContentLengthIsNoBody) {
  const auto request = requestFrom({"POST / HTTP/1.1\r\nContent-Length: 0\r\n\r\nextra"});
  EXPECT_TRUE(request.isComplete());
  EXPECT_EQ("{}", request.body());
}

TEST(HTTPRequest, WithoutContentLengthTheBodyIsWhatCameWithTheHead) {
  HTTPRequest request;
  request.append("POST /tap HTTP/1.1\r\nHost: a\r\n");
  request.append("\r\n{\"x\":");
  EXPECT_TRUE(request.isComplete());
  request.append("1}");
  EXPECT_EQ("{\"x\":", request.body());
}

TEST(HTTPRequest, UnreadableContentLengthIsNone) {
  for (const char* length : {"", "-1", "+5", "5 5", "5,5", "0x10", "five", "5."}) {
    const auto request =
        requestFrom({"POST / HTTP/1.1\r\nContent-Length: " + std::string(length) + "\r\n\r\nabcdef"});
    EXPECT_TRUE(request.isComplete()) << length;
    EXPECT_FALSE(request.declaresBody()) << length;
    EXPECT_EQ("abcdef", request.body()) << length;
  }
}

TEST(HTTPRequest, FirstReadableContentLengthCounts) {
  const auto request = requestFrom(
      {"POST / HTTP/1.1\r\nContent-Length: x\r\nContent-Length: 3\r\nContent-Length: 5\r\n\r\nabcdef"});
  EXPECT_EQ("abc", request.body());
}

TEST(HTTPRequest, ChunkedBodyIsDecoded) {
  const std::string bytes =
      "POST /mcp HTTP/1.1\r\nTransfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n"
      "5\r\nhello\r\n0A;name=value\r\n, chunked!\r\n0\r\nTrailer: x\r\n\r\n";
  EXPECT_EQ("hello, chunked!", requestFrom({bytes}).body());
  EXPECT_TRUE(requestFrom({bytes}).isComplete());
  EXPECT_EQ("hello, chunked!", requestByteByByte(bytes).body());
  EXPECT_TRUE(requestByteByByte(bytes).isComplete());
  EXPECT_FALSE(requestByteByByte(std::string_view(bytes).substr(0, bytes.size() - 1)).isComplete());
}

TEST(HTTPRequest, ChunkedMustBeTheLastCoding) {
  EXPECT_EQ("abc",
            requestFrom({"POST / HTTP/1.1\r\nTransfer-Encoding: gzip, Chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"})
                .body());
  EXPECT_EQ("3\r\nabc", requestFrom({"POST / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n3\r\nabc"}).body());
}

TEST(HTTPRequest, MalformedChunksEndTheBodyWithWhatHasCome) {
  const std::string head = "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (const char* rest : {"3\r\nabc\r\nzz\r\n", "3\r\nabcd\r\n", "3\r\nabc\r\n\r\n", "3\r\nabc\r\n-1\r\n",
                           "3\r\nabc\r\n5 5\r\n"}) {
    const auto request = requestFrom({head, rest});
    EXPECT_TRUE(request.isComplete()) << rest;
    EXPECT_EQ("abc", request.body()) << rest;
  }
}

TEST(HTTPRequest, HugeChunkSizeDoesNotOverflow) {
  const auto request =
      requestFrom({"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nfffffffffffffffffffffffff\r\nabc"});
  EXPECT_FALSE(request.isComplete());
  EXPECT_EQ("abc", request.body());
}

TEST(HTTPRequest, UnfinishedRequestHoldsWhatHasCome) {
  EXPECT_EQ("GE", requestFrom({"GE"}).method());
  EXPECT_EQ("", requestFrom({"GET"}).target());
  const auto head = requestFrom({"POST /tap HTTP/1.1\r\nContent-Length: 7"});
  EXPECT_FALSE(head.isComplete());
  EXPECT_EQ("/tap", head.target());
  EXPECT_EQ("{}", head.body());
  const auto body = requestFrom({"POST /tap HTTP/1.1\r\nContent-Length: 7\r\n\r\n{\"x\""});
  EXPECT_FALSE(body.isComplete());
  EXPECT_EQ("{\"x\"", body.body());
}

TEST(HTTPRequest, OddRequestLinesAreReadAsFarAsTheyGo) {
  EXPECT_EQ("", requestFrom({"\r\n\r\n"}).method());
  EXPECT_EQ("", requestFrom({"\r\n\r\n"}).target());
  EXPECT_EQ("GET", requestFrom({"  GET   /status   HTTP/1.1\r\n\r\n"}).method());
  EXPECT_EQ("/status", requestFrom({"  GET   /status   HTTP/1.1\r\n\r\n"}).target());
  EXPECT_EQ("get", requestFrom({"get /\r\n\r\n"}).method());
  EXPECT_EQ(std::string_view("/\0\xFF", 3),
            requestFrom({std::string_view("GET /\0\xFF x\r\n\r\n", 13)}).target());
}

TEST(HTTPRequest, ClientThatExpectsContinueWaitsUntilItsBodyBegins) {
  HTTPRequest request;
  request.append("POST / HTTP/1.1\r\nExpect: 100-Continue\r\n");
  EXPECT_FALSE(request.awaitsContinue());
  request.append("Content-Length: 3\r\n\r\n");
  EXPECT_TRUE(request.awaitsContinue());
  request.append("a");
  EXPECT_FALSE(request.awaitsContinue());
  request.append("bc");
  EXPECT_FALSE(request.awaitsContinue());
  EXPECT_EQ("abc", request.body());
}

TEST(HTTPRequest, ContinueIsForNewClientsWithABodyToCome) {
  EXPECT_TRUE(requestFrom({"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n"})
                  .awaitsContinue());
  EXPECT_FALSE(
      requestFrom({"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n3\r\n"})
          .awaitsContinue());
  EXPECT_FALSE(
      requestFrom({"POST / HTTP/1.0\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n"}).awaitsContinue());
  EXPECT_FALSE(requestFrom({"GET / HTTP/1.1\r\nExpect: 100-continue\r\n\r\n"}).awaitsContinue());
  EXPECT_FALSE(
      requestFrom({"POST / HTTP/1.1\r\nContent-Length: 3\r\nExpect: something\r\n\r\n"}).awaitsContinue());
}

class HTTPRequestLimit : public ::testing::TestWithParam<int> {};

TEST_P(HTTPRequestLimit, RequestIsCutThere) {
  const int beyond = GetParam();
  std::string head = "POST / HTTP/1.1\r\nContent-Length: 99999999\r\n\r\n";
  const auto bodyBytes = HTTPRequest::kMaxBytes - head.size();
  HTTPRequest request;
  request.append(head);
  const std::string body(bodyBytes + static_cast<std::size_t>(beyond + 1) - 1, 'x');
  for (std::string_view rest(body); !rest.empty();) {
    const auto piece = rest.substr(0, 65536);
    request.append(piece);
    rest.remove_prefix(piece.size());
  }
  EXPECT_EQ(beyond >= 0, request.isComplete());
  EXPECT_EQ(std::min(bodyBytes, body.size()), request.body().size());
}

INSTANTIATE_TEST_SUITE_P(BelowAtAndAbove, HTTPRequestLimit, ::testing::Values(-1, 0, 1, 70000));

class HTTPHeadLimit : public ::testing::TestWithParam<int> {};

TEST_P(HTTPHeadLimit, HeadBeyondItIsCutThere) {
  const int beyond = GetParam();
  std::string bytes = "POST /tap HTTP/1.1\r\nContent-Length: 2\r\nPadding: ";
  bytes.append(HTTPRequest::kMaxHeadBytes + static_cast<std::size_t>(beyond + 1) - bytes.size() - 5, 'p');
  bytes += "\r\n\r\nok";
  for (const auto& request : {requestFrom({bytes}), requestByteByByte(bytes)}) {
    EXPECT_TRUE(request.isComplete());
    EXPECT_EQ("POST", request.method());
    EXPECT_EQ("/tap", request.target());
    EXPECT_EQ(beyond <= 0 ? "ok" : "{}", request.body());
  }
}

INSTANTIATE_TEST_SUITE_P(BelowAtAndAbove, HTTPHeadLimit, ::testing::Values(-1, 0, 1, 2, 3, 4));

TEST(HTTPRequest, EndlessHeadIsCutAtTheLimit) {
  HTTPRequest request;
  request.append(std::string(HTTPRequest::kMaxHeadBytes - 1, 'a'));
  EXPECT_FALSE(request.isComplete());
  request.append(std::string(HTTPRequest::kMaxBytes, 'a'));
  EXPECT_TRUE(request.isComplete());
  EXPECT_EQ(HTTPRequest::kMaxHeadBytes, request.method().size());
}

}  // namespace
}  // namespace wyvlet
