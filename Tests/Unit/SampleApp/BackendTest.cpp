#include <gtest/gtest.h>

#include "WyvletSampleApp/Backend.h"
#include "WyvletSampleApp/TravelData.h"

namespace wyvlet::sample {
namespace {

BackendResponse get(const std::string& url) { return respond({"GET", url, {}, "", Date{1750000000}}); }

BackendResponse post(const std::string& url, const std::string& body) {
  return respond({"POST", url, {}, body, Date{1750000000}});
}

TEST(Backend, ASearchListsTwelveCrossings) {
  const auto response = get("https://api.harbor.travel/v1/search?from=Lisbon&to=Porto&date=2025-06-14");
  EXPECT_EQ(response.status, 200);
  const auto fares = readFares(*response.body);
  ASSERT_EQ(fares.size(), 12U);
  EXPECT_EQ(fares.front().id, "HB101");
  EXPECT_EQ(fares.front().departs, "06:15");
  EXPECT_GE(fares.front().cents, 2800);
}

TEST(Backend, TheSameRequestGetsTheSameAnswer) {
  for (const char* url :
       {"https://api.harbor.travel/v1/search?from=A&to=B", "https://api.harbor.travel/v1/init",
        "https://images.harbor.travel/avatars/ada.png"}) {
    EXPECT_EQ(get(url).body, get(url).body);
    EXPECT_EQ(get(url).headers, get(url).headers);
  }
}

TEST(Backend, HeadersAreThoseOfAServer) {
  const auto response = get("https://api.staging.harbor.travel/v1/profile");
  EXPECT_EQ(response.headers.at("Content-Type"), "application/json; charset=utf-8");
  EXPECT_EQ(response.headers.at("Content-Length"), std::to_string(response.body->size()));
  EXPECT_EQ(response.headers.at("Date"), "Sun, 15 Jun 2025 15:06:40 GMT");
  EXPECT_EQ(response.headers.at("X-Environment"), "staging");
  EXPECT_GT(response.seconds, 0);
}

TEST(Backend, TheTotalIsFareAndTaxes) {
  const auto quote = readQuote(*get("http://localhost:8080/v1/fares/HB108").body);
  ASSERT_TRUE(quote);
  EXPECT_EQ(quote->totalCents, quote->fare.cents + quote->taxCents);
  EXPECT_GT(quote->taxCents, 0);
  EXPECT_EQ(get("https://api.harbor.travel/v1/fares/HB999").status, 404);
}

TEST(Backend, ABookingIsConfirmed) {
  const auto response =
      post("https://api.harbor.travel/v1/bookings", R"({"fareId":"HB101","passenger":"Ada Moreau"})");
  EXPECT_EQ(response.status, 201);
  EXPECT_EQ(readText(*response.body, "status"), "confirmed");
  const auto reference = readText(*response.body, "reference");
  ASSERT_TRUE(reference);
  EXPECT_EQ(response.headers.at("Location"), "/v1/bookings/" + *reference);
}

TEST(Backend, BadBookingsAreRefused) {
  EXPECT_EQ(post("https://api.harbor.travel/v1/bookings", "").status, 400);
  EXPECT_EQ(post("https://api.harbor.travel/v1/bookings", "{").status, 400);
  EXPECT_EQ(post("https://api.harbor.travel/v1/bookings", R"({"fareId":"X","passenger":"A"})").status, 404);
}

TEST(Backend, SomeCallsFail) {
  EXPECT_EQ(get("https://api.harbor.travel/v1/promotions").status, 404);
  EXPECT_EQ(get("https://api.harbor.travel/v1/search?from=A&to=Atlantis").status, 500);
  EXPECT_EQ(get("https://api.harbor.travel/v1/search?to=B").status, 400);
  EXPECT_EQ(post("https://api.harbor.travel/v1/init", "").status, 404);
}

TEST(Backend, UnreachableServersAnswerWithATransportError) {
  const auto metrics = get("https://metrics.harbor.travel/v1/collect");
  EXPECT_FALSE(metrics.status);
  EXPECT_EQ(metrics.error, "The request timed out.");
  EXPECT_EQ(get("https://example.com/").error, "A server with the specified hostname could not be found.");
  EXPECT_EQ(get("http://localhost:9999/v1/init").error,
            "A server with the specified hostname could not be found.");
  EXPECT_EQ(get("nonsense").error, "unsupported URL");
}

TEST(Backend, ImagesAreRealPictures) {
  for (const char* url :
       {"https://images.harbor.travel/hero.png", "https://images.harbor.travel/avatars/ada.png"}) {
    const auto response = get(url);
    EXPECT_EQ(response.status, 200);
    EXPECT_TRUE(response.body->starts_with("\x89PNG\r\n\x1a\n"));
  }
  EXPECT_GT(get("https://images.harbor.travel/avatars/ada.png").body->size(), 64U * 1024);
}

TEST(Backend, AnAnswerWithoutABodyHasNone) {
  const auto response = post("https://api.harbor.travel/v1/telemetry", "\xff");
  EXPECT_EQ(response.status, 204);
  EXPECT_FALSE(response.body);
}

}  // namespace
}  // namespace wyvlet::sample
