#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "WyvletShared/JSONReader.h"
#include "WyvletShared/RecordCodec.h"

namespace wyvlet {
namespace {

bool isJSON(std::string_view text) {
  JSONReader reader(text);
  return reader.skip() && reader.atEnd();
}

std::string errorOf(std::string_view text) {
  JSONReader reader(text);
  return reader.skip() && reader.atEnd() ? "none" : reader.syntaxError().value_or("no reason given");
}

std::string textOf(std::string_view json) {
  JSONReader reader(json);
  std::string text;
  EXPECT_EQ(reader.kind(), JSONReader::Kind::Text);
  EXPECT_TRUE(reader.readText(text) && reader.atEnd()) << reader.syntaxError().value_or("");
  return text;
}

std::string nested(int depth, std::string_view open, std::string_view inner, std::string_view close) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += open;
  text += inner;
  for (int i = 0; i < depth; ++i) text += close;
  return text;
}

TEST(JSONReader, JSONTestSuite) {
  std::size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::string(WYVLET_CORPORA) + "/JSONTestSuite/test_parsing")) {
    std::ifstream file(entry.path(), std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    const std::string name = entry.path().filename().string();
    const bool accepted = isJSON(text.str());
    if (name.starts_with("y_")) {
      EXPECT_TRUE(accepted) << name << ": " << errorOf(text.str());
    }
    if (name.starts_with("n_")) {
      EXPECT_FALSE(accepted) << name;
    }
    ++files;
  }
  EXPECT_EQ(files, 318u);
}

TEST(JSONReader, NestingIsReadToItsLimitAndNoDeeper) {
  const int limit = kMaxJSONDepth;
  for (const int depth : {limit - 1, limit}) {
    EXPECT_TRUE(isJSON(nested(depth, "[", "", "]"))) << depth;
    EXPECT_TRUE(isJSON(nested(depth, "{\"a\":", "1", "}"))) << depth;
  }
  EXPECT_EQ(errorOf(nested(limit + 1, "[", "", "]")), "nesting too deep at byte 512");
  EXPECT_FALSE(isJSON(nested(limit + 1, "{\"a\":", "1", "}")));
  EXPECT_FALSE(isJSON(nested(1'000'000, "[", "", "]")));
  EXPECT_FALSE(isJSON(std::string(1'000'000, '[')));
  // Depth is given back when a container ends.
  std::string wide = "[";
  for (int i = 0; i < 2000; ++i) wide += "[],{},";
  EXPECT_TRUE(isJSON(wide + "0]"));
}

TEST(JSONReader, ErrorsSayWhatAndWhere) {
  EXPECT_EQ(errorOf(""), "unexpected end at byte 0");
  EXPECT_EQ(errorOf(" [1,"), "unexpected end at byte 4");
  EXPECT_EQ(errorOf("[1"), "unexpected end at byte 2");
  EXPECT_EQ(errorOf("[1 2]"), "expected a comma or a closing bracket at byte 3");
  EXPECT_EQ(errorOf("[1,]"), "unexpected character at byte 3");
  EXPECT_EQ(errorOf("{\"a\":1,}"), "expected a key at byte 7");
  EXPECT_EQ(errorOf("{\"a\" 1}"), "expected a colon at byte 5");
  EXPECT_EQ(errorOf("// no\n1"), "unexpected character at byte 0");
  EXPECT_EQ(errorOf("NaN"), "unexpected character at byte 0");
  EXPECT_EQ(errorOf("nul"), "unknown word at byte 0");
  EXPECT_EQ(errorOf("01"), "a number with leading zeros at byte 0");
  EXPECT_EQ(errorOf("-"), "a number without digits at byte 1");
  EXPECT_EQ(errorOf("1."), "a fraction without digits at byte 2");
  EXPECT_EQ(errorOf("1e+"), "an exponent without digits at byte 3");
  EXPECT_EQ(errorOf("\"a\nb\""), "a raw control character at byte 2");
  EXPECT_EQ(errorOf("\"abc"), "a text without an end at byte 4");
  EXPECT_EQ(errorOf("\"\\x\""), "a bad escape at byte 1");
  EXPECT_EQ(errorOf("\"abc\xff\""), "text that is not UTF-8 at byte 4");
  EXPECT_EQ(errorOf("{} {}"), "unexpected text after the value at byte 3");
  EXPECT_EQ(errorOf("\xEF\xBB\xBF{}"), "unexpected character at byte 0");
}

