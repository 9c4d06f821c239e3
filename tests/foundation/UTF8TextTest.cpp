#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "foundation/UTF8Text.h"

namespace {

using vorn::IsUTF8;
using vorn::TakeCharacter;
using vorn::ToUTF8;
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

TEST(UTF8TextTest, TakesCharactersOneByOneAndWhatIsNoneWithItsContinuations) {
  std::string_view bytes = "a\u20ac\xe2\x82z\xff\x80";
  std::vector<char32_t> taken;
  while (!bytes.empty()) {
    const auto c = TakeCharacter(bytes);
    taken.push_back(c ? *c : U'?');
  }
  EXPECT_EQ(taken, (std::vector<char32_t>{U'a', 0x20AC, U'?', U'z', U'?', U'?'}));
}

TEST(UTF8TextTest, EveryCharacterComesBackAsItWasWritten) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    const std::string written = ToUTF8(std::u32string(1, c));
    std::string_view bytes = written;
    const auto read = TakeCharacter(bytes);
    ASSERT_TRUE(read && *read == c);
    ASSERT_TRUE(bytes.empty());
  }
}

}  // namespace
