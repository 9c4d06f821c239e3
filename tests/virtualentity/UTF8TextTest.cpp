#include <gtest/gtest.h>

#include "virtualentity/UTF8Text.h"

namespace {

using vorn::CountCharacters;
using vorn::IsUTF8;
using vorn::Printable;
using vorn::WithoutLastCharacter;

TEST(UTF8TextTest, TakesWellFormedTextOfEveryLength) {
  EXPECT_TRUE(IsUTF8(""));
  EXPECT_TRUE(IsUTF8("a\u00e9\u20ac\U0001F39A"));
  EXPECT_TRUE(IsUTF8(std::string("\0", 1)));
  EXPECT_TRUE(IsUTF8("\xf4\x8f\xbf\xbf"));
}

TEST(UTF8TextTest, RefusesEverythingElse) {
  EXPECT_FALSE(IsUTF8("\x80"));              // a continuation alone
  EXPECT_FALSE(IsUTF8("a\xc3"));             // cut short
  EXPECT_FALSE(IsUTF8("\xc3z"));             // no continuation
  EXPECT_FALSE(IsUTF8("\xc0\xaf"));          // overlong
  EXPECT_FALSE(IsUTF8("\xe0\x80\xaf"));      // overlong
  EXPECT_FALSE(IsUTF8("\xf0\x80\x80\xaf"));  // overlong
  EXPECT_FALSE(IsUTF8("\xed\xa0\x80"));      // surrogate
  EXPECT_FALSE(IsUTF8("\xf4\x90\x80\x80"));  // beyond the last character
  EXPECT_FALSE(IsUTF8("\xff"));
}

TEST(UTF8TextTest, DropsWholeCharacters) {
  EXPECT_EQ(WithoutLastCharacter("ab\n"), "ab");
  EXPECT_EQ(WithoutLastCharacter("a\u20ac"), "a");
  EXPECT_EQ(WithoutLastCharacter("\U0001F39A"), "");
  EXPECT_EQ(WithoutLastCharacter(""), "");
}

TEST(UTF8TextTest, MakesTextSafeForATerminal) {
  EXPECT_EQ(Printable("Studio \u00e9\u20ac"), "Studio \u00e9\u20ac");
  EXPECT_EQ(Printable("a\x1b[31mb\nc\td\x7f"), "a?[31mb?c?d?");
  EXPECT_EQ(Printable("a\u009bb\u202ec\u2066d\u2028"), "a?b?c?d?");
  EXPECT_EQ(Printable("a\xff\xc3"), "a??");
  EXPECT_TRUE(IsUTF8(Printable("\xe2\x82\xe2\x82\xac\xf0\x9f")));
}

TEST(UTF8TextTest, CountsCharactersNotBytes) {
  EXPECT_EQ(CountCharacters("a\u00e9\u20ac\U0001F39A"), 4U);
}

}  // namespace
