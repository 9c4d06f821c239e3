#include <gtest/gtest.h>

#include "devicelist/Entry.h"

namespace DeviceList {
namespace {

const Entry kEntry{std::string("Desk"), "plexadevice", "http://desk.local/", "1"};

TEST(EntryTest, EqualWhenAllFourFieldsAre) {
  const Entry copy = kEntry;
  EXPECT_TRUE(kEntry == copy);
  EXPECT_TRUE((Entry{{}, "a", "b", "c"} == Entry{{}, "a", "b", "c"}));
}

TEST(EntryTest, UnequalWhenOnlyThePresenceOfTheNameDiffers) {
  Entry nameless = kEntry;
  nameless.name.reset();
  EXPECT_FALSE(kEntry == nameless);
  EXPECT_FALSE(nameless == kEntry);
  Entry emptyName = kEntry;
  emptyName.name = std::string();
  EXPECT_FALSE(nameless == emptyName);
}

TEST(EntryTest, UnequalWhenAnyFieldDiffers) {
  Entry other = kEntry;
  other.name = std::string("desk");  // case counts
  EXPECT_FALSE(kEntry == other);
  other = kEntry;
  other.type = "plexahost";
  EXPECT_FALSE(kEntry == other);
  other = kEntry;
  other.url = "http://desk.local";
  EXPECT_FALSE(kEntry == other);
  other = kEntry;
  other.uid = "";
  EXPECT_FALSE(kEntry == other);
}

TEST(EntryTest, BytesThatAreNoTextKeepUnitsApart) {
  Entry a = kEntry;
  Entry b = kEntry;
  a.uid = "\xff";
  b.uid = "\xfe";
  EXPECT_FALSE(a == b);
  b.uid = std::string("\xff\0", 2);
  EXPECT_FALSE(a == b);
}

TEST(UnitKindTest, IsFoundByItsExactTypeText) {
  for (const char* type : {kTypeDevice, kTypeHost, kTypeSwitch}) {
    const UnitKind* kind = KindOf(type);
    ASSERT_NE(kind, nullptr) << type;
    EXPECT_EQ(kind->type, type);
    EXPECT_EQ(kind->image, type);
  }
  for (const char* type : {"", "plexa", "Plexadevice", "plexadevice ", "driver"})
    EXPECT_EQ(KindOf(type), nullptr) << type;
}

TEST(UnitKindTest, HasWordsOfItsOwn) {
  EXPECT_EQ(KindOf(kTypeDevice)->words, "audio interface");
  EXPECT_EQ(KindOf(kTypeHost)->words, "host");
  EXPECT_EQ(KindOf(kTypeSwitch)->words, "AVB switch");
}

}  // namespace
}  // namespace DeviceList
