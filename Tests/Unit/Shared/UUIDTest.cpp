#include <gtest/gtest.h>

#include <set>

#include "WyvletShared/UUID.h"

namespace wyvlet {
namespace {

constexpr std::string_view kText = "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40";

TEST(UUID, EitherCaseIsReadAndUpperCaseWritten) {
  EXPECT_EQ(UUID::parse(kText)->text(), kText);
  EXPECT_EQ(UUID::parse("4c9b1f2e-0d1a-4b7e-9f63-2a8d7c5e1b40")->text(), kText);
  EXPECT_EQ(UUID::parse("4c9B1f2E-0d1A-4b7E-9f63-2A8d7C5e1B40"), UUID::parse(kText));
  EXPECT_EQ(UUID::parse(kText)->bytes[0], 0x4C);
  EXPECT_EQ(UUID::parse(kText)->bytes[15], 0x40);
}

TEST(UUID, ShortTextIsTheFirstEightCharacters) { EXPECT_EQ(UUID::parse(kText)->shortText(), "4C9B1F2E"); }

TEST(UUID, AnyOtherFormIsRefused) {
  for (const std::string_view text :
       {"", "4C9B1F2E", "4C9B1F2E0D1A4B7E9F632A8D7C5E1B40", "{4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B40}",
        "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B4", "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B400",
        " 4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B4", "4C9B1F2E-0D1A-4B7E-9F63-2A8D7C5E1B4 ",
        "4C9B1F2E00D1A-4B7E-9F63-2A8D7C5E1B40", "4C9B1F2-E0D1A-4B7E-9F63-2A8D7C5E1B40"}) {
    EXPECT_EQ(UUID::parse(text), std::nullopt) << text;
  }
}

TEST(UUID, ForeignCharacterAtAnyPlaceIsRefused) {
  for (std::size_t at = 0; at < kText.size(); ++at) {
    for (const char foreign : {'G', 'g', ' ', '-', '/', ':', '@', '`', '\0', '\xc4'}) {
      if (kText[at] == foreign) continue;
      std::string text(kText);
      text[at] = foreign;
      EXPECT_EQ(UUID::parse(text), std::nullopt) << text;
    }
  }
}

TEST(UUID, RandomOnesAreVersionFourAndDiffer) {
  std::set<UUID> seen;
  for (int i = 0; i < 1000; ++i) {
    const UUID uuid = UUID::random();
    const std::string text = uuid.text();
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string_view("89AB").find(text[19]), std::string_view::npos) << text;
    EXPECT_EQ(UUID::parse(text), uuid);
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace wyvlet
