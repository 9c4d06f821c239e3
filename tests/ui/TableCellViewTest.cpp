#include <gtest/gtest.h>

#include "tests/ui/Devices.h"
#include "ui/DeviceListModel.h"
#include "ui/TableCellView.h"

namespace vorn::ui {
namespace {

class TableCellViewTest : public testing::Test {
 protected:
  const TableCellView& cell(List list, int row = 0) {
    fModel.setList(std::move(list));
    fCell.fill(fModel.index(row, 0));
    return fCell;
  }

  DeviceListModel fModel;
  TableCellView fCell;
};

TEST_F(TableCellViewTest, HasItsIdentifier) {
  EXPECT_STREQ(TableCellView::kIdentifier, "DeviceListEntryView");
}

TEST_F(TableCellViewTest, SaysThatNothingIsListedWithoutImageAndBadge) {
  cell({Device("anna", {1, 0, 0, 0}, {2, 0, 0, 0})});
  cell({});
  EXPECT_EQ(fCell.text(), "No Local Devices Found.");
  EXPECT_EQ(fCell.imageName(), "");
  EXPECT_FALSE(fCell.updateBadgeShown());
}

TEST_F(TableCellViewTest, TakesNameAndImageFromItsRow) {
  for (const char* type : {"plexadevice", "plexaswitch", "plexahost"}) {
    EXPECT_EQ(cell({Device("other"), Device("anna", type)}, 1).text(), "anna");
    EXPECT_EQ(fCell.imageName(), type);
  }
  EXPECT_EQ(cell({Device("anna", "toaster")}).imageName(), "");
  EXPECT_EQ(fCell.text(), "anna");
}

TEST_F(TableCellViewTest, ShowsTheBadgeForOlderFirmwareOnly) {
  DeviceList::ExtendedDeviceInfo info = Device("anna", {1, 4, 2, 310}, {1, 4, 2, 311});
  EXPECT_TRUE(cell({info}).updateBadgeShown());
  info.firmwareVersion = info.latestVersion;
  EXPECT_FALSE(cell({info}).updateBadgeShown());
  info.firmwareVersion = FirmwareVersion{1, 4, 2, 312};
  EXPECT_FALSE(cell({info}).updateBadgeShown());
  info.firmwareVersion.reset();
  EXPECT_FALSE(cell({info}).updateBadgeShown());
  info = Device("anna", {1, 0, 0, 0}, {2, 0, 0, 0});
  info.latestVersion.reset();
  EXPECT_FALSE(cell({info}).updateBadgeShown());
}

TEST_F(TableCellViewTest, IsEmptyForARowBeyondTheList) {
  cell({Device("anna", {1, 0, 0, 0}, {2, 0, 0, 0})}, 1);
  EXPECT_EQ(fCell.text(), "");
  EXPECT_EQ(fCell.imageName(), "");
  EXPECT_FALSE(fCell.updateBadgeShown());
  fCell.mouseEntered();  // selects nothing, as it belongs to no table
}

}  // namespace
}  // namespace vorn::ui
