#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "Android/AndroidTools.h"

namespace wyvlet {
namespace {

namespace json = boost::json;

constexpr std::string_view kNoNetworkData =
    "No Android capture data available. Ensure wyvlet-bridge.py is running.";
constexpr std::string_view kNotConnected =
    "Android bridge: NOT CONNECTED\nRun: python3 wyvlet-bridge.py <package> --serial <serial>";

json::object parsed(std::string_view text) { return json::parse(text).get_object(); }

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

json::object captureOf(std::string_view key, json::array list) { return {{key, std::move(list)}}; }

/// `count` requests: "GET https://shop.example/0", .../1 and so on.
json::object requests(int count) {
  json::array list;
  for (int i = 0; i < count; ++i) {
    list.push_back(json::object{{"id", "r" + std::to_string(i)},
                                {"method", i % 2 == 0 ? "GET" : "POST"},
                                {"url", "https://shop.example/" + std::to_string(i)},
                                {"statusCode", 200 + i},
                                {"duration", i}});
  }
  return captureOf("httpRequests", std::move(list));
}

constexpr std::int64_t kNow = 1'700'000'000'000;

bool isLiveWith(std::string_view members) {
  const auto capture = parsed("{" + std::string(members) + "}");
  return AndroidTools::isLive(&capture, kNow);
}

TEST(AndroidLiveness, EndsThirtySecondsAfterTheLastWrite) {
  EXPECT_TRUE(isLiveWith(R"("connected":true,"timestamp":1700000000000)"));
  EXPECT_TRUE(isLiveWith(R"("connected":true,"timestamp":1699999970001)"));   // 29999 ms
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":1699999970000)"));  // 30000 ms
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":1699999969999)"));
}

TEST(AndroidLiveness, TakesTheTimeAsAnyNumber) {
  EXPECT_TRUE(isLiveWith(R"("connected":true,"timestamp":1699999970001.0)"));
  EXPECT_TRUE(isLiveWith(R"("connected":true,"timestamp":1699999970000.5)"));
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":1.69999997e12)"));
  EXPECT_TRUE(isLiveWith(R"("connected":true,"timestamp":1e300)"));
  EXPECT_TRUE(isLiveWith(R"("connected":true,"timestamp":18446744073709551615)"));
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":-1e300)"));
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":-9223372036854775808)"));
}

TEST(AndroidLiveness, NeedsTheBridgesWordAndATime) {
  EXPECT_FALSE(AndroidTools::isLive(nullptr, kNow));
  EXPECT_FALSE(isLiveWith(""));
  EXPECT_FALSE(isLiveWith(R"("connected":true)"));
  EXPECT_FALSE(isLiveWith(R"("timestamp":1700000000000)"));
  EXPECT_FALSE(isLiveWith(R"("connected":false,"timestamp":1700000000000)"));
  EXPECT_FALSE(isLiveWith(R"("connected":"true","timestamp":1700000000000)"));
  EXPECT_FALSE(isLiveWith(R"("connected":1,"timestamp":1700000000000)"));
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":"1700000000000")"));
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":true)"));
  EXPECT_FALSE(isLiveWith(R"("connected":true,"timestamp":null)"));
}

TEST(AndroidStatus, CountsWhatWasCaptured) {
  const auto capture =
      parsed(R"({"connected":true,"package":"com.example.shop","httpRequests":[{},{},1],"logEntries":[{}]})");
  EXPECT_EQ(AndroidTools::status(&capture),
            "Android bridge: CONNECTED\nPackage: com.example.shop\nNetwork requests: 3\nLog entries: 1");
}

TEST(AndroidStatus, OfAStaleCaptureIsStillConnected) {
  const auto capture = parsed(R"({"connected":true,"timestamp":0})");
  EXPECT_EQ(AndroidTools::status(&capture),
            "Android bridge: CONNECTED\nPackage: ?\nNetwork requests: 0\nLog entries: 0");
}

TEST(AndroidStatus, TakesHostileTypesForAbsent) {
  const auto capture = parsed(R"({"connected":true,"package":7,"httpRequests":{"a":1},"logEntries":"many"})");
  EXPECT_EQ(AndroidTools::status(&capture),
            "Android bridge: CONNECTED\nPackage: ?\nNetwork requests: 0\nLog entries: 0");
}

