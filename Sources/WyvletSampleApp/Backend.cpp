#include "WyvletSampleApp/Backend.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <boost/json.hpp>
#include <cmath>
#include <ctime>

#include "WyvletSampleApp/Canvas.h"
#include "WyvletSampleApp/TravelData.h"
#include "WyvletSampleApp/URLText.h"

namespace wyvlet::sample {
namespace {

namespace json = boost::json;

constexpr std::string_view kJSON = "application/json; charset=utf-8";

/// FNV-1a: the source of everything that looks random and must not be.
std::uint64_t digest(std::string_view text) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
  return hash;
}

BackendResponse answer(std::int64_t status, std::string_view type, std::string body, double seconds) {
  BackendResponse response;
  response.status = status;
  response.headers["Content-Type"] = type;
  response.headers["Content-Length"] = std::to_string(body.size());
  response.body = std::move(body);
  response.seconds = seconds;
  return response;
}

BackendResponse problem(std::int64_t status, std::string_view code, std::string_view message,
                        double seconds) {
  return answer(status, kJSON, fmt::format(R"({{"error":"{}","message":"{}"}})", code, message), seconds);
}

BackendResponse transportError(std::string text, double seconds) {
  BackendResponse response;
  response.error = std::move(text);
  response.seconds = seconds;
  return response;
}

struct Crossing {
  std::string_view id, departs, arrives;
};
constexpr std::array<Crossing, 12> kCrossings = {{{"HB101", "06:15", "09:20"},
                                                  {"HB102", "07:05", "10:10"},
                                                  {"HB103", "08:15", "11:20"},
                                                  {"HB104", "09:40", "12:45"},
                                                  {"HB105", "11:00", "14:05"},
                                                  {"HB106", "12:20", "15:25"},
                                                  {"HB107", "13:50", "16:55"},
                                                  {"HB108", "15:10", "18:15"},
                                                  {"HB109", "16:30", "19:35"},
                                                  {"HB110", "18:00", "21:05"},
                                                  {"HB111", "19:45", "22:50"},
                                                  {"HB112", "21:30", "00:35"}}};

/// A price between 28.00 and 87.50 in steps of half a euro.
std::int64_t centsOf(const Crossing& crossing) {
  return 2800 + static_cast<std::int64_t>(digest(crossing.id) % 120) * 50;
}
std::int64_t taxOf(std::int64_t cents) { return (cents * 15 + 50) / 100; }

std::string fareFields(const Crossing& crossing) {
  return fmt::format(R"("id":"{}","departs":"{}","arrives":"{}","fare":{})", crossing.id, crossing.departs,
                     crossing.arrives, amountText(centsOf(crossing)));
}

const Crossing* crossingNamed(std::string_view id) {
  for (const Crossing& crossing : kCrossings) {
    if (crossing.id == id) return &crossing;
  }
  return nullptr;
}

BackendResponse search(const URLText& url) {
  auto parameters = url.parameters();
  const std::string from = parameters["from"];
  const std::string to = parameters["to"];
  if (from.empty() || to.empty()) return problem(400, "bad_request", "from and to are required", 0.041);
  // A harbour that the timetable service is known to choke on.
  if (to == "Atlantis") return problem(500, "internal", "Timetable service unavailable", 0.402);
  std::string fares;
  for (const Crossing& crossing : kCrossings) {
    fares += (fares.empty() ? "{" : ",{") + fareFields(crossing) + "}";
  }
  const json::object route = {{"from", from}, {"to", to}, {"date", parameters["date"]}};
  return answer(200, kJSON, fmt::format(R"({{"route":{},"fares":[{}]}})", json::serialize(route), fares),
                0.187);
}

BackendResponse fare(std::string_view id) {
  const Crossing* crossing = crossingNamed(id);
  if (crossing == nullptr) return problem(404, "not_found", "No such fare", 0.048);
  const std::int64_t cents = centsOf(*crossing);
  const std::int64_t tax = taxOf(cents);
  return answer(200, kJSON,
                fmt::format(R"({{{},"taxes":{},"total":{},"currency":"EUR"}})", fareFields(*crossing),
                            amountText(tax), amountText(cents + tax)),
                0.096);
}

BackendResponse book(const BackendRequest& request) {
  const auto fareId = readText(request.body, "fareId");
  const auto passenger = readText(request.body, "passenger");
  if (!fareId || !passenger) return problem(400, "bad_request", "fareId and passenger are required", 0.052);
  const Crossing* crossing = crossingNamed(*fareId);
  if (crossing == nullptr) return problem(404, "not_found", "No such fare", 0.061);
  const std::int64_t cents = centsOf(*crossing);
  const std::string reference = fmt::format("HB-{:06X}", digest(*fareId + "|" + *passenger) & 0xFFFFFFU);
  auto response = answer(201, kJSON,
                         fmt::format(R"({{"reference":"{}","status":"confirmed","total":{}}})", reference,
                                     amountText(cents + taxOf(cents))),
                         0.318);
  response.headers["Location"] = "/v1/bookings/" + reference;
  return response;
}

BackendResponse api(const BackendRequest& request, const URLText& url) {
  const std::string_view path = url.path;
  const bool reading = request.method == "GET" || request.method == "HEAD";
  if (path == "/v1/init" && reading) {
    auto response = answer(
        200, kJSON,
        R"({"minVersion":"2.0.0","currency":"EUR","promotion":"Summer sale: 20% off","features":{"livePrices":true,"recording":true}})",
        0.143);
    response.headers["Set-Cookie"] = "harbor_session=8f1c2ab94d; Path=/; Secure; HttpOnly";
    return response;
  }
  if (path == "/v1/profile" && reading) {
    return answer(200, kJSON, R"({"name":"Ada Moreau","email":"ada@harbor.example","tier":"Gold"})", 0.088);
  }
  if (path == "/v1/promotions" && reading) {
    return problem(404, "not_found", "No promotions for this account", 0.037);
  }
  if (path == "/v1/search" && reading) return search(url);
  if (path.starts_with("/v1/fares/") && reading)
    return fare(path.substr(std::string_view("/v1/fares/").size()));
  if (path == "/v1/bookings" && request.method == "POST") return book(request);
  if (path.starts_with("/v1/bookings/") && reading) {
    const json::object booking = {{"reference", path.substr(std::string_view("/v1/bookings/").size())},
                                  {"status", "confirmed"}};
    return answer(200, kJSON, json::serialize(booking), 0.074);
  }
  if (path == "/v1/settings" && request.method == "PUT")
    return answer(200, kJSON, R"({"saved":true})", 0.066);
  if (path == "/v1/telemetry" && request.method == "POST") {
    BackendResponse response;
    response.status = 204;
    response.seconds = 0.029;
    return response;
  }
  return problem(404, "not_found", "No such resource", 0.033);
}

/// A picture with enough noise in it that it does not compress away.
std::string noisePicture(int side) {
  Canvas canvas(side, side, 1);
  std::uint64_t state = digest("avatar");
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      state = state * 6364136223846793005ULL + 1442695040888963407ULL;
      canvas.fill({x, y, 1, 1},
                  {static_cast<std::uint8_t>(state >> 56), static_cast<std::uint8_t>(state >> 48),
                   static_cast<std::uint8_t>(state >> 40)});
    }
  }
  return canvas.png();
}

