#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "WyvletSampleApp/NetworkEngine.h"
#include "WyvletSampleApp/SeedData.h"

namespace wyvlet::sample {
namespace {

constexpr const char* kBookings = "https://api.harbor.travel/v1/bookings";

class NetworkEngineTest : public testing::Test {
 protected:
  NetworkEngine engine(NetworkEngine::Settings settings = {}) {
    return {loop, environments, rules, settings,
            [this](TransferableNetworkRequest request) { captured.push_back(std::move(request)); }};
  }

  static HTTPCall get(std::string url) {
    HTTPCall call;
    call.url = std::move(url);
    return call;
  }

  void addMock(const std::string& pattern, std::int64_t status, const std::string& body) {
    TransferableMockRule rule;
    rule.id = UUID::random();
    rule.matchPattern = {"contains", pattern};
    rule.mockStatusCode = status;
    rule.mockResponseHeaders = {{"Content-Type", "application/json"}};
    rule.mockResponseBody = Bytes{body};
    rule.isEnabled = true;
    rules.addMock(std::move(rule));
  }

  void addIntercept(const std::string& pattern, std::optional<std::string> method = {}) {
    TransferableInterceptRule rule;
    rule.id = UUID::random();
    rule.matchPattern = {"contains", pattern};
    rule.httpMethod = std::move(method);
    rule.isEnabled = true;
    rules.addIntercept(std::move(rule));
  }