TEST(AndroidStatus, WithoutAConnectionSaysHowToGetOne) {
  EXPECT_EQ(AndroidTools::status(nullptr), kNotConnected);
  for (const auto* text : {"{}", R"({"connected":false})", R"({"connected":"true"})"}) {
    const auto capture = parsed(text);
    EXPECT_EQ(AndroidTools::status(&capture), kNotConnected) << text;
  }
}

TEST(AndroidNetworkLogs, ShowTheNewestOldestFirst) {
  const auto capture = requests(25);
  const auto text = AndroidTools::networkLogs(&capture, 20, std::nullopt);
  std::string expected = "Android Network Logs (20 of 25 total):";
  for (int i = 5; i < 25; ++i) {
    expected += std::string("\n  ") + (i % 2 == 0 ? "GET" : "POST") + " https://shop.example/" +
                std::to_string(i) + " → " + std::to_string(200 + i) + " (" + std::to_string(i) + "ms)";
  }
  EXPECT_EQ(text, expected);
}

TEST(AndroidNetworkLogs, FilterByURLAndStillCountAll) {
  const auto capture = requests(3);
  EXPECT_EQ(AndroidTools::networkLogs(&capture, 20, "example/1"),
            "Android Network Logs (1 of 3 total):\n  POST https://shop.example/1 → 201 (1ms)");
  EXPECT_EQ(AndroidTools::networkLogs(&capture, 20, "EXAMPLE/1"), "No network requests captured.");
  EXPECT_EQ(AndroidTools::networkLogs(&capture, 1, ""),
            "Android Network Logs (1 of 3 total):\n  GET https://shop.example/2 → 202 (2ms)");
}

TEST(AndroidNetworkLogs, ListNothingForALimitBelowOne) {
  const auto capture = requests(3);
  for (const std::int64_t limit :
       {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(AndroidTools::networkLogs(&capture, limit, std::nullopt), "No network requests captured.");
  }
  EXPECT_TRUE(AndroidTools::networkLogs(&capture, std::numeric_limits<std::int64_t>::max(), std::nullopt)
                  .starts_with("Android Network Logs (3 of 3 total):"));
}

TEST(AndroidNetworkLogs, PrintWhatIsAbsentAsQuestionMarkAndZero) {
  const auto capture =
      parsed(R"({"httpRequests":[{},{"method":1,"url":null,"statusCode":"200","duration":1e300},)"
             R"({"method":"GET","url":"u","statusCode":204.0,"duration":12.5}]})");
  EXPECT_EQ(AndroidTools::networkLogs(&capture, 20, std::nullopt),
            "Android Network Logs (3 of 3 total):\n"
            "  ? ? → 0 (0ms)\n"
            "  ? ? → 0 (0ms)\n"
            "  GET u → 204 (0ms)");
}

std::string lineWithURL(const std::string& url) {
  const auto capture = captureOf("httpRequests", {json::object{{"method", "GET"}, {"url", url}}});
  return AndroidTools::networkLogs(&capture, 1, std::nullopt);
}

TEST(AndroidNetworkLogs, CutAURLAfterSeventyCharacters) {
  const std::string begin = "Android Network Logs (1 of 1 total):\n  GET ";
  EXPECT_EQ(lineWithURL(repeated("x", 69)), begin + repeated("x", 69) + " → 0 (0ms)");
  EXPECT_EQ(lineWithURL(repeated("x", 70)), begin + repeated("x", 70) + " → 0 (0ms)");
  EXPECT_EQ(lineWithURL(repeated("x", 71)), begin + repeated("x", 70) + "... → 0 (0ms)");
  EXPECT_EQ(lineWithURL(repeated("é", 70)), begin + repeated("é", 70) + " → 0 (0ms)");
  EXPECT_EQ(lineWithURL(repeated("👨‍👩‍👧", 71)),
            begin + repeated("👨‍👩‍👧", 70) + "... → 0 (0ms)");
}

TEST(AndroidNetworkLogs, WithoutAListOfObjectsSaySo) {
  EXPECT_EQ(AndroidTools::networkLogs(nullptr, 20, std::nullopt), kNoNetworkData);
  for (const auto* text :
       {"{}", R"({"httpRequests":null})", R"({"httpRequests":{}})", R"({"httpRequests":[{},1]})"}) {
    const auto capture = parsed(text);
    EXPECT_EQ(AndroidTools::networkLogs(&capture, 20, std::nullopt), kNoNetworkData) << text;
  }
  const auto empty = parsed(R"({"httpRequests":[]})");
  EXPECT_EQ(AndroidTools::networkLogs(&empty, 20, std::nullopt), "No network requests captured.");
}

TEST(AndroidRequestDetail, ShowsEverySection) {
  const auto capture = parsed(R"({"httpRequests":[{"id":"a1","url":"https://shop.example/cart","method":"PUT",
      "statusCode":200,"duration":42,
      "requestHeaders":{"X-Z":"last","Accept":"*/*","Bad":7},"requestBody":"{\"n\":1}",
      "responseHeaders":{"Content-Type":"application/json"},"responseBody":"ok\nfine"}]})");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, "a1"),
            "URL: https://shop.example/cart\n"
            "Method: PUT\n"
            "Status: 200\n"
            "Duration: 42ms\n"
            "\n"
            "Request Headers:\n"
            "  Accept: */*\n"
            "  X-Z: last\n"
            "\n"
            "Request Body:\n"
            "{\"n\":1}\n"
            "\n"
            "Response Headers:\n"
            "  Content-Type: application/json\n"
            "\n"
            "Response Body:\n"
            "ok\nfine");
}

