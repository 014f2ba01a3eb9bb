#include <gtest/gtest.h>

#include "HTTP/HTTPResponse.h"

namespace wyvlet {
namespace {

TEST(HTTPResponse, OrdinaryResponse) {
  EXPECT_EQ(
      "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
      "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
      "Access-Control-Allow-Headers: Content-Type, Authorization\r\nContent-Length: 11\r\n\r\n{\"a\":true}\n",
      jsonResponse("{\"a\":true}\n"));
}

TEST(HTTPResponse, LengthCountsBytes) {
  EXPECT_EQ(
      "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nAccess-Control-Allow-Origin: *\r\n"
      "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
      "Access-Control-Allow-Headers: Content-Type, Authorization\r\nContent-Length: "
      "8\r\n\r\n\"\xE2\x80\x94\xE2\x86\x92\"",
      jsonResponse("\"\xE2\x80\x94\xE2\x86\x92\""));
}

TEST(HTTPResponse, PreflightResponse) {
  EXPECT_EQ(
      "HTTP/1.1 204 No Content\r\nAccess-Control-Allow-Origin: *\r\n"
      "Access-Control-Allow-Methods: GET, POST, DELETE, OPTIONS\r\n"
      "Access-Control-Allow-Headers: Content-Type, Authorization\r\n\r\n",
      preflightResponse());
}

TEST(HTTPResponse, InterimResponse) { EXPECT_EQ("HTTP/1.1 100 Continue\r\n\r\n", continueResponse()); }

}  // namespace
}  // namespace wyvlet