TEST(JSONReader, TextsAreUnescaped) {
  EXPECT_EQ(textOf(R"("")"), "");
  EXPECT_EQ(textOf(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(textOf(R"("\u0041\u00e9\u6771\uD83E\uDDF3\ud83e\uddf3")"), "Aé東🧳🧳");
  EXPECT_EQ(textOf(R"("a\u0000b")"), std::string("a\0b", 3));
  EXPECT_EQ(textOf("\"é\\n東\\t🧳\""), "é\n東\t🧳");
  EXPECT_EQ(textOf("  \n\r\t\"x\"  \n"), "x");
}

TEST(JSONReader, SurrogatesComeInPairs) {
  for (const std::string_view text : {R"("\ud83e")", R"("\ud83ex")", R"("\ud83e\n")", R"("\ud83e\u0041")",
                                      R"("\uddf3")", R"("\uddf3\ud83e")", R"("\ud83e\ud83e")",
                                      R"("\ud83e\udd")", R"("\u12")", R"("\u12g4")", R"("\u)", "\"\\"}) {
    EXPECT_FALSE(isJSON(text)) << text;
  }
}

TEST(JSONReader, IllFormedUTF8IsRefusedAtAnyPlace) {
  for (const std::string_view bad :
       {"\x80", "\xbf", "\xc0\xaf", "\xc1\xbf", "\xe0\x80\x80", "\xe0\x9f\xbf", "\xed\xa0\x80",
        "\xf0\x80\x80\x80", "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "\xc3",
        "\xe2\x82", "\xf0\x9f\xa7"}) {
    for (std::size_t before = 0; before < 20; ++before) {
      for (const std::string_view lead : {"", "é", "\\n"}) {
        const std::string text =
            "\"" + std::string(lead) + std::string(before, 'x') + std::string(bad) + "\"";
        EXPECT_FALSE(isJSON(text)) << text;
        EXPECT_FALSE(isJSON("{" + text + ":1}")) << text;
      }
    }
  }
}

TEST(JSONReader, EveryByteAtEveryOffsetOfATextIsJudgedAlike) {
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t before = 0; before < 18; ++before) {
      const std::string text =
          "\"" + std::string(before, 'a') + static_cast<char>(byte) + std::string(17, 'b') + "\"";
      const bool plain = byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
      const bool escapeOfB = byte == '\\';  // a backslash before the first "b" makes a backspace
      EXPECT_EQ(isJSON(text), plain || escapeOfB) << byte << " after " << before;
    }
  }
}

TEST(JSONReader, AgreesWithAnotherParserOnDamagedDocuments) {
  const std::string document =
      R"({"type":"sync.full","n":[-0.5e+10,0,123456789012345678901,1.0,true,false,null],)"
      "\"t\":\"a\\u00e9\\ud83e\\uddf3\\n\\\\ é東🧳\",\"o\":{\"e\":{},\"l\":[[],[{}]]}}";
  ASSERT_TRUE(isJSON(document));
  std::mt19937 random(7);
  std::size_t accepted = 0;
  for (int i = 0; i < 200'000; ++i) {
    std::string damaged = document;
    for (auto changes = 1 + random() % 3; changes > 0; --changes) {
      const std::size_t at = random() % damaged.size();
      switch (random() % 4) {
        case 0: damaged[at] = static_cast<char>(random()); break;
        case 1: damaged.erase(at, 1 + random() % 4); break;
        case 2: damaged.insert(at, 1, "{}[]\",:\\0e.-+u"[random() % 14]); break;
        default: damaged.insert(at, damaged.substr(random() % damaged.size(), random() % 8)); break;
      }
      if (damaged.empty()) damaged = " ";
    }
    boost::json::error_code error;
    boost::json::parse(damaged, error);
    if (error == boost::json::error::exponent_overflow) continue;  // it stops there, and so proves nothing
    ASSERT_EQ(isJSON(damaged), !error) << damaged << "\n" << errorOf(damaged) << "\n" << error.message();
    accepted += error ? 0 : 1;
  }
  EXPECT_GT(accepted, 1000u) << "the damage leaves too little to agree on";
}

TEST(JSONReader, ObjectsAndListsAreHandedOverInOrder) {
  JSONReader reader(R"( { "b" : [ 1 , 2 ] , "a" : "x" , "b" : { } } )");
  ASSERT_EQ(reader.kind(), JSONReader::Kind::Object);
  std::string story;
  ASSERT_TRUE(reader.readObject([&](std::string_view key) {
    story += key;
    if (reader.kind() != JSONReader::Kind::List) return reader.skip();
    return reader.readList([&] {
      JSONReader::Number number;
      if (reader.kind() != JSONReader::Kind::Number || !reader.readNumber(number)) return false;
      story += number.text;
      return true;
    });
  }));
  EXPECT_TRUE(reader.atEnd());
  EXPECT_EQ(story, "b12ab");
}

TEST(JSONReader, CallerMayStop) {
  JSONReader reader("[1,2,3]");
  ASSERT_EQ(reader.kind(), JSONReader::Kind::List);
  EXPECT_FALSE(reader.readList([] { return false; }));
  EXPECT_EQ(reader.syntaxError(), std::nullopt);
}

TEST(JSONReader, Base64IsReadWithAndWithoutEscapes) {
  const std::tuple<std::string_view, bool, std::string_view> examples[] = {
      {R"("e30=")", true, "{}"},
      {R"("")", true, ""},
      {R"("\/\/\/\/")", true, "\xff\xff\xff"},
      {R"("////")", true, "\xff\xff\xff"},
      {R"("\u0065\u00330=")", true, "{}"},
      {R"("e3")", false, ""},
      {R"("e30=\"")", false, ""},
      {R"("é")", false, ""}};
  for (const auto& [json, isBase64, expected] : examples) {
    JSONReader reader(json);
    std::string bytes;
    bool valid = false;
    ASSERT_TRUE(reader.readBase64(bytes, valid) && reader.atEnd()) << json;
    EXPECT_EQ(valid, isBase64) << json;
    EXPECT_EQ(bytes, expected) << json;
  }
  for (const std::string_view json : {"\"e30=", "\"e3\n0=\"", "\"e30=\\\"", "\"\xff\""}) {
    JSONReader reader(json);
    std::string bytes;
    bool valid = false;
    EXPECT_FALSE(reader.readBase64(bytes, valid)) << json;
    EXPECT_TRUE(reader.syntaxError()) << json;
  }
}

}  // namespace
}  // namespace wyvlet