TEST(AndroidRequestDetail, LeavesAbsentSectionsOut) {
  const auto capture = parsed(
      R"({"httpRequests":[{"id":"a1","requestHeaders":[],"requestBody":{"n":1},"responseHeaders":"x"}]})");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, "a1"), "URL: ?\nMethod: ?\nStatus: 0\nDuration: 0ms");
}

TEST(AndroidRequestDetail, CutsTheBodiesAtLimitsOfTheirOwn) {
  const auto detail = [](std::size_t characters) {
    return AndroidTools::formatRequestDetail(json::object{{"requestBody", repeated("ä", characters)},
                                                          {"responseBody", repeated("ö", characters)}});
  };
  const auto expected = [](std::size_t request, std::size_t response) {
    return "URL: ?\nMethod: ?\nStatus: 0\nDuration: 0ms\n\nRequest Body:\n" + repeated("ä", request) +
           "\n\nResponse Body:\n" + repeated("ö", response);
  };
  EXPECT_EQ(detail(1999), expected(1999, 1999));
  EXPECT_EQ(detail(2000), expected(2000, 2000));
  EXPECT_EQ(detail(2001), expected(2000, 2001));
  EXPECT_EQ(detail(3000), expected(2000, 3000));
  EXPECT_EQ(detail(3001), expected(2000, 3000));
}

TEST(AndroidRequestDetail, TakesTheLastOfTheSameId) {
  const auto capture = parsed(
      R"({"httpRequests":[{"id":"a1","url":"first"},{"id":"a1","url":"second"},{"id":"a2","url":"other"},7]})");
  EXPECT_TRUE(AndroidTools::requestDetail(&capture, "a1").starts_with("URL: second\n"));
}

TEST(AndroidRequestDetail, ComparesIdsWhole) {
  const auto capture =
      parsed(R"({"httpRequests":[{"id":"4C9B1F2E-0D1A","url":"u"},{"url":"no id"},{"id":7}]})");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, "4C9B1F2E"), "Request not found: 4C9B1F2E");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, "4c9b1f2e-0d1a"), "Request not found: 4c9b1f2e-0d1a");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, ""), "Request not found: ");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, "7"), "Request not found: 7");
}

TEST(AndroidRequestDetail, WithoutAListSaysSo) {
  EXPECT_EQ(AndroidTools::requestDetail(nullptr, "a1"), "No capture data.");
  const auto capture = parsed(R"({"httpRequests":"none"})");
  EXPECT_EQ(AndroidTools::requestDetail(&capture, "a1"), "No capture data.");
  const auto empty = parsed(R"({"httpRequests":[]})");
  EXPECT_EQ(AndroidTools::requestDetail(&empty, "a1"), "Request not found: a1");
}

json::object logs() {
  return parsed(R"({"logEntries":[{"level":"D","tag":"Boot","message":"starting"},
                                  {"level":"E","tag":"Cart","message":"no network"},
                                  {"tag":7},
                                  {"level":"E","message":"again"}]})");
}