  AppLoop loop;
  EnvironmentBook environments{seedEnvironments()};
  RuleBook rules;
  std::vector<TransferableNetworkRequest> captured;
};

TEST_F(NetworkEngineTest, AnExchangeIsCapturedWhenItIsOverAndThenReported) {
  auto network = engine();
  std::optional<HTTPReply> reply;
  HTTPCall call = get("https://api.harbor.travel/v1/profile");
  call.headers = {{"Accept", "application/json"}};
  call.screenName = "Home";
  network.send(call, [&](const HTTPReply& r) {
    EXPECT_EQ(captured.size(), 1U);
    reply = r;
  });
  loop.advance(0.087);
  EXPECT_TRUE(captured.empty());
  EXPECT_EQ(network.inFlight(), 1U);
  loop.advance(0.002);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_EQ(network.inFlight(), 0U);
  const auto& record = captured.front();
  EXPECT_EQ(record.method, "GET");
  EXPECT_EQ(record.url, "https://api.harbor.travel/v1/profile");
  EXPECT_EQ(record.host, "api.harbor.travel");
  EXPECT_EQ(record.path, "/v1/profile");
  EXPECT_EQ(record.statusCode, 200);
  EXPECT_EQ(record.mimeType, "application/json");
  EXPECT_DOUBLE_EQ(record.duration, 0.088);
  EXPECT_EQ(record.requestHeaders.at("Accept"), "application/json");
  EXPECT_EQ(record.screenName, "Home");
  EXPECT_FALSE(record.requestBody);
  EXPECT_FALSE(record.source);
  EXPECT_FALSE(record.isMocked || record.isIntercepted || record.isEnvironmentRewritten);
  ASSERT_TRUE(reply);
  EXPECT_TRUE(reply->succeeded());
  EXPECT_EQ(reply->body, record.responseBody->data);
}

TEST_F(NetworkEngineTest, ATransportErrorLeavesNoStatus) {
  auto network = engine();
  network.send(get("https://nowhere.example/"));
  loop.advance(1);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_FALSE(captured[0].statusCode);
  EXPECT_FALSE(captured[0].responseBody);
  EXPECT_EQ(captured[0].errorDescription, "A server with the specified hostname could not be found.");
}

TEST_F(NetworkEngineTest, TheActiveEnvironmentTakesProductionsPlace) {
  environments.activate(std::string_view("Staging"));
  auto network = engine();
  network.send(get("https://api.harbor.travel/v1/init"));
  loop.advance(1);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_EQ(captured[0].url, "https://api.staging.harbor.travel/v1/init");
  EXPECT_EQ(captured[0].host, "api.staging.harbor.travel");
  EXPECT_EQ(captured[0].originalURL, "https://api.harbor.travel/v1/init");
  EXPECT_TRUE(captured[0].isEnvironmentRewritten);
  EXPECT_EQ(captured[0].responseHeaders.at("X-Environment"), "staging");
}

TEST_F(NetworkEngineTest, ARewriteRuleChangesTheHost) {
  rules.addRewrite(seedRewriteRules(Date{0}).front());
  auto network = engine();
  network.send(get("https://cdn.harbor.travel/hero.png"));
  loop.advance(1);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_EQ(captured[0].url, "https://images.harbor.travel/hero.png");
  EXPECT_TRUE(captured[0].isEnvironmentRewritten);
  EXPECT_EQ(captured[0].statusCode, 200);
}

TEST_F(NetworkEngineTest, AMockRuleAnswersInPlaceOfTheBackend) {
  addMock("/v1/bookings", 500, R"({"error":"down"})");
  auto network = engine();
  std::optional<HTTPReply> reply;
  network.send(get(kBookings), [&](const HTTPReply& r) { reply = r; });
  loop.advance(0.01);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_TRUE(captured[0].isMocked);
  EXPECT_EQ(captured[0].statusCode, 500);
  EXPECT_EQ(captured[0].responseBody->data, R"({"error":"down"})");
  EXPECT_EQ(captured[0].mimeType, "application/json");
  EXPECT_FALSE(reply->succeeded());
}

TEST_F(NetworkEngineTest, AMockRuleSeesTheRewrittenURL) {
  environments.activate(std::string_view("Local"));
  addMock("localhost:8080/v1/init", 418, "");
  auto network = engine();
  network.send(get("https://api.harbor.travel/v1/init"));
  loop.advance(1);
  EXPECT_EQ(captured.at(0).statusCode, 418);
}

TEST_F(NetworkEngineTest, AnInterceptedCallWaitsForItsApproval) {
  addIntercept("/v1/init", "GET");
  auto network = engine();
  network.send(get("https://api.harbor.travel/v1/init"));
  loop.advance(10);
  EXPECT_TRUE(captured.empty());
  EXPECT_EQ(network.inFlight(), 0U);
  const auto held = network.held();
  ASSERT_EQ(held.size(), 1U);
  EXPECT_EQ(held[0].second, "GET https://api.harbor.travel/v1/init");
  EXPECT_EQ(network.release("00000000-no-such"), 0U);
  EXPECT_EQ(network.release(held[0].first.shortText()), 1U);
  loop.advance(1);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_TRUE(captured[0].isIntercepted);
  EXPECT_EQ(captured[0].statusCode, 200);
  EXPECT_NEAR(captured[0].duration, 10.143, 1e-9);
  loop.advance(60);
  EXPECT_EQ(captured.size(), 1U);
}

TEST_F(NetworkEngineTest, AHeldCallGoesOutByItselfInTheEnd) {
  addIntercept("/v1/init");
  auto network = engine({1, 5});
  network.send(get("https://api.harbor.travel/v1/init"));
  loop.advance(4.9);
  EXPECT_EQ(network.held().size(), 1U);
  loop.advance(0.5);
  EXPECT_TRUE(network.held().empty());
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_TRUE(captured[0].isIntercepted);
}

TEST_F(NetworkEngineTest, AllHeldCallsAreReleasedInTheirOrder) {
  addIntercept("harbor.travel");
  auto network = engine();
  network.send(get("https://api.harbor.travel/v1/profile"));
  network.send(get("https://api.harbor.travel/v1/init"));
  EXPECT_EQ(network.release(), 2U);
  EXPECT_TRUE(network.held().empty());
  loop.advance(1);
  ASSERT_EQ(captured.size(), 2U);
}

TEST_F(NetworkEngineTest, AMockedCallIsNotHeld) {
  addIntercept("/v1/init");
  addMock("/v1/init", 200, "{}");
  auto network = engine();
  network.send(get("https://api.harbor.travel/v1/init"));
  loop.advance(1);
  ASSERT_EQ(captured.size(), 1U);
  EXPECT_TRUE(captured[0].isMocked);
  EXPECT_FALSE(captured[0].isIntercepted);
}

TEST_F(NetworkEngineTest, AVerbatimCallIsNotRewrittenButStillMocked) {
  environments.activate(std::string_view("Staging"));
  auto network = engine();
  HTTPCall call = get("https://api.harbor.travel/v1/init");
  call.verbatim = true;
  network.send(call);
  loop.advance(1);
  EXPECT_EQ(captured.at(0).url, "https://api.harbor.travel/v1/init");
  EXPECT_FALSE(captured[0].isEnvironmentRewritten);
  addMock("/v1/init", 503, "");
  network.send(call);
  loop.advance(1);
  EXPECT_EQ(captured.at(1).statusCode, 503);
}

TEST_F(NetworkEngineTest, LatencyIsStretched) {
  auto network = engine({10, 30});
  network.send(get("https://api.harbor.travel/v1/profile"));
  loop.advance(0.87);
  EXPECT_TRUE(captured.empty());
  loop.advance(0.02);
  EXPECT_EQ(captured.size(), 1U);
}

}  // namespace
}  // namespace wyvlet::sample
