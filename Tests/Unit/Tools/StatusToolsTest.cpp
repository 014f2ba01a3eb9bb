#include <gtest/gtest.h>

#include "Samples.h"
#include "Tools/StatusTools.h"

namespace wyvlet::test {
namespace {

TEST(Status, WithoutAppSaysWhatToDo) {
  EXPECT_EQ(status({}),
            "Wyvlet: NOT CONNECTED\nThe iOS app may not be running, or Wyvlet.shared.start() hasn't been "
            "called.\nEnsure the app is running in the simulator with Wyvlet enabled.");
}

TEST(Status, EmptyAppHasNoActiveEnvironment) {
  EXPECT_EQ(status(connected()),
            "Wyvlet: CONNECTED ✅\nBuild: \nHTTP Requests: 0\nWebSocket Connections: 0\nLog Entries: 0\n"
            "Environments: 0 (active: none)\nQA Checklist Items: 0\nRules: 0 rewrite, 0 mock, 0 intercept\n"
            "UserDefaults: 0 entries\nKeychain: 0 entries");
}

TEST(Status, CountsEveryList) {
  CacheSnapshot cache = connected();
  cache.buildNumber = "1.4.2 (318)";
  cache.httpRequests = {sampleRequest(1, "GET", "a")};
  cache.wsConnections = {{}, {}};
  cache.logEntries = {{}, {}, {}};
  cache.environments = {sampleEnvironment(1, "Production", {}), sampleEnvironment(2, "Staging", {})};
  cache.activeEnvironmentId = sampleId(2);
  cache.qaResults = {{}, {}, {}, {}, {}};
  cache.rewriteRules = {{}, {}, {}, {}, {}, {}};
  cache.mockRules = RecordList<TransferableMockRule>(std::vector<TransferableMockRule>(7));
  cache.interceptRules = RecordList<TransferableInterceptRule>(std::vector<TransferableInterceptRule>(8));
  cache.userDefaultsEntries =
      RecordList<TransferableUserDefaultsEntry>(std::vector<TransferableUserDefaultsEntry>(9));
  cache.keychainEntries = RecordList<TransferableKeychainEntry>(std::vector<TransferableKeychainEntry>(10));
  EXPECT_EQ(status(cache),
            "Wyvlet: CONNECTED ✅\nBuild: 1.4.2 (318)\nHTTP Requests: 1\nWebSocket Connections: 2\n"
            "Log Entries: 3\nEnvironments: 2 (active: Staging)\nQA Checklist Items: 5\n"
            "Rules: 6 rewrite, 7 mock, 8 intercept\nUserDefaults: 9 entries\nKeychain: 10 entries");
}

}  // namespace
}  // namespace wyvlet::test
