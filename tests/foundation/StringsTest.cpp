#include <gtest/gtest.h>

#include <locale>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/FirmwareVersion.h"
#include "foundation/Strings.h"

namespace vorn {
namespace {

using Pieces = std::vector<std::string>;

// Groups digits as a German or English user's locale may.
class Grouping : public std::numpunct<char> {
 public:
  explicit Grouping(char separator) : fSeparator(separator) {}

 protected:
  char do_thousands_sep() const override { return fSeparator; }
  std::string do_grouping() const override { return "\1"; }

 private:
  const char fSeparator;
};

class ScopedGlobalLocale {
 public:
  explicit ScopedGlobalLocale(char separator)
      : fBefore(std::locale::global(std::locale(std::locale::classic(), new Grouping(separator)))) {}
  ~ScopedGlobalLocale() { std::locale::global(fBefore); }
  ScopedGlobalLocale(const ScopedGlobalLocale&) = delete;
  ScopedGlobalLocale& operator=(const ScopedGlobalLocale&) = delete;

 private:
  const std::locale fBefore;
};

optional<FirmwareVersion> VersionOf(const std::string& text) {
  return SlowConvertFromStringAllowRemainder<FirmwareVersion>(text);
}

TEST(StringsTest, WritesNumbersInPlainDecimal) {
  EXPECT_EQ(SlowConvertToString(18446744073709551615ULL), "18446744073709551615");
  EXPECT_EQ(SlowConvertToString(0ULL), "0");
}

TEST(StringsTest, WritesVersionsInTheirTextForm) {
  EXPECT_EQ(SlowConvertToString(FirmwareVersion{1, 2, 3, 45}), "1.2.3+45");
}

TEST(StringsTest, KeepsEveryByteOfAText) {
  const std::string text("a\0\xff b", 5);
  EXPECT_EQ(SlowConvertToString(text), text);
}

TEST(StringsTest, ReadsAVersionAndIgnoresTheRemainder) {
  const FirmwareVersion expected{1, 2, 3, 4};
  for (const char* text : {"1.2.3+4", "1.2.3+4 and more words", "1.2.3+4.5", " 1 . 2 . 3 + 4"}) {
    const auto version = VersionOf(text);
    ASSERT_TRUE(version) << text;
    EXPECT_TRUE(*version == expected) << text;
  }
}

TEST(StringsTest, GivesNothingForWhatIsNoVersion) {
  for (const char* text : {"1.2.3", "1.2.3-4", "1,2,3+4", "", "1.2.3+99999999999999999999"}) {
    EXPECT_FALSE(VersionOf(text)) << text;
  }
}

TEST(StringsTest, NumbersStayPlainUnderAGlobalLocaleThatGroupsDigits) {
  const ScopedGlobalLocale locale(',');
  EXPECT_EQ(SlowConvertToString(1234567ULL), "1234567");
  EXPECT_EQ(SlowConvertToString(FirmwareVersion{1234, 5678, 9, 1011}), "1234.5678.9+1011");
}

TEST(StringsTest, VersionsAreReadAlikeUnderAGlobalLocaleThatGroupsDigits) {
  const ScopedGlobalLocale locale('.');
  const auto version = VersionOf("1.2.3+4");
  ASSERT_TRUE(version);
  EXPECT_TRUE(*version == (FirmwareVersion{1, 2, 3, 4}));
}

TEST(StringsTest, SplitsAtColonsInOrder) {
  EXPECT_EQ(GetEmbeddedValues("one:two:three"), (Pieces{"one", "two", "three"}));
}

TEST(StringsTest, KeepsEmptyPiecesExceptAfterATrailingColon) {
  EXPECT_EQ(GetEmbeddedValues("a::b:"), (Pieces{"a", "", "b"}));
  EXPECT_EQ(GetEmbeddedValues(":a"), (Pieces{"", "a"}));
  EXPECT_EQ(GetEmbeddedValues(":"), (Pieces{""}));
  EXPECT_EQ(GetEmbeddedValues("::"), (Pieces{"", ""}));
}

TEST(StringsTest, EmptyTextHasNoPieces) {
  EXPECT_EQ(GetEmbeddedValues(""), Pieces());
}

TEST(StringsTest, TextWithoutColonIsOnePiece) {
  EXPECT_EQ(GetEmbeddedValues(" whole text "), (Pieces{" whole text "}));
}

TEST(StringsTest, NeitherTrimsNorDropsBytes) {
  const std::string text(" a \0:\n\xff", 7);
  EXPECT_EQ(GetEmbeddedValues(text), (Pieces{std::string(" a \0", 4), "\n\xff"}));
}

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
}  // namespace vorn
