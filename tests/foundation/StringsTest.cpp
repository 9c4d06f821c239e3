#include <gtest/gtest.h>

#include <locale>
#include <string>
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

}  // namespace
}  // namespace vorn
