#include <gtest/gtest.h>

#include "CommandLine/Check.h"

namespace wyvlet {
namespace {

using State = Check::State;

const std::vector<Check> kOneOfEach = {
    {"zsh", State::Fine, "/bin/zsh"},
    {"app", State::Note, "none answers", "start it"},
    {"HTTP port", State::Failed, "8686 is taken", "choose another"},
    {"xcrun", State::NotNeeded, "not needed"},
};

TEST(FormatReport, OneLineForEachCheckAndASummary) {
  EXPECT_EQ(
      "ok    zsh        /bin/zsh\n"
      "note  app        none answers → start it\n"
      "FAIL  HTTP port  8686 is taken → choose another\n"
      "skip  xcrun      not needed\n"
      "\n"
      "1 check failed; 1 thing to note.\n",
      formatReport(kOneOfEach, false));
}

TEST(FormatReport, ColoursTheVerdictAlone) {
  EXPECT_EQ(
      "\033[32mok  \033[0m  zsh        /bin/zsh\n"
      "\033[33mnote\033[0m  app        none answers → start it\n"
      "\033[31mFAIL\033[0m  HTTP port  8686 is taken → choose another\n"
      "\033[2mskip\033[0m  xcrun      not needed\n"
      "\n"
      "1 check failed; 1 thing to note.\n",
      formatReport(kOneOfEach, true));
}

TEST(FormatReport, SummaryCounts) {
  const Check fine{"a", State::Fine, "b"}, note{"a", State::Note, "b"}, failed{"a", State::Failed, "b"};
  EXPECT_EQ("ok    a  b\n\nEverything needed is in place.\n", formatReport({fine}, false));
  EXPECT_EQ("note  a  b\nnote  a  b\n\nEverything needed is in place; 2 things to note.\n",
            formatReport({note, note}, false));
  EXPECT_EQ("FAIL  a  b\nFAIL  a  b\n\n2 checks failed.\n", formatReport({failed, failed}, false));
}

TEST(FormatReport, QuotedTextCannotCommandTheTerminal) {
  EXPECT_EQ("ok    a  x [31m y z \uFFFD€\n\nEverything needed is in place.\n",
            formatReport({{"a", State::Fine, "x\033[31m\ny\u009Bz\x7F\xFF€"}}, false));
}

TEST(ExitStatus, OnlyAFailedCheckCounts) {
  EXPECT_EQ(0, exitStatus({}));
  EXPECT_EQ(0, exitStatus({kOneOfEach[0], kOneOfEach[1], kOneOfEach[3]}));
  EXPECT_EQ(1, exitStatus(kOneOfEach));
}

TEST(UsesColours, OnATerminalThatTakesThemUnlessTheUserRefuses) {
  EXPECT_TRUE(usesColours(true, "", "xterm"));
  EXPECT_FALSE(usesColours(false, "", "xterm"));
  EXPECT_FALSE(usesColours(true, "1", "xterm"));
  EXPECT_FALSE(usesColours(true, "", "dumb"));
  EXPECT_FALSE(usesColours(true, "", ""));
}

}  // namespace
}  // namespace wyvlet
