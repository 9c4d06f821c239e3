#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

#include "foundation/FirmwareVersion.h"

#undef major
#undef minor

namespace vorn {
namespace {

constexpr FirmwareVersion kUntouched{91, 92, 93, 94};

struct Reading {
  FirmwareVersion version = kUntouched;
  bool failed = false;
  std::string rest;
};

Reading Read(const std::string& text) {
  Reading reading;
  std::istringstream stream(text);
  stream >> reading.version;
  reading.failed = stream.fail();
  stream.clear();
  std::getline(stream, reading.rest, '\0');
  return reading;
}

std::string Printed(const FirmwareVersion& version) {
  std::ostringstream stream;
  stream << version;
  return stream.str();
}

constexpr FirmwareVersion k1234{1, 2, 3, 4};

TEST(FirmwareVersionTest, ReadsItsFourFieldsAndPrintsThemBack) {
  const Reading reading = Read("1.2.3+4");
  EXPECT_FALSE(reading.failed);
  EXPECT_EQ(reading.version.major, 1U);
  EXPECT_EQ(reading.version.minor, 2U);
  EXPECT_EQ(reading.version.patch, 3U);
  EXPECT_EQ(reading.version.build, 4U);
  EXPECT_EQ(Printed(reading.version), "1.2.3+4");
}

TEST(FirmwareVersionTest, WithoutBuildNumberFails) {
  EXPECT_TRUE(Read("1.2.3").failed);
  EXPECT_TRUE(Read("1.2.3+").failed);
}

TEST(FirmwareVersionTest, LeavesWhatFollowsTheBuildNumber) {
  for (const std::string rest : {" and more words", ".5", "x", "-1"}) {
    const Reading reading = Read("1.2.3+4" + rest);
    EXPECT_FALSE(reading.failed) << rest;
    EXPECT_TRUE(reading.version == k1234) << rest;
    EXPECT_EQ(reading.rest, rest);
  }
}

TEST(FirmwareVersionTest, SkipsBlanksBeforeEachNumberAndSeparator) {
  const Reading reading = Read(" 1 .\t2 . \n3 + 4");
  EXPECT_FALSE(reading.failed);
  EXPECT_TRUE(reading.version == k1234);
}

TEST(FirmwareVersionTest, WrongSeparatorsAndTheEmptyTextFail) {
  for (const char* text : {"1.2.3-4", "1,2,3+4", "", " ", "a.b.c+d", ".1.2+3", "1..2+3", "1.2.+4"}) {
    EXPECT_TRUE(Read(text).failed) << text;
  }
}

TEST(FirmwareVersionTest, FieldsReadBeforeAFailureKeepTheirNewValuesAndTheRestIsUntouched) {
  const Reading atSeparator = Read("1.2,3+4");
  EXPECT_EQ(atSeparator.version.major, 1U);
  EXPECT_EQ(atSeparator.version.minor, 2U);
  EXPECT_EQ(atSeparator.version.patch, kUntouched.patch);
  EXPECT_EQ(atSeparator.version.build, kUntouched.build);
  const Reading atNumber = Read("1.x.3+4");
  EXPECT_EQ(atNumber.version.major, 1U);
  EXPECT_EQ(atNumber.version.minor, kUntouched.minor);
}

TEST(FirmwareVersionTest, WrongSeparatorIsConsumed) {
  EXPECT_EQ(Read("1.2-3+4").rest, "3+4");
}

TEST(FirmwareVersionTest, NumbersAreReadAsTheStreamReadsThem) {
  constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(Read("-1.0.0+0").version.major, kLargest);
  EXPECT_EQ(Read("+1.02.0+0").version.minor, 2U);
  EXPECT_EQ(Read("1.2.3++4").version.build, 4U);
  EXPECT_EQ(Read("18446744073709551615.0.0+0").version.major, kLargest);
}

TEST(FirmwareVersionTest, OverflowFailsAndLeavesTheFieldUntouched) {
  const Reading reading = Read("1.18446744073709551616.0+0");
  EXPECT_TRUE(reading.failed);
  EXPECT_EQ(reading.version.major, 1U);
  EXPECT_EQ(reading.version.minor, kUntouched.minor);
}

TEST(FirmwareVersionTest, ReachingTheEndIsNoFailure) {
  std::istringstream stream("1.2.3+4");
  FirmwareVersion version;
  stream >> version;
  EXPECT_TRUE(stream.eof());
  EXPECT_FALSE(stream.fail());
}

TEST(FirmwareVersionTest, PrintsPlainDecimalWhateverTheStreamsFormatting) {
  std::ostringstream stream;
  stream << std::hex << std::showbase << std::showpos << std::setw(20) << std::setfill('0')
         << FirmwareVersion{10, 20, 30, 40};
  EXPECT_EQ(stream.str(), "10.20.30+40");
}

TEST(FirmwareVersionTest, PrintsTheLargestNumbers) {
  constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(Printed({kLargest, 0, 0, kLargest}), "18446744073709551615.0.0+18446744073709551615");
}

TEST(FirmwareVersionTest, EqualWhenAllFourFieldsAgree) {
  EXPECT_TRUE(k1234 == k1234);
  EXPECT_FALSE(k1234 == (FirmwareVersion{1, 2, 3, 5}));
  EXPECT_FALSE(k1234 == (FirmwareVersion{1, 2, 4, 4}));
  EXPECT_FALSE(k1234 == (FirmwareVersion{1, 3, 3, 4}));
  EXPECT_FALSE(k1234 == (FirmwareVersion{2, 2, 3, 4}));
}

TEST(FirmwareVersionTest, LessAsSoonAsAnyFieldIsSmaller) {
  EXPECT_TRUE(k1234 < (FirmwareVersion{1, 2, 4, 0}));
  EXPECT_TRUE((FirmwareVersion{1, 2, 4, 0}) < k1234);  // by its build number
  EXPECT_TRUE((FirmwareVersion{2, 0, 0, 0}) < (FirmwareVersion{1, 5, 0, 0}));
  EXPECT_TRUE((FirmwareVersion{1, 5, 0, 0}) < (FirmwareVersion{2, 0, 0, 0}));
}

TEST(FirmwareVersionTest, NotLessWhenNoFieldIsSmaller) {
  EXPECT_FALSE(k1234 < k1234);
  EXPECT_FALSE((FirmwareVersion{2, 2, 3, 5}) < k1234);
}

}  // namespace
}  // namespace vorn
