#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "Samples.h"
#include "Tools/QATools.h"

namespace wyvlet::test {
namespace {

using Sent = std::tuple<CompanionMessageType, MarkQACommand>;

TransferableQAResult item(std::uint8_t number, std::string title, std::string status) {
  TransferableQAResult made;
  made.id = sampleId(number);
  made.title = std::move(title);
  made.status = std::move(status);
  return made;
}

TEST(QAChecklist, WithoutAppOrItems) {
  EXPECT_EQ(qaChecklist({}), "Wyvlet not connected");
  EXPECT_EQ(qaChecklist(connected()), "No QA checklist items registered.");
}

TEST(QAChecklist, ItemsWithMarksAndDetails) {
  auto passed = item(1, "Login works", "PASSED");
  passed.notes = "Use the test account";
  passed.endpoints = {"/login", "/me"};
  auto failed = item(2, "Booking", "FAILED");
  failed.failNotes = "500";
  CacheSnapshot cache = connected();
  cache.buildNumber = "318";
  cache.qaResults = {passed, failed, item(3, "Logout", "passed"), item(4, "Search", "PENDING")};
  EXPECT_EQ(qaChecklist(cache),
            "QA Checklist (build 318):\n✅ [00000001] Login works — PASSED\n   Notes: Use the test account\n"
            "   Endpoints: /login, /me\n❌ [00000002] Booking — FAILED\n   Fail reason: 500\n"
            "⏳ [00000003] Logout — passed\n⏳ [00000004] Search — PENDING");
}

class MarkQA : public ::testing::Test {
 protected:
  MarkQA() { cache.qaResults = {item(1, "Login", "PENDING"), item(2, "Booking", "PENDING")}; }

  std::string mark(std::string_view id, std::string_view status,
                   const std::optional<std::string>& notes = std::nullopt) {
    return markQA(cache, id, status, notes, [&](CompanionMessageType type, const MarkQACommand& command) {
      sent.emplace_back(type, command);
    });
  }

  CacheSnapshot cache = connected();
  std::vector<Sent> sent;
};

TEST_F(MarkQA, EachStatusHasItsCommand) {
  EXPECT_EQ(mark("00000002", "PASSED"), "Marked 'Booking' as PASSED");
  EXPECT_EQ(mark(sampleId(1).text(), "FAILED", "broken"), "Marked 'Login' as FAILED");
  EXPECT_EQ(sent, (std::vector<Sent>{
                      {CompanionMessageType::commandMarkQAPassed, {sampleId(2), std::nullopt, std::nullopt}},
                      {CompanionMessageType::commandMarkQAFailed, {sampleId(1), "broken", std::nullopt}}}));
}

TEST_F(MarkQA, NotesTravelWithEitherStatus) {
  mark("00000001", "PASSED", "fine");
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(std::get<MarkQACommand>(sent[0]).notes, "fine");
}

TEST_F(MarkQA, StatusIsTakenInAnyCase) {
  EXPECT_EQ(mark("00000001", "passed"), "Marked 'Login' as PASSED");
  EXPECT_EQ(mark("00000001", "Failed"), "Marked 'Login' as FAILED");
  EXPECT_EQ(sent.size(), 2u);
}

TEST_F(MarkQA, NothingIsSentForAnotherStatus) {
  for (const char* status : {"", "PASS", " PASSED", "PENDING"}) {
    EXPECT_EQ(mark("00000001", status), "Error: status must be PASSED or FAILED") << status;
  }
  EXPECT_TRUE(sent.empty());
}

TEST_F(MarkQA, NothingIsSentWithoutAppOrItem) {
  EXPECT_EQ(mark("00000003", "PASSED"), "QA item not found.");
  cache.isConnected = false;
  EXPECT_EQ(mark("00000001", "PASSED"), "Wyvlet not connected");
  EXPECT_TRUE(sent.empty());
}

}  // namespace
}  // namespace wyvlet::test
