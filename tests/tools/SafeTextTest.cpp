#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <string>

#include "vorn-device-list/SafeText.h"

namespace vorn::devicelisttool {
namespace {

class SafeTextTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

const std::string kReplaced = "\xEF\xBF\xBD";

std::string Shown(std::string_view bytes) {
  return ToUtf8(SafeText(bytes));
}

TEST_F(SafeTextTest, TextOfAnyLanguageStays) {
  for (const char* text : {"", "Desk 1", "Ärger", "机架", "🎚", "é", "עברית", "\u00a0", "\U0010FFFD"}) {
    EXPECT_EQ(Shown(text), text);
  }
}

TEST_F(SafeTextTest, ControlCharactersOfBothRangesAreReplaced) {
  for (char c = 1; c < 0x20; ++c) EXPECT_EQ(Shown(std::string(1, c)), kReplaced) << int{c};
  EXPECT_EQ(Shown(std::string(1, '\0')), kReplaced);
  EXPECT_EQ(Shown("\x7f"), kReplaced);
  EXPECT_EQ(Shown("\033[2J"), kReplaced + "[2J");
  EXPECT_EQ(Shown("\xc2\x80"), kReplaced);
  EXPECT_EQ(Shown("\xc2\x9b"
                  "2J"),
            kReplaced + "2J");
  EXPECT_EQ(Shown("\xc2\x9f"), kReplaced);
}

TEST_F(SafeTextTest, CharactersThatReorderOrBreakLinesAreReplaced) {
  for (const char* text : {"\u061c", "\u200e", "\u200f", "\u202a", "\u202e", "\u2066", "\u2069", "\u2028",
                           "\u2029", "\ufeff", "\U000E0001", "\U000E007F"}) {
    EXPECT_EQ(Shown(text), kReplaced) << text;
  }
}

TEST_F(SafeTextTest, BytesThatAreNoUtf8AreReplaced) {
  EXPECT_EQ(Shown("a\xff"
                  "b"),
            "a" + kReplaced + "b");
  EXPECT_EQ(Shown("\x80"), kReplaced);
  EXPECT_EQ(Shown("\xc3"), kReplaced);                  // cut
  EXPECT_EQ(Shown("\xc3("), kReplaced + "(");           // not continued
  EXPECT_EQ(Shown("\xe2\x82"), kReplaced);              // cut
  EXPECT_EQ(Shown("\xed\xa0\x80"), kReplaced);          // half of a surrogate pair
  EXPECT_EQ(Shown("\xf4\x90\x80\x80"), kReplaced);      // beyond the last character
  EXPECT_EQ(Shown("\xe0\x80\x9b"), kReplaced);          // a control character, written too long
  EXPECT_EQ(Shown("\xc0\x9b"), kReplaced + kReplaced);  // the same, shorter
  EXPECT_EQ(Shown("\xf0\x80\x80\x9b"), kReplaced);
}

TEST_F(SafeTextTest, NoBytesGetThroughThatATerminalObeys) {
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    std::string bytes(random() % 12, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    const std::string shown = Shown(bytes);
    EXPECT_EQ(Shown(shown), shown);  // it is UTF-8, and safe as it stands
    for (const char32_t c : SafeText(shown)) EXPECT_FALSE(c < 0x20 || (c >= 0x7f && c < 0xa0));
  }
}

TEST_F(SafeTextTest, WidthCountsCells) {
  EXPECT_EQ(CellWidth(U""), 0U);
  EXPECT_EQ(CellWidth(U"abc"), 3U);
  EXPECT_EQ(CellWidth(U"机架"), 4U);
  EXPECT_EQ(CellWidth(U"e\u0301"), 1U);
  EXPECT_EQ(CellWidth(U"\uFFFD"), 1U);
}

TEST_F(SafeTextTest, TextThatFitsIsNotElided) {
  EXPECT_EQ(Elided(U"abc", 3), U"abc");
  EXPECT_EQ(Elided(U"", 0), U"");
  EXPECT_EQ(Elided(U"机架", 4), U"机架");
}

TEST_F(SafeTextTest, TextThatDoesNotFitEndsInAnEllipsisWithinItsCells) {
  EXPECT_EQ(Elided(U"abcd", 3), U"ab…");
  EXPECT_EQ(Elided(U"abcd", 1), U"…");
  EXPECT_EQ(Elided(U"abcd", 0), U"");
  EXPECT_EQ(Elided(U"机架机", 4), U"机…");
  EXPECT_EQ(Elided(U"机", 1), U"…");
}

TEST_F(SafeTextTest, MarksWithoutWidthCannotGrowATextWithoutEnd) {
  const std::u32string flood = U"a" + std::u32string(100'000, U'\u0301');
  const std::u32string elided = Elided(flood, 40);
  EXPECT_LT(elided.size(), 400U);
  EXPECT_LE(CellWidth(elided), 40U);
  EXPECT_EQ(elided.back(), U'…');
}

TEST_F(SafeTextTest, MarksOfOrdinaryTextStay) {
  std::u32string text;
  for (int i = 0; i < 10; ++i) text += U"e\u0301\u0323";
  EXPECT_EQ(Elided(text, 10), text);
}

}  // namespace
}  // namespace vorn::devicelisttool
