#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "devicelist/HeldUnits.h"
#include "tests/devicelist/Units.h"

namespace DeviceList {
namespace {

using testing::NamesOf;
using testing::Unit;
using testing::WithFirmware;
using testing::WithLatest;
using testing::WithModel;
using Names = std::vector<std::string>;

const ExtendedDeviceInfo kFullUnit =
    WithLatest(WithModel(WithFirmware(Unit("desk", "1"), {1, 2, 3, 4}), "model"), {1, 2, 3, 5});

constexpr vorn::AbsoluteTime kEnd = 105;  // of a hold that began at 100

TEST(HeldUnitsTest, HoldsNothingToBeginWith) {
  HeldUnits held;
  EXPECT_FALSE(held.NextDue());
  EXPECT_FALSE(held.ReleaseDue(kEnd));
  EXPECT_EQ(NamesOf(held.Merge({Unit("a", "1"), Unit("b", "2")})), (Names{"a", "b"}));
}

TEST(HeldUnitsTest, ShowsAUnitThatIsNotFoundAgainYet) {
  HeldUnits held;
  held.Hold({kFullUnit}, kEnd);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(NamesOf(held.Merge({Unit("a", "2")})), (Names{"a", "desk"}));
  EXPECT_TRUE(held.NextDue());
}

TEST(HeldUnitsTest, ShowsAUnitAsItWasWhileLessIsKnownOfIt) {
  HeldUnits held;
  held.Hold({kFullUnit}, kEnd);
  auto current = Unit("desk, renamed", "1");
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk"});
  current = WithFirmware(current, {1, 2, 3, 5});
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk"});
  current = WithModel(current, "model");
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk"});
  EXPECT_TRUE(held.NextDue());
  current = WithLatest(current, {1, 2, 3, 6});
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk, renamed"});
  EXPECT_FALSE(held.NextDue());
}

TEST(HeldUnitsTest, LetsGoOfAUnitForGood) {
  HeldUnits held;
  held.Hold({Unit("desk", "1"), Unit("rack", "2")}, kEnd);
  EXPECT_EQ(NamesOf(held.Merge({Unit("desk", "1")})), (Names{"desk", "rack"}));
  EXPECT_EQ(NamesOf(held.Merge({})), Names{"rack"});
}

TEST(HeldUnitsTest, UnknownValuesNeedNotComeBack) {
  HeldUnits held;
  held.Hold({Unit("desk", "1")}, kEnd);
  held.Merge({Unit("desk", "1")});
  EXPECT_FALSE(held.NextDue());
}

TEST(HeldUnitsTest, ResultIsSorted) {
  HeldUnits held;
  held.Hold({Unit("b", "2"), Unit("D", "4")}, kEnd);
  EXPECT_EQ(NamesOf(held.Merge({Unit("a", "1"), Unit("C", "3")})), (Names{"a", "b", "C", "D"}));
}

TEST(HeldUnitsTest, HeldHostIsHiddenByADeviceOfItsUid) {
  HeldUnits held;
  auto host = Unit("by host", "1", kTypeHost);
  host.url = "http://host.local/1/";
  held.Hold({host}, kEnd);
  EXPECT_EQ(NamesOf(held.Merge({Unit("itself", "1")})), Names{"itself"});
}

TEST(HeldUnitsTest, LetsGoOfAUnitWhenItsTimeIsOverAndNotBefore) {
  HeldUnits held;
  held.Hold({kFullUnit}, kEnd);
  EXPECT_EQ(*held.NextDue(), kEnd);
  EXPECT_FALSE(held.ReleaseDue(kEnd - 0.001));
  EXPECT_EQ(NamesOf(held.Merge({})), Names{"desk"});
  EXPECT_TRUE(held.ReleaseDue(kEnd));
  EXPECT_FALSE(held.NextDue());
  EXPECT_TRUE(held.Merge({}).empty());
}

TEST(HeldUnitsTest, HoldReplacesWhatWasHeld) {
  HeldUnits held;
  held.Hold({Unit("a", "1")}, kEnd);
  held.Hold({Unit("b", "2")}, kEnd);
  EXPECT_EQ(NamesOf(held.Merge({})), Names{"b"});
}

TEST(HeldUnitsTest, UnitHeldAgainKeepsTheTimeThatItHad) {
  HeldUnits held;
  held.Hold({Unit("gone", "1"), Unit("there", "2")}, kEnd);
  for (int restart = 1; restart <= 4; ++restart) {
    held.Hold(held.Merge({Unit("there", "2")}), kEnd + restart);
  }
  EXPECT_EQ(*held.NextDue(), kEnd);
  EXPECT_TRUE(held.ReleaseDue(kEnd));
  EXPECT_EQ(NamesOf(held.Merge({})), Names{"there"});
  EXPECT_EQ(*held.NextDue(), kEnd + 4);
}

TEST(HeldUnitsTest, UnitOfWhichLessIsKnownHasItsTimeAnewWhenHeldAgain) {
  HeldUnits held;
  held.Hold({kFullUnit}, kEnd);
  held.Hold(held.Merge({Unit("desk", "1")}), kEnd + 1);
  EXPECT_EQ(*held.NextDue(), kEnd + 1);
  held.Hold(held.Merge({}), kEnd + 2);  // not named since
  EXPECT_EQ(*held.NextDue(), kEnd + 1);
}

}  // namespace
}  // namespace DeviceList
