#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/SafeText.h"
#include "tests/devicelist/Units.h"
#include "vorn-device-list/ListForms.h"

namespace vorn::devicelisttool {
namespace {

using DeviceList::testing::Unit;
using DeviceList::testing::WithFirmware;
using DeviceList::testing::WithLatest;
using DeviceList::testing::WithModel;
using ::testing::Each;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class UnitTableTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

std::vector<std::string> LinesOf(const std::string& table) {
  std::vector<std::string> lines;
  std::istringstream stream(table);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

const auto kOutdated =
    WithLatest(WithModel(WithFirmware(Unit("Desk", "42"), {1, 2, 3, 4}), "24ai"), {1, 2, 4, 0});

TEST_F(UnitTableTest, WithoutUnitsSaysSo) {
  EXPECT_EQ(UnitTable({}, {}), "No Local Devices Found.\n");
  EXPECT_EQ(UnitTable({}, {true, 80, 24}), "No Local Devices Found.\n");
}

TEST_F(UnitTableTest, AlignsItsColumns) {
  EXPECT_EQ(UnitTable({kOutdated, Unit("Rack switch", "7", DeviceList::kTypeSwitch),
                       Unit("Third", "9", DeviceList::kTypeHost)},
                      {}),
            "NAME         KIND    MODEL  FIRMWARE  NEWEST   URL               UPDATE\n"
            "Desk         device  24ai   1.2.3+4   1.2.4+0  http://42.local/  update\n"
            "Rack switch  switch  -      -         -        http://7.local/\n"
            "Third        host    -      -         -        http://9.local/\n");
}

TEST_F(UnitTableTest, AlignsByCellsNotByBytes) {
  const auto lines = LinesOf(UnitTable({Unit("机架"), Unit("é"), Unit("abcd")}, {}));
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_THAT(lines[1], StartsWith("机架  device"));
  EXPECT_THAT(lines[2], StartsWith("é     device"));
  EXPECT_THAT(lines[3], StartsWith("abcd  device"));
}

TEST_F(UnitTableTest, StrangersBytesStayOnTheirLineAndGiveNoOrders) {
  auto hostile = Unit(
      "\033[2J\r\nroot# \xc2\x9b"
      "31m\xff",
      "1");
  hostile.url = "http://\033]0;title\a/";
  hostile.modelID = std::string("a\tb\0c", 5);
  const std::string table = UnitTable({hostile, Unit("next", "2")}, {});
  EXPECT_EQ(LinesOf(table).size(), 3U);
  for (const char c : table) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20) << int{c};
  EXPECT_THAT(table, Not(HasSubstr("\xc2\x9b")));
}

TEST_F(UnitTableTest, LongTextsAreElided) {
  auto unit = Unit(std::string(1000, 'n'));
  unit.modelID = std::string(1000, 'm');
  unit.url = "http://" + std::string(1000, 'u') + "/";
  const auto lines = LinesOf(UnitTable({unit}, {}));
  EXPECT_LT(CellWidth(SafeText(lines[1])), 200U);
  EXPECT_THAT(lines[1], HasSubstr(std::string(39, 'n') + "…  device"));
}

TEST_F(UnitTableTest, MarksWithoutWidthCannotFloodALine) {
  std::string name = "a";
  for (int i = 0; i < 100'000; ++i) name += "\u0301";
  EXPECT_LT(UnitTable({Unit(name)}, {}).size(), 5000U);
}

TEST_F(UnitTableTest, ColoursHeadingAndUnitsWithAnUpdateOnlyWhenWanted) {
  const auto colored = LinesOf(UnitTable({kOutdated, Unit("Rack", "7")}, {true, 0, 0}));
  ASSERT_EQ(colored.size(), 3U);
  EXPECT_THAT(colored[0], StartsWith("\033[1mNAME"));
  EXPECT_THAT(colored[0], EndsWith("\033[0m"));
  EXPECT_THAT(colored[1], StartsWith("\033[33mDesk"));
  EXPECT_THAT(colored[1], EndsWith("update\033[0m"));
  EXPECT_THAT(colored[2], Not(HasSubstr("\033")));
  EXPECT_THAT(UnitTable({kOutdated}, {}), Not(HasSubstr("\033")));
}

TEST_F(UnitTableTest, NarrowTerminalTakesFromTheUrlFirst) {
  auto unit = kOutdated;
  unit.url = "http://a-rather-long-host-name.local:8080/";
  for (std::size_t width = 70; width >= 60; --width) {
    const auto lines = LinesOf(UnitTable({unit}, {false, width, 0}));
    for (const auto& line : lines) EXPECT_LE(CellWidth(SafeText(line)), width);
    EXPECT_THAT(lines[1], StartsWith("Desk  device  24ai   1.2.3+4   1.2.4+0  http://")) << width;
    EXPECT_THAT(lines[1], EndsWith("…  update")) << width;
  }
}

TEST_F(UnitTableTest, NarrowTerminalTakesFromTheNameNext) {
  auto unit = kOutdated;
  unit.name = std::string("A name of some forty cells, as it comes");
  unit.url = "http://a-rather-long-host-name.local:8080/";
  const auto lines = LinesOf(UnitTable({unit}, {false, 72, 0}));
  EXPECT_LE(CellWidth(SafeText(lines[1])), 72U);
  EXPECT_THAT(lines[1], StartsWith("A name of so"));
  EXPECT_THAT(lines[1], EndsWith("  update"));
}

TEST_F(UnitTableTest, MarkStaysHoweverNarrowTheTerminal) {
  auto unit = kOutdated;
  unit.name = std::string("A name of some forty cells, as it comes");
  unit.url = "http://a-rather-long-host-name.local:8080/";
  for (std::size_t width = 6; width < 120; ++width) {
    EXPECT_THAT(LinesOf(UnitTable({unit}, {false, width, 0}))[1], EndsWith("update")) << width;
  }
  const std::string table = UnitTable({unit, Unit("Rack")}, {false, 40, 0});
  EXPECT_EQ(table,
            "NAME             MODEL  FIRMWARE  UPDATE\n"
            "A name of some\xe2\x80\xa6  24ai   1.2.3+4   update\n"
            "Rack             -      -\n");
}

TEST_F(UnitTableTest, LineNeverExceedsTheTerminal) {
  auto unit = kOutdated;
  unit.name = std::string("机架机架机架机架");
  for (std::size_t width = 1; width < 100; ++width) {
    for (const auto& table :
         {UnitTable({unit, Unit("b")}, {false, width, 0}), UnitTable({}, {false, width, 0}),
          UnitTable({unit, Unit("b")}, {false, width, 2})}) {
      for (const auto& line : LinesOf(table)) EXPECT_LE(CellWidth(SafeText(line)), width);
    }
  }
}

TEST_F(UnitTableTest, LowTerminalShowsHowManyMoreThereAre) {
  Units units;
  for (int i = 0; i < 20; ++i) units.push_back(Unit("Unit " + std::to_string(i), std::to_string(i)));
  const auto lines = LinesOf(UnitTable(units, {false, 80, 10}));
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines.back(), "... and 12 more");  // eight are shown
  EXPECT_EQ(LinesOf(UnitTable(units, {false, 80, 21})).size(), 21U);
  EXPECT_THAT(LinesOf(UnitTable(units, {false, 80, 21})), Each(Not(HasSubstr("more"))));
}

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

const std::string kCSVHeader = "name,kind,model,firmware,newest,url,uid,update\r\n";

TEST(UnitCSVTest, IsAHeaderAndARecordForEachUnit) {
  EXPECT_EQ(UnitCSV({}), kCSVHeader);
  EXPECT_EQ(UnitCSV({kOutdated, Unit("Rack", "7", DeviceList::kTypeSwitch), Unit("Third", "", "unheard")}),
            kCSVHeader +
                "Desk,device,24ai,1.2.3+4,1.2.4+0,http://42.local/,42,true\r\n"
                "Rack,switch,,,,http://7.local/,7,false\r\n"
                "Third,unheard,,,,http://.local/,,false\r\n");
}

TEST(UnitCSVTest, AnEmptyFirstFieldStaysAField) {
  EXPECT_THAT(UnitCSV({Unit("", "1")}), EndsWith("\r\n,device,,,,http://1.local/,1,false\r\n"));
}

TEST(UnitCSVTest, StrangersBytesStayInTheirField) {
  const auto record = [](const std::string& name) {
    return UnitCSV({Unit(name, "1")}).substr(kCSVHeader.size());
  };
  const std::string rest = ",device,,,,http://1.local/,1,false\r\n";
  EXPECT_EQ(record("Desk, left"), "\"Desk, left\"" + rest);
  EXPECT_EQ(record("the \"big\" one"), "\"the \"\"big\"\" one\"" + rest);
  EXPECT_EQ(record("two\nlines"), "\"two\nlines\"" + rest);
  EXPECT_EQ(record("\r\n"), "\"\uFFFD\n\"" + rest);
  EXPECT_EQ(record(std::string("a\0b\033[2J\t\x7f\xff\xc2\x9b\u202e", 15)),
            "a\uFFFDb\uFFFD[2J\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD" + rest);
  EXPECT_EQ(record("机架 é"), "机架 é" + rest);
}

}  // namespace
}  // namespace vorn::devicelisttool
