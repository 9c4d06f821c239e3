#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <string>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"

namespace vorn {
namespace {

class SafeTextTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

const std::string kReplaced = "\xEF\xBF\xBD";

std::string Shown(std::string_view bytes) {
  return ToUTF8(SafeText(bytes));
}

TEST_F(SafeTextTest, TextOfAnyLanguageStays) {
  for (const char* text : {"", "Desk 1", "Ärger", "机架", "🎚", "é", "עברית", "\u00a0", "\U0010FFFD"}) {
    EXPECT_EQ(Shown(text), text);
  }
}

TEST_F(SafeTextTest, CharactersThatAreKeptStay) {
  EXPECT_EQ(ToUTF8(SafeText("a\nb\r\n\xff", U"\n")), "a\nb" + kReplaced + "\n" + kReplaced);
  EXPECT_EQ(Shown("a\nb"), "a" + kReplaced + "b");
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

TEST_F(SafeTextTest, CharactersThatNobodySeesAreReplaced) {
  for (const char* text :
       {"\u00ad", "\u200b", "\u2060", "\u2064", "\u206a", "\u206f", "\u3164", "\ufff9", "\ufffb"}) {
    EXPECT_EQ(Shown(text), kReplaced) << text;
  }
}

TEST_F(SafeTextTest, CharactersThatShapeTheirNeighboursStay) {
  for (const char* text : {"\u0645\u06cc\u200c\u062e", "\u2764\ufe0f", "\U0001F469\u200d\U0001F3A4"}) {
    EXPECT_EQ(Shown(text), text);
  }
}

TEST_F(SafeTextTest, ClassifiesCharacters) {
  EXPECT_EQ(ShowingOf(U' '), Showing::kDrawn);
  EXPECT_EQ(ShowingOf(0x10FFFF), Showing::kDrawn);
  EXPECT_EQ(ShowingOf(0x1F), Showing::kBreaks);
  EXPECT_EQ(ShowingOf(0x7E), Showing::kDrawn);
  EXPECT_EQ(ShowingOf(0x7F), Showing::kBreaks);
  EXPECT_EQ(ShowingOf(0xA0), Showing::kDrawn);
  EXPECT_EQ(ShowingOf(0x200D), Showing::kShapes);
  EXPECT_EQ(ShowingOf(0x200E), Showing::kHides);
  EXPECT_EQ(ShowingOf(0x2029), Showing::kBreaks);
  EXPECT_EQ(ShowingOf(0x202A), Showing::kHides);
  EXPECT_EQ(ShowingOf(0xFFFC), Showing::kDrawn);
  EXPECT_EQ(ShowingOf(0xE0FFF), Showing::kHides);
  EXPECT_EQ(ShowingOf(0xE1000), Showing::kDrawn);
}

// A binary search reads the list, so its order matters.
TEST_F(SafeTextTest, FindsEveryUnsafeCharacter) {
  int unsafe = 0;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) unsafe += IsUnsafe(c) ? 1 : 0;
  EXPECT_EQ(unsafe, 32 + 33 + 1 + 1 + 1 + 2 + 2 + 5 + 16 + 1 + 1 + 1 + 12 + 4 + 8 + 256 + 3600);
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
  EXPECT_EQ(Shown("\xe0\x80\x9b"), kReplaced);          // a control character in an overlong form
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
}  // namespace vorn
