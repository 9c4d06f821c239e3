#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>
#include <QImage>

#include "tests/ui/PanelFixture.h"

namespace vorn::ui {
namespace {

class PanelText : public PanelFixture {
 protected:
  QImage rowImage(int row) const {
    const QRect rect = table()->visualRect(table()->model()->index(row, 0));
    return table()->viewport()->grab(rect).toImage();
  }
};

// What a stranger calls a unit changes no pixel of the rows beside it.
TEST_F(PanelText, HostileNamesDoNotDisturbTheirNeighbours) {
  const std::vector<std::string> hostile{"\xE2\x80\xAEgnirts desrever",
                                         "<b>bold</b><img src=x>",
                                         "two\nlines\r\nthree",
                                         std::string(5000, 'W'),
                                         "\xD7\x90\xD7\x95\xD7\x9C\xD7\xA4\xD7\x9F",
                                         "a\xCC\x81\xCC\x82\xCC\x83\xCC\x84\xCC\x85\xCC\x86\xCC\x87\xCC\x88",
                                         std::string("\0\1\2\3", 4),
                                         "\xFF\xFE\xFD"};
  open({Device("anna"), Device("middle"), Device("clara", {1, 0, 0, 0}, {2, 0, 0, 0})});
  const QImage above = rowImage(0);
  const QImage below = rowImage(2);
  for (const std::string& name : hostile) {
    List list = fOwner.fList;
    list[1].name = name;
    fOwner.publish(list);
    settle();
    EXPECT_EQ(rowImage(0), above) << name;
    EXPECT_EQ(rowImage(2), below) << name;
  }
}

TEST_F(PanelText, ARightToLeftNameStartsBesideItsImageAndSparesTheBadge) {
  DeviceList::ExtendedDeviceInfo info = Device("x", {1, 0, 0, 0}, {2, 0, 0, 0});
  info.name = std::string("\xD7\x90\xD7\x95\xD7\x9C\xD7\xA4\xD7\x9F");
  open({Device("plain", {1, 0, 0, 0}, {2, 0, 0, 0}), info, Device("badgeless")});
  table()->deselectAll();
  const QImage row = rowImage(1);
  const QColor background = row.pixelColor(3, 3);
  int first = -1;
  for (int x = 36; x < row.width() && first < 0; ++x) {
    for (int y = 0; y < row.height(); ++y) {
      if (row.pixelColor(x, y) != background) first = x;
    }
  }
  EXPECT_LT(first, 60);
  const auto badge = [this](int of) {
    const QImage image = rowImage(of);
    return image.copy(image.width() - 80, 0, 80, image.height());
  };
  EXPECT_EQ(badge(1), badge(0));
  EXPECT_NE(badge(1), badge(2));
}

TEST_F(PanelText, LongNamesAreElidedAndWholeInTheToolTip) {
  const std::string name = "The quite long name of an interface in the machine room on the third floor";
  open({Device(name)});
  const QImage row = rowImage(0);
  const QColor background = row.pixelColor(3, 3);
  for (int y = 0; y < row.height(); ++y) ASSERT_EQ(row.pixelColor(row.width() - 4, y), background);
  EXPECT_TRUE(
      table()->model()->index(0, 0).data(Qt::ToolTipRole).toString().contains(QString::fromStdString(name)));
}

TEST_F(PanelText, BadgeIsShownForOlderFirmwareOnly) {
  List list{Device("anna", {1, 0, 0, 0}, {1, 0, 0, 0})};
  open(list);
  const QImage without = rowImage(0);
  list[0].latestVersion = FirmwareVersion{1, 0, 1, 0};
  fOwner.publish(list);
  settle();
  const QImage with = rowImage(0);
  EXPECT_NE(with, without);
  EXPECT_EQ(with.copy(0, 0, 150, with.height()), without.copy(0, 0, 150, without.height()));
}

TEST_F(PanelText, KindsAreToldByTheirImages) {
  open({Device("a", "plexadevice"), Device("a", "plexahost"), Device("a", "plexaswitch"),
        Device("a", "toaster")});
  table()->deselectAll();
  const auto icon = [&](int row) { return rowImage(row).copy(0, 0, 40, TableCellView::kHeight); };
  EXPECT_NE(icon(0), icon(1));
  EXPECT_NE(icon(1), icon(2));
  const QImage none = icon(3);
  const QColor background = none.pixelColor(1, 1);
  for (int x = 0; x < none.width(); ++x) {
    for (int y = 0; y < none.height(); ++y) ASSERT_EQ(none.pixelColor(x, y), background);
  }
}

TEST_F(PanelText, EachRowReadsAsOneSentence) {
  open({Device("Studio A", {1, 3, 0, 0}, {1, 4, 2, 0}), Device("Core", "plexaswitch")});
  QAccessibleInterface* list = QAccessible::queryAccessibleInterface(table());
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->text(QAccessible::Name), "Devices");
  ASSERT_EQ(list->childCount(), 2);
  EXPECT_EQ(list->child(0)->text(QAccessible::Name),
            "Studio A, audio interface, firmware 1.3.0, update 1.4.2 available");
  EXPECT_EQ(list->child(1)->text(QAccessible::Name), "Core, AVB switch");
  EXPECT_TRUE(list->child(0)->state().selected);
}

TEST_F(PanelText, TheProgramHasTheNameThatPeopleRead) {
  QCoreApplication::setApplicationName("vorn-device-finder");
  QAccessibleInterface* program = QAccessible::queryAccessibleInterface(qApp);
  ASSERT_NE(program, nullptr);
  EXPECT_EQ(program->text(QAccessible::Name), "Vorn Device Finder");
  EXPECT_EQ(program->role(), QAccessible::Application);
  open({});
  EXPECT_EQ(QAccessible::queryAccessibleInterface(fPanel.data())->parent(), program);
}

TEST_F(PanelText, ThePanelIsADialogToAssistiveTools) {
  open({});
  QAccessibleInterface* panel = QAccessible::queryAccessibleInterface(fPanel.data());
  ASSERT_NE(panel, nullptr);
  EXPECT_EQ(panel->role(), QAccessible::Dialog);
  EXPECT_EQ(panel->text(QAccessible::Name), "Vorn Device Finder");
  QAccessibleInterface* list = QAccessible::queryAccessibleInterface(table());
  ASSERT_EQ(list->childCount(), 1);
  EXPECT_EQ(list->child(0)->text(QAccessible::Name), "No Local Devices Found.");
}

}  // namespace
}  // namespace vorn::ui
