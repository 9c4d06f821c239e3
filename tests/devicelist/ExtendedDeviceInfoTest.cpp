#include <gtest/gtest.h>

#include "devicelist/ExtendedDeviceInfo.h"
#include "tests/devicelist/Units.h"

namespace DeviceList {
namespace {

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

}  // namespace
}  // namespace DeviceList