TEST(AndroidAppLogs, ShowTheNewestOldestFirst) {
  const auto capture = logs();
  EXPECT_EQ(AndroidTools::appLogs(&capture, 20, std::nullopt),
            "Android App Logs (4 of 4 total):\n"
            "  [D] Boot: starting\n"
            "  [E] Cart: no network\n"
            "  [?] ?: \n"
            "  [E] ?: again");
  EXPECT_EQ(AndroidTools::appLogs(&capture, 1, std::nullopt),
            "Android App Logs (1 of 4 total):\n  [E] ?: again");
}

TEST(AndroidAppLogs, FilterByTheExactLevel) {
  const auto capture = logs();
  EXPECT_EQ(AndroidTools::appLogs(&capture, 20, "E"),
            "Android App Logs (2 of 4 total):\n  [E] Cart: no network\n  [E] ?: again");
  EXPECT_EQ(AndroidTools::appLogs(&capture, 20, "e"), "No log entries captured.");
  EXPECT_EQ(AndroidTools::appLogs(&capture, 20, ""), "No log entries captured.");
  EXPECT_EQ(AndroidTools::appLogs(&capture, 0, std::nullopt), "No log entries captured.");
  EXPECT_EQ(AndroidTools::appLogs(&capture, -5, "E"), "No log entries captured.");
}

TEST(AndroidAppLogs, CutAMessageAfterAHundredCharacters) {
  const auto lineOf = [](const std::string& message) {
    const auto capture = captureOf("logEntries", {json::object{{"message", message}}});
    return AndroidTools::appLogs(&capture, 1, std::nullopt);
  };
  const std::string begin = "Android App Logs (1 of 1 total):\n  [?] ?: ";
  EXPECT_EQ(lineOf(repeated("ü", 99)), begin + repeated("ü", 99));
  EXPECT_EQ(lineOf(repeated("ü", 100)), begin + repeated("ü", 100));
  EXPECT_EQ(lineOf(repeated("ü", 101)), begin + repeated("ü", 100) + "...");
}

TEST(AndroidAppLogs, WithoutAListOfObjectsSaySo) {
  EXPECT_EQ(AndroidTools::appLogs(nullptr, 20, std::nullopt), "No Android capture data available.");
  for (const auto* text : {"{}", R"({"logEntries":[[]]})", R"({"logEntries":true})"}) {
    const auto capture = parsed(text);
    EXPECT_EQ(AndroidTools::appLogs(&capture, 20, std::nullopt), "No Android capture data available.")
        << text;
  }
}

TEST(AndroidAssertRequest, PassesWithTheCountAndTheLast) {
  const auto capture = requests(4);
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "shop.example", std::nullopt),
            "PASS: Found 4 request(s) matching 'shop.example'. Last: POST → 203");
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "", std::nullopt),
            "PASS: Found 4 request(s) matching ''. Last: POST → 203");
}

TEST(AndroidAssertRequest, ComparesTheMethodInAnyCase) {
  const auto capture = requests(4);
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "shop", "get"),
            "PASS: Found 2 request(s) matching 'shop'. Last: GET → 202");
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "shop", "*"),
            "PASS: Found 4 request(s) matching 'shop'. Last: POST → 203");
  const auto lower = parsed(R"({"httpRequests":[{"url":"u","method":"post","statusCode":201}]})");
  EXPECT_EQ(AndroidTools::assertRequest(&lower, "u", "POST"),
            "PASS: Found 1 request(s) matching 'u'. Last: post → 201");
}

TEST(AndroidAssertRequest, AnAbsentMethodIsOnlyMatchedByAny) {
  const auto capture = parsed(R"({"httpRequests":[{"url":"u"}]})");
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "u", std::nullopt),
            "PASS: Found 1 request(s) matching 'u'. Last: ? → 0");
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "u", ""), "FAIL: No request matching 'u' () found.");
}

TEST(AndroidAssertRequest, FailsWithWhatWasLookedFor) {
  const auto capture = requests(4);
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "SHOP", std::nullopt),
            "FAIL: No request matching 'SHOP'  found.");
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "shop", "delete"),
            "FAIL: No request matching 'shop' (delete) found.");
  EXPECT_EQ(AndroidTools::assertRequest(&capture, "nowhere", "*"),
            "FAIL: No request matching 'nowhere' (*) found.");
}