std::string gradientPicture(int width, int height) {
  Canvas canvas(width, height, 1);
  for (int y = 0; y < height; ++y) {
    canvas.fill({0, y, width, 1},
                {static_cast<std::uint8_t>(40 + y * 2), 120, static_cast<std::uint8_t>(220 - y)});
  }
  return canvas.png();
}

BackendResponse image(std::string_view path) {
  if (path == "/hero.png") {
    auto response = answer(200, "image/png", gradientPicture(96, 48), 0.211);
    response.headers["Cache-Control"] = "public, max-age=86400";
    return response;
  }
  if (path == "/avatars/ada.png") return answer(200, "image/png", noisePicture(160), 0.264);
  return problem(404, "not_found", "No such image", 0.025);
}

BackendResponse help(std::string_view path) {
  if (path == "/articles.json") {
    return answer(
        200, kJSON,
        R"({"articles":["Refunds and changes","Baggage on board","Travelling with pets","Delayed crossings"]})",
        0.112);
  }
  return answer(404, "text/html; charset=utf-8", "<h1>Not found</h1>", 0.031);
}

BackendResponse promotion(std::string_view path) {
  if (path == "/banner.html") {
    return answer(200, "text/html; charset=utf-8",
                  "<html><body><h1>Summer sale: 20% off</h1><p>Book by 30 June.</p></body></html>", 0.098);
  }
  return answer(404, "text/html; charset=utf-8", "<h1>Not found</h1>", 0.031);
}

/// "production", "staging" or "local"; nothing for a host that does not exist.
std::optional<std::string_view> environmentOf(const URLText& url, std::string_view service) {
  if (url.host == std::string(service) + ".harbor.travel") return "production";
  if (url.host == std::string(service) + ".staging.harbor.travel") return "staging";
  const std::string_view localPort = service == "api" ? "8080" : service == "images" ? "8081" : "";
  if (url.host == "localhost" && !localPort.empty() && url.port == localPort) return "local";
  return {};
}

std::string httpDate(Date date) {
  const auto seconds = static_cast<std::time_t>(std::floor(date.secondsSince1970));
  return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(seconds));
}

}  // namespace

BackendResponse respond(const BackendRequest& request) {
  const auto url = parseURL(request.url);
  if (!url) return transportError("unsupported URL", 0.001);

  BackendResponse response;
  std::optional<std::string_view> environment;
  if ((environment = environmentOf(*url, "api"))) {
    response = api(request, *url);
  } else if ((environment = environmentOf(*url, "images"))) {
    response = image(url->path);
  } else if ((environment = environmentOf(*url, "help"))) {
    response = help(url->path);
  } else if ((environment = environmentOf(*url, "promo"))) {
    response = promotion(url->path);
  } else if (environmentOf(*url, "metrics")) {
    return transportError("The request timed out.", 1.5);
  } else {
    return transportError("A server with the specified hostname could not be found.", 0.019);
  }
  response.headers["Server"] = "harbor-edge/1.8";
  response.headers["Date"] = httpDate(request.sentAt);
  response.headers["X-Environment"] = *environment;
  response.headers["X-Request-Id"] = fmt::format("{:016x}", digest(request.method + " " + request.url));
  return response;
}

}  // namespace wyvlet::sample
