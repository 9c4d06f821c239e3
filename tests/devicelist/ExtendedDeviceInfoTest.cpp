#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "tests/devicelist/Units.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace DeviceList {
namespace {

using testing::NamesOf;
using testing::Unit;
using testing::WithFirmware;
using testing::WithLatest;

TEST(ExtendedDeviceInfoTest, UpdateIsAvailableWhenAnyFieldOfTheFirmwareIsOlder) {
  EXPECT_TRUE(UpdateAvailable(WithLatest(WithFirmware(Unit("a"), {1, 2, 3, 4}), {1, 2, 4, 0})));
  EXPECT_TRUE(UpdateAvailable(WithLatest(WithFirmware(Unit("a"), {2, 0, 0, 0}), {1, 5, 0, 0})));
}

TEST(ExtendedDeviceInfoTest, NoUpdateForCurrentOrNewerFirmware) {
  EXPECT_FALSE(UpdateAvailable(WithLatest(WithFirmware(Unit("a"), {1, 2, 3, 4}), {1, 2, 3, 4})));
  EXPECT_FALSE(UpdateAvailable(WithLatest(WithFirmware(Unit("a"), {1, 2, 3, 5}), {1, 2, 3, 4})));
}

TEST(ExtendedDeviceInfoTest, NoUpdateWhileEitherVersionIsUnknown) {
  EXPECT_FALSE(UpdateAvailable(Unit("a")));
  EXPECT_FALSE(UpdateAvailable(WithFirmware(Unit("a"), {1, 0, 0, 0})));
  EXPECT_FALSE(UpdateAvailable(WithLatest(Unit("a"), {1, 0, 0, 0})));
}

TEST(ExtendedDeviceInfoTest, CopiesAreDeep) {
  ExtendedDeviceInfo original = Unit("a");
  const ExtendedDeviceInfo copy = original;
  *original.name = "b";
  EXPECT_EQ(*copy.name, "a");
}

using Names = std::vector<std::string>;

Names SortedNames(const Names& names) {
  std::vector<ExtendedDeviceInfo> units;
  for (const auto& name : names) units.push_back(Unit(name));
  return NamesOf(FilterAndSort(std::move(units)));
}

TEST(PublishedListTest, EmptyStaysEmpty) {
  EXPECT_TRUE(FilterAndSort({}).empty());
}

TEST(PublishedListTest, SortsByNameWithoutRegardToTheCaseOfAsciiLetters) {
  EXPECT_EQ(SortedNames({"beta", "Alpha", "alpha2"}), (Names{"Alpha", "alpha2", "beta"}));
}

TEST(PublishedListTest, NonAsciiLettersComeBeforeAllOfAscii) {
  EXPECT_EQ(SortedNames({"Alpha", "0", " ", "\xc3\x84rger", "!"}),
            (Names{"\xc3\x84rger", " ", "!", "0", "Alpha"}));
}

TEST(PublishedListTest, BytesAreComparedAsSignedNumbers) {
  EXPECT_EQ(SortedNames({"\xff", "\x80", "\x01", "\xc3"}), (Names{"\x80", "\xc3", "\xff", "\x01"}));
}

TEST(PublishedListTest, EachByteHasThePlaceOfItsLowerCaseLetterAsASignedNumber) {
  const auto place = [](char byte) { return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : int{byte}; };
  Names names;
  for (int byte = 0; byte < 256; ++byte) names.emplace_back(1, static_cast<char>(byte));
  std::shuffle(names.begin(), names.end(), std::mt19937(1));
  const Names sorted = SortedNames(names);
  ASSERT_EQ(sorted.size(), 256U);
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    EXPECT_LE(place(sorted[i - 1][0]), place(sorted[i][0])) << i;
  }
}

TEST(PublishedListTest, NamesThatDifferInTheirLastLettersOnlyAreSorted) {
  const std::string small(4000, 'x');
  const std::string capital(4000, 'X');
  EXPECT_EQ(SortedNames({small + "C", capital + "a", small + "b", capital}),
            (Names{capital, capital + "a", small + "b", small + "C"}));
}

