#include <gtest/gtest.h>

#include "WyvletSampleApp/ControlLine.h"

namespace wyvlet::sample {
namespace {

TEST(ControlLine, LineFeedsAndBackslashesTravelEscaped) {
  EXPECT_EQ(escapedLine("a\nb\r\\n"), "a\\nb\\r\\\\n");
  EXPECT_EQ(unescapedLine("a\\nb\\r\\\\n"), "a\nb\r\\n");
}

TEST(ControlLine, AnyTextComesBackUnchanged) {
  for (const std::string& text :
       {std::string(), std::string("\\"), std::string("\\\\n\n"), std::string("€\0x", 5)}) {
    EXPECT_EQ(unescapedLine(escapedLine(text)), text);
  }
}

TEST(ControlLine, ABackslashBeforeAnythingElseStays) { EXPECT_EQ(unescapedLine("C:\\dir\\"), "C:\\dir\\"); }

}  // namespace
}  // namespace wyvlet::sample
