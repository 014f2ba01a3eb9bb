#include <gtest/gtest.h>

#include <cmath>

#include "WyvletShared/RecordCodec.h"
#include "WyvletShared/RecordList.h"

namespace wyvlet {
namespace {

const UUID kID = *UUID::parse("4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40");

TEST(RecordEncoder, MarkCommandWithoutExtrasIsItsItemOnly) {
  EXPECT_EQ(encodeRecord(MarkQACommand{kID, std::nullopt, std::nullopt}),
            R"({"itemId":"4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40"})");
  EXPECT_EQ(encodeRecord(MarkQACommand{kID, "", std::vector<UUID>{}}),
            R"({"itemId":"4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40","notes":"","requestIds":[]})");
}

TEST(RecordEncoder, ReplayBodyIsBase64OrAbsent) {
  ReplayRequestCommand command{"https://a.example/b", "POST", {{"B", "2"}, {"A", "1"}}, std::nullopt};
  EXPECT_EQ(encodeRecord(command),
            R"({"url":"https://a.example/b","method":"POST","headers":{"A":"1","B":"2"}})");
  command.headers.clear();
  command.body = Bytes{"foob"};
  EXPECT_EQ(encodeRecord(command),
            R"({"url":"https://a.example/b","method":"POST","headers":{},"body":"Zm9vYg=="})");
}

TEST(RecordEncoder, RecordsWithoutAnyValueAreEmptyObjects) {
  EXPECT_EQ(encodeRecord(LenientSyncPayload()), "{}");
  EXPECT_EQ(encodeRecord(std::vector<TransferableQAResult>()), "[]");
}

TEST(RecordEncoder, DatesCountFromTheGivenEpoch) {
  const ConsoleEntry plain{1717200000.25, "log", "m", std::nullopt};
  EXPECT_EQ(encodeRecord(plain, DateEpoch::Reference2001),
            R"({"timestamp":1717200000.25,"level":"log","message":"m"})")
      << "a plain number is no date";
  TransferableLogEntry entry;
  entry.timestamp = {1717200000.25};
  EXPECT_NE(encodeRecord(entry, DateEpoch::Unix1970).find("\"timestamp\":1717200000.25,"), std::string::npos);
  EXPECT_NE(encodeRecord(entry, DateEpoch::Reference2001).find("\"timestamp\":738892800.25,"),
            std::string::npos);
}

TEST(RecordEncoder, TextThatIsNotUTF8IsMended) {
  EXPECT_EQ(encodeRecord(ClearStoreCommand{"a\xff\xc3(\xe2\x82"}),
            "{\"storeName\":\"a\uFFFD\uFFFD(\uFFFD\"}");
}

TEST(RecordEncoder, NumbersThatJSONLacksAreNull) {
  EXPECT_EQ(encodeRecord(Coords{std::nan(""), -HUGE_VAL}), R"({"x":null,"y":null})");
}

}  // namespace
}  // namespace wyvlet
