#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "vorn-device-list/TextTable.h"

namespace vorn::devicelisttool {
namespace {

class TextTableTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(TextTableTest, WithoutRowsIsItsHeading) {
  EXPECT_EQ(TextTable({{"ONE"}, {"TWO"}}).Text({}), "ONE  TWO\n");
}

TEST_F(TextTableTest, AlignsColumnsByCellsAndEndsLinesWithoutBlanks) {
  TextTable table({{"ONE"}, {"TWO"}, {"THREE"}});
  table.AddRow({"机架", "e\u0301", "x"});
  table.AddRow({"a", "", ""});
  EXPECT_EQ(table.Text({}),
            "ONE   TWO  THREE\n"
            "机架  e\u0301    x\n"
            "a\n");
}

TEST_F(TextTableTest, StrangersBytesStayOnTheirLine) {
  TextTable table({{"A"}, {"B"}});
  table.AddRow({"\033[2J\r\n", "\xff"});
  EXPECT_EQ(table.Text({}), "A       B\n\uFFFD[2J\uFFFD\uFFFD  \uFFFD\n");
}

TEST_F(TextTableTest, ColumnWithABoundElidesLongerTexts) {
  TextTable table({{"A", 4}, {"B"}});
  table.AddRow({"abcdef", "abcdef"});
  EXPECT_EQ(table.Text({}), "A     B\nabc…  abcdef\n");
}

TEST_F(TextTableTest, ConcessionsAreMadeInTheirOrderUntilTheLinesFit) {
  TextTable table({{"A"}, {"B"}, {"C"}}, {{1, 3}, {2, 0}, {0, 2}});
  table.AddRow({"aaaaaa", "bbbbbb", "cccccc"});
  EXPECT_EQ(table.Text({false, 22, 0}), "A       B       C\naaaaaa  bbbbbb  cccccc\n");
  EXPECT_EQ(table.Text({false, 20, 0}), "A       B     C\naaaaaa  bbb…  cccccc\n");
  EXPECT_EQ(table.Text({false, 18, 0}), "A       B\naaaaaa  bb…\n");
  EXPECT_EQ(table.Text({false, 9, 0}), "A     B\naaa…  bb…\n");
}

TEST_F(TextTableTest, WidthThatIsLeftOverGoesToTheFirstColumn) {
  TextTable table({{"A"}, {"B"}}, {{0, 2}, {1, 0}});
  table.AddRow({"aaaaaa", "bbbbbb"});
  EXPECT_EQ(table.Text({false, 9, 0}), "A\naaaaaa\n");
}

TEST_F(TextTableTest, TooHighATableSaysHowManyRowsMoreThereAre) {
  TextTable table({{"A"}});
  for (const char* text : {"1", "2", "3"}) table.AddRow({text});
  EXPECT_EQ(table.Text({false, 0, 4}), "A\n1\n2\n3\n");
  EXPECT_EQ(table.Text({false, 0, 3}), "A\n1\n... and 2 more\n");
}

TEST_F(TextTableTest, ColourEmphasisesTheHeadingAndMarkedRows) {
  TextTable table({{"A"}});
  table.AddRow({"1"});
  table.AddRow({"2"}, true);
  EXPECT_EQ(table.Text({true, 0, 0}), "\033[1mA\033[0m\n1\n\033[33m2\033[0m\n");
  EXPECT_EQ(table.Text({}), "A\n1\n2\n");
}

}  // namespace
}  // namespace vorn::devicelisttool