TEST(PublishedListTest, BytesBeyondAsciiAreNotFolded) {
  // Capital and small A with diaeresis in Latin-1, which its tolower would unite.
  EXPECT_TRUE(NamePrecedes("\xc4", "\xe4"));
  EXPECT_FALSE(NamePrecedes("\xe4", "\xc4"));
}

TEST(PublishedListTest, OnlyLettersAreFolded) {
  // Between the two cases are [ \ ] ^ _ `, next to them @ and {.
  EXPECT_TRUE(NamePrecedes("_", "A"));
  EXPECT_TRUE(NamePrecedes("@", "a"));
  EXPECT_TRUE(NamePrecedes("Z", "{"));
  EXPECT_FALSE(NamePrecedes("Z", "z"));
  EXPECT_FALSE(NamePrecedes("z", "Z"));
}

TEST(PublishedListTest, ProperPrefixComesFirst) {
  EXPECT_TRUE(NamePrecedes("alpha", "ALPHA2"));
  EXPECT_FALSE(NamePrecedes("ALPHA2", "alpha"));
  EXPECT_TRUE(NamePrecedes("", "\x80"));
}

TEST(PublishedListTest, OrderIsOneThatCanBeSortedBy) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> length(0, 3);
  const std::string bytes("aAbB\x80\xff\0_", 8);
  Names names;
  for (int i = 0; i < 60; ++i) {
    std::string name;
    for (int j = length(random); j > 0; --j) name.push_back(bytes[random() % bytes.size()]);
    names.push_back(name);
  }
  for (const auto& a : names) {
    EXPECT_FALSE(NamePrecedes(a, a));
    for (const auto& b : names) {
      EXPECT_FALSE(NamePrecedes(a, b) && NamePrecedes(b, a));
      for (const auto& c : names) {
        if (NamePrecedes(a, b) && NamePrecedes(b, c)) {
          EXPECT_TRUE(NamePrecedes(a, c));
        }
      }
    }
  }
}

/// Locales made for the test: their own tolower takes bytes beyond ASCII for letters, or the capital I for
/// another letter's.
class MadeLocales {
 public:
  MadeLocales() : fSearched("LOCPATH", fFolder.Path().string()) {
    Make("de_DE", "ISO-8859-1");
    Make("tr_TR", "ISO-8859-9");
  }
  ~MadeLocales() { std::setlocale(LC_ALL, "C"); }
  MadeLocales(const MadeLocales&) = delete;
  MadeLocales& operator=(const MadeLocales&) = delete;

 private:
  void Make(const std::string& language, const std::string& charmap) const {
    const auto path = (fFolder.Path() / (language + "." + charmap)).string();
    const auto command = "localedef -i " + language + " -f " + charmap + " '" + path + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }

  const vorn::testing::TemporaryFolder fFolder;
  const vorn::testing::ScopedEnvironment fSearched;
};

// The program's own locale must have no effect.
TEST(PublishedListTest, OrderIgnoresTheLocale) {
  const Names names{"\xe4", "\xc4", "\xdd", "I", "i", "\xc3\x84", "b", "A"};
  const Names expected = SortedNames(names);
  const MadeLocales made;
  for (const char* locale : {"C.UTF-8", "de_DE.ISO-8859-1", "tr_TR.ISO-8859-9"}) {
    ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr) << locale;
    EXPECT_EQ(SortedNames(names), expected) << locale;
  }
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.ISO-8859-1"), nullptr);
  const volatile int capital = 0xc4;  // otherwise the compiler would answer for the locale "C"
  EXPECT_EQ(std::tolower(capital), 0xe4) << "a locale that folds nothing beyond ASCII tells nothing";
}

