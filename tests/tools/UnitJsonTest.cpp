#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/devicelist/Units.h"
#include "vorn-device-list/UnitJson.h"

namespace vorn::devicelisttool {
namespace {

using DeviceList::testing::Unit;
using DeviceList::testing::WithFirmware;
using DeviceList::testing::WithLatest;
using DeviceList::testing::WithModel;
using ::testing::HasSubstr;

TEST(UnitJsonTest, NoUnitsAreAnEmptyArray) {
  EXPECT_EQ(UnitJson({}), R"({"units":[]})");
}

TEST(UnitJsonTest, HasAllFieldsInTheirOrder) {
  const auto unit =
      WithLatest(WithModel(WithFirmware(Unit("Desk", "42"), {1, 2, 3, 4}), "24ai"), {1, 2, 4, 0});
  EXPECT_EQ(UnitJson({unit}), R"({"units":[{"name":"Desk","type":"plexadevice","url":"http://42.local/",)"
                              R"("uid":"42","modelID":"24ai","firmwareVersion":"1.2.3+4",)"
                              R"("latestVersion":"1.2.4+0","updateAvailable":true}]})");
}

TEST(UnitJsonTest, UnknownValuesAreNull) {
  EXPECT_EQ(UnitJson({Unit("Desk", "", DeviceList::kTypeSwitch)}),
            R"({"units":[{"name":"Desk","type":"plexaswitch","url":"http://.local/","uid":"",)"
            R"("modelID":null,"firmwareVersion":null,"latestVersion":null,"updateAvailable":false}]})");
}

TEST(UnitJsonTest, EmptyTextsAreNotNull) {
  EXPECT_THAT(UnitJson({WithModel(Unit(""), "")}), HasSubstr(R"("name":"",)"));
}

TEST(UnitJsonTest, UpdateIsDecidedByTheVersionsOwnComparison) {
  const auto unit = WithLatest(WithFirmware(Unit("Desk"), {2, 0, 0, 0}), {1, 5, 0, 0});
  EXPECT_THAT(UnitJson({unit}), HasSubstr(R"("updateAvailable":true)"));
}

TEST(UnitJsonTest, StrangersBytesAreEscapedOrReplaced) {
  const auto unit = Unit(std::string("\"\\\033\n\0\x7f\xff\xc3\xa9", 9), "\xfe");
  const std::string json = UnitJson({unit});
  EXPECT_THAT(json, HasSubstr(R"("name":"\"\\\u001b\n\u0000\u007f\ufffd\u00e9")"));
  EXPECT_THAT(json, HasSubstr(R"("uid":"\ufffd")"));
  for (const char c : json) EXPECT_TRUE(c >= 0x20 && c < 0x7f) << int{c};
}

TEST(UnitJsonTest, UnitsWhoseBytesAreShownAlikeStayTwo) {
  const std::string json = UnitJson({Unit("a", "\xfe"), Unit("a", "\xff")});
  EXPECT_EQ(json.find(R"("name")", json.find(R"("name")") + 1) == std::string::npos, false);
}

}  // namespace
}  // namespace vorn::devicelisttool
