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

TEST(HeldUnitsTest, HoldsNothingToBeginWith) {
  HeldUnits held;
  EXPECT_TRUE(held.Empty());
  EXPECT_EQ(NamesOf(held.Merge({Unit("a", "1"), Unit("b", "2")})), (Names{"a", "b"}));
}

TEST(HeldUnitsTest, ShowsAUnitThatIsNotFoundAgainYet) {
  HeldUnits held;
  held.Hold({kFullUnit});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(NamesOf(held.Merge({Unit("a", "2")})), (Names{"a", "desk"}));
  EXPECT_FALSE(held.Empty());
}

TEST(HeldUnitsTest, ShowsAUnitAsItWasWhileLessIsKnownOfIt) {
  HeldUnits held;
  held.Hold({kFullUnit});
  auto current = Unit("desk, renamed", "1");
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk"});
  current = WithFirmware(current, {1, 2, 3, 5});
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk"});
  current = WithModel(current, "model");
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk"});
  EXPECT_FALSE(held.Empty());
  current = WithLatest(current, {1, 2, 3, 6});
  EXPECT_EQ(NamesOf(held.Merge({current})), Names{"desk, renamed"});
  EXPECT_TRUE(held.Empty());
}

TEST(HeldUnitsTest, LetsGoOfAUnitForGood) {
  HeldUnits held;
  held.Hold({Unit("desk", "1"), Unit("rack", "2")});
  EXPECT_EQ(NamesOf(held.Merge({Unit("desk", "1")})), (Names{"desk", "rack"}));
  EXPECT_EQ(NamesOf(held.Merge({})), Names{"rack"});
}

TEST(HeldUnitsTest, UnknownValuesNeedNotComeBack) {
  HeldUnits held;
  held.Hold({Unit("desk", "1")});
  held.Merge({Unit("desk", "1")});
  EXPECT_TRUE(held.Empty());
}

TEST(HeldUnitsTest, ResultIsSorted) {
  HeldUnits held;
  held.Hold({Unit("b", "2"), Unit("D", "4")});
  EXPECT_EQ(NamesOf(held.Merge({Unit("a", "1"), Unit("C", "3")})), (Names{"a", "b", "C", "D"}));
}

TEST(HeldUnitsTest, HeldHostIsHiddenByADeviceOfItsUid) {
  HeldUnits held;
  auto host = Unit("by host", "1", kTypeHost);
  host.url = "http://host.local/1/";
  held.Hold({host});
  EXPECT_EQ(NamesOf(held.Merge({Unit("itself", "1")})), Names{"itself"});
}

TEST(HeldUnitsTest, ReleaseLetsGoOfAll) {
  HeldUnits held;
  held.Hold({kFullUnit});
  held.Release();
  EXPECT_TRUE(held.Empty());
  EXPECT_TRUE(held.Merge({}).empty());
}

TEST(HeldUnitsTest, HoldReplacesWhatWasHeld) {
  HeldUnits held;
  held.Hold({Unit("a", "1")});
  held.Hold({Unit("b", "2")});
  EXPECT_EQ(NamesOf(held.Merge({})), Names{"b"});
}

}  // namespace
}  // namespace DeviceList