TEST(AndroidAssertRequest, WithoutAListOfObjectsFails) {
  EXPECT_EQ(AndroidTools::assertRequest(nullptr, "u", std::nullopt), "FAIL: No capture data.");
  for (const auto* text : {"{}", R"({"httpRequests":[null]})", R"({"httpRequests":0})"}) {
    const auto capture = parsed(text);
    EXPECT_EQ(AndroidTools::assertRequest(&capture, "u", std::nullopt), "FAIL: No capture data.") << text;
  }
}

TEST(AndroidPrefs, AreOneLineEach) {
  const auto capture = parsed(R"({"prefsEntries":[
      {"prefsFile":"settings","key":"theme","value":"dark","type":"string"},
      {"prefsFile":"settings","key":"launches","value":12,"type":"int"},
      {"prefsFile":"flags","key":"beta","value":true,"type":"boolean"},
      {"prefsFile":"flags","key":"ratio","value":1.5,"type":"float"},
      {"prefsFile":"flags","key":"tags","value":["a","b"],"type":"set"},
      {"prefsFile":7,"value":null}]})");
  EXPECT_EQ(AndroidTools::prefs(&capture, std::nullopt),
            "SharedPreferences (6 entries):\n"
            "  [settings] theme = dark (string)\n"
            "  [settings] launches = 12 (int)\n"
            "  [flags] beta = true (boolean)\n"
            "  [flags] ratio = 1.5 (float)\n"
            "  [flags] tags = [\"a\",\"b\"] (set)\n"
            "  [?] ? = null (?)");
}

TEST(AndroidPrefs, AreFilteredByFileOrKeyInAnyCase) {
  const auto capture =
      parsed(R"({"prefsEntries":[{"prefsFile":"settings","key":"theme","value":"1","type":"s"},
      {"prefsFile":"flags","key":"SettingsSeen","value":"2","type":"s"},
      {"prefsFile":"flags","key":"beta","value":"settings","type":"s"},{}]})");
  EXPECT_EQ(AndroidTools::prefs(&capture, "SETTINGS"),
            "SharedPreferences (2 entries):\n  [settings] theme = 1 (s)\n  [flags] SettingsSeen = 2 (s)");
  EXPECT_EQ(AndroidTools::prefs(&capture, "nothing"), "No SharedPreferences entries found.");
}

json::object prefsOf(int count) {
  json::array list;
  for (int i = 0; i < count; ++i) {
    list.push_back(
        json::object{{"prefsFile", "f"}, {"key", std::to_string(i)}, {"value", "v"}, {"type", "t"}});
  }
  return captureOf("prefsEntries", std::move(list));
}

TEST(AndroidPrefs, ShowFiftyAndCountTheRest) {
  for (const int count : {49, 50, 51, 1000}) {
    const auto capture = prefsOf(count);
    std::string expected = "SharedPreferences (" + std::to_string(count) + " entries):";
    for (int i = 0; i < std::min(count, 50); ++i) expected += "\n  [f] " + std::to_string(i) + " = v (t)";
    if (count > 50) expected += "\n  ... and " + std::to_string(count - 50) + " more";
    EXPECT_EQ(AndroidTools::prefs(&capture, std::nullopt), expected);
  }
}

TEST(AndroidPrefs, CutALongValue) {
  const auto capture = captureOf("prefsEntries", {json::object{{"value", repeated("é", 201)}}});
  EXPECT_EQ(AndroidTools::prefs(&capture, std::nullopt),
            "SharedPreferences (1 entries):\n  [?] ? = " + repeated("é", 200) + "... (?)");
}

TEST(AndroidPrefs, WithoutAnAnswerSaySo) {
  constexpr std::string_view kNoData = "No SharedPreferences data. Ensure wyvlet-bridge.py is running.";
  EXPECT_EQ(AndroidTools::prefs(nullptr, std::nullopt), kNoData);
  for (const auto* text : {"{}", R"({"prefsEntries":{}})", R"({"prefsEntries":["a"]})"}) {
    const auto capture = parsed(text);
    EXPECT_EQ(AndroidTools::prefs(&capture, std::nullopt), kNoData) << text;
  }
  const auto empty = parsed(R"({"prefsEntries":[]})");
  EXPECT_EQ(AndroidTools::prefs(&empty, std::nullopt), "No SharedPreferences entries found.");
}

}  // namespace
}  // namespace wyvlet
