#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/devicelist/Units.h"
#include "vorn-device-list/OpenMetrics.h"

namespace vorn::devicelisttool {
namespace {

using namespace std::chrono_literals;
using DeviceList::testing::Unit;
using DeviceList::testing::WithFirmware;
using DeviceList::testing::WithLatest;
using DeviceList::testing::WithModel;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

const auto kOutdated =
    WithLatest(WithModel(WithFirmware(Unit("Desk", "42"), {1, 2, 3, 4}), "24ai"), {1, 2, 4, 0});

std::ptrdiff_t CountOf(const std::string& text, const std::string& part) {
  std::ptrdiff_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(OpenMetricsTest, HasOneInformationAndOneMarkForEachUnit) {
  EXPECT_EQ(
      UnitMetrics({kOutdated, Unit("Rack", "7", DeviceList::kTypeSwitch)},
                  std::chrono::system_clock::time_point(1700000000900ms)),
      "# TYPE vorn_unit_info gauge\n"
      "# HELP vorn_unit_info A unit of the list. The labels say what is known about it.\n"
      "vorn_unit_info{url=\"http://42.local/\",name=\"Desk\",kind=\"device\",model=\"24ai\","
      "firmware=\"1.2.3+4\",newest=\"1.2.4+0\"} 1\n"
      "vorn_unit_info{url=\"http://7.local/\",name=\"Rack\",kind=\"switch\",model=\"\","
      "firmware=\"\",newest=\"\"} 1\n"
      "# TYPE vorn_update_available gauge\n"
      "# HELP vorn_update_available Whether the firmware of the unit is older than the newest of its model.\n"
      "vorn_update_available{url=\"http://42.local/\"} 1\n"
      "vorn_update_available{url=\"http://7.local/\"} 0\n"
      "# TYPE vorn_updates_available gauge\n"
      "# HELP vorn_updates_available The number of units with a newer firmware.\n"
      "vorn_updates_available 1\n"
      "# TYPE vorn_list_timestamp_seconds gauge\n"
      "# HELP vorn_list_timestamp_seconds When the program last could look for units, in Unix time.\n"
      "vorn_list_timestamp_seconds 1700000000\n"
      "# EOF\n");
}

TEST(OpenMetricsTest, WithoutUnitsAndWithoutALookHasNoSampleOfThese) {
  const std::string text = UnitMetrics({}, {});
  EXPECT_THAT(text, AllOf(HasSubstr("vorn_updates_available 0\n"), EndsWith("\n# EOF\n")));
  EXPECT_THAT(text, AllOf(Not(HasSubstr("{")), Not(HasSubstr("timestamp"))));
}

TEST(OpenMetricsTest, UnitsWithOneNameAreTwoSeries) {
  const std::string text = UnitMetrics({Unit("Desk", "1"), Unit("Desk", "2")}, {});
  EXPECT_THAT(text, HasSubstr("vorn_update_available{url=\"http://1.local/\"} 0\n"
                              "vorn_update_available{url=\"http://2.local/\"} 0\n"));
}

TEST(OpenMetricsTest, UrlsThatBecomeOneLabelAreOneSeriesTheFirst) {
  const std::string longer(400, 'x');
  const auto outdated = WithLatest(WithFirmware(Unit("second", "\xff"), {1, 0, 0, 0}), {2, 0, 0, 0});
  const std::string text = UnitMetrics(
      {Unit("first", "\xfe"), outdated, Unit("third", longer + "1"), Unit("fourth", longer + "2")}, {});
  EXPECT_EQ(CountOf(text, "vorn_unit_info{"), 2);
  EXPECT_EQ(CountOf(text, "vorn_update_available{"), 2);
  EXPECT_THAT(text,
              AllOf(HasSubstr("\"first\""), HasSubstr("\"third\""), HasSubstr("vorn_updates_available 0\n")));
}

TEST(OpenMetricsTest, StrangersBytesAreEscapedOrReplaced) {
  const auto nameOf = [](const std::string& name) {
    const std::string text = UnitMetrics({Unit(name, "1")}, {});
    const auto begin = text.find(",name=\"") + 7;
    return text.substr(begin, text.find("\",kind=", begin) - begin);
  };
  EXPECT_EQ(nameOf("the \"big\" one\\"), R"(the \"big\" one\\)");
  EXPECT_EQ(nameOf("two\nlines\r"), "two\\nlines\uFFFD");
  EXPECT_EQ(nameOf(std::string("\0\033\x7f\xff\u202e", 7)), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(nameOf("\"} 1\nvorn_updates_available 99\n"), "\\\"} 1\\nvorn_updates_available 99\\n");
  EXPECT_EQ(nameOf("机架 é"), "机架 é");
}

TEST(OpenMetricsTest, LabelsAreBounded) {
  auto unit = WithModel(Unit(std::string(4096, 'n'), "1"), std::string(256, 'm'));
  unit.type = std::string(1000, 't');
  const std::string text = UnitMetrics({unit}, {});
  EXPECT_THAT(text, HasSubstr("name=\"" + std::string(255, 'n') + "\u2026\""));
  EXPECT_THAT(text, HasSubstr("model=\"" + std::string(256, 'm') + "\""));
  EXPECT_THAT(text, HasSubstr("kind=\"" + std::string(255, 't') + "\u2026\""));
}

}  // namespace
}  // namespace vorn::devicelisttool
