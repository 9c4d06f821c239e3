#include <gtest/gtest.h>

#include "foundation/ASCII.h"
#include "foundation/Hex.h"

namespace vorn {
namespace {

TEST(ASCIITest, TrimsBlanksAndTabsAtTheEndsAlone) {
  EXPECT_EQ(Trimmed(" \t a \t b\t "), "a \t b");
  EXPECT_EQ(Trimmed("a"), "a");
  EXPECT_EQ(Trimmed(" \t "), "");
  EXPECT_EQ(Trimmed(""), "");
  EXPECT_EQ(Trimmed("\na\r"), "\na\r");
}

TEST(ASCIITest, TrimsOtherBlanksWhereAskedTo) {
  EXPECT_EQ(Trimmed("\r a\r", " \r"), "a");
  EXPECT_EQ(Trimmed("\ta\t", " \r"), "\ta\t");
}

TEST(HexTest, WritesEveryByteWithTwoDigitsThatReadBack) {
  for (int byte = 0; byte < 256; ++byte) {
    for (const char* digits : {kCapitalHexDigits, kSmallHexDigits}) {
      std::string text;
      AppendHex(text, static_cast<char>(byte), digits);
      ASSERT_EQ(text.size(), 2U);
      EXPECT_EQ(HexValue(text[0]) * 16 + HexValue(text[1]), byte);
    }
  }
}

TEST(HexTest, WritesCapitalsUnlessAskedForSmallDigits) {
  std::string text;
  AppendHex(text, '\xaf');
  AppendHex(text, '\xaf', kSmallHexDigits);
  EXPECT_EQ(text, "AFaf");
}

TEST(HexTest, ReadsNoOtherCharacter) {
  for (const char c : {'g', 'G', '/', ':', '@', '`', ' ', '\0', '\xff'}) EXPECT_EQ(HexValue(c), -1);
}

}  // namespace
}  // namespace vorn