TEST(PublishedListTest, HostIsDroppedWhereADeviceHasItsUid) {
  const auto list = FilterAndSort({Unit("by host", "1", kTypeHost), Unit("itself", "1", kTypeDevice),
                                   Unit("other by host", "2", kTypeHost)});
  EXPECT_EQ(NamesOf(list), (Names{"itself", "other by host"}));
}

TEST(PublishedListTest, HostIsKeptBesideASwitchOrAHostOfTheSameUid) {
  EXPECT_EQ(FilterAndSort({Unit("a", "1", kTypeHost), Unit("b", "1", kTypeSwitch)}).size(), 2U);
  EXPECT_EQ(FilterAndSort({Unit("a", "1", kTypeHost), Unit("b", "1", kTypeHost)}).size(), 2U);
}

TEST(PublishedListTest, UidsAreComparedExactly) {
  EXPECT_EQ(FilterAndSort({Unit("a", "ab", kTypeHost), Unit("b", "AB", kTypeDevice)}).size(), 2U);
  EXPECT_EQ(FilterAndSort({Unit("a", "\xff", kTypeHost), Unit("b", "\xfe", kTypeDevice)}).size(), 2U);
}

TEST(PublishedListTest, DevicesAndSwitchesAreNeverDropped) {
  EXPECT_EQ(FilterAndSort({Unit("a"), Unit("b"), Unit("c", "1", kTypeSwitch)}).size(), 3U);
}

// Processor time of this thread, the least of several runs.
double SecondsToSort(std::size_t count) {
  std::mt19937 random(1);
  std::vector<ExtendedDeviceInfo> units;
  for (std::size_t i = 0; i < count; ++i) {
    units.push_back(
        Unit("Unit " + std::to_string(random()), std::to_string(i), i % 2 == 0 ? kTypeHost : kTypeDevice));
  }
  double least = 1e9;
  for (int run = 0; run < 5; ++run) {
    auto copy = units;
    timespec begin{};
    timespec end{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
    EXPECT_EQ(FilterAndSort(std::move(copy)).size(), count);
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    least = std::min(least, static_cast<double>(end.tv_sec - begin.tv_sec) +
                                static_cast<double>(end.tv_nsec - begin.tv_nsec) / 1e9);
  }
  return least;
}

// Sixteen times the units take about twenty times the work. A quadratic step would take 256 times.
TEST(PublishedListTest, WorkGrowsFarSlowerThanTheSquareOfTheUnits) {
  EXPECT_LT(SecondsToSort(16'000), 80 * SecondsToSort(1'000));
}

SharedUnits Shared(std::vector<ExtendedDeviceInfo> units) {
  return std::make_shared<const std::vector<ExtendedDeviceInfo>>(std::move(units));
}

TEST(UnitsToShowTest, LeavesOutTheSwitchesUnlessTheyAreAskedFor) {
  const SharedUnits published =
      Shared({Unit("d", "1", kTypeDevice), Unit("s", "2", kTypeSwitch), Unit("h", "3", kTypeHost),
              Unit("t", "4", kTypeSwitch), Unit("x", "5", "another kind")});
  EXPECT_EQ(NamesOf(*UnitsToShow(published, false)), (Names{"d", "h", "x"}));
  EXPECT_EQ(NamesOf(*UnitsToShow(published, true)), (Names{"d", "s", "h", "t", "x"}));
  EXPECT_EQ(published->size(), 5U);
}

TEST(UnitsToShowTest, IsTheSameListIfNothingIsLeftOut) {
  const SharedUnits withSwitch = Shared({Unit("d", "1", kTypeDevice), Unit("s", "2", kTypeSwitch)});
  const SharedUnits without = Shared({Unit("d", "1", kTypeDevice)});
  const SharedUnits empty = Shared({});
  EXPECT_EQ(UnitsToShow(withSwitch, true), withSwitch);
  EXPECT_EQ(UnitsToShow(without, false), without);
  EXPECT_EQ(UnitsToShow(empty, false), empty);
}

}  // namespace
}  // namespace DeviceList
