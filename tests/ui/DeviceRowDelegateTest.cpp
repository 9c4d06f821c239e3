#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <cstdint>
#include <limits>

#include "tests/ui/Devices.h"
#include "tests/ui/PanelFixture.h"
#include "ui/DeviceListModel.h"
#include "ui/DeviceRowDelegate.h"

namespace vorn::ui {
namespace {

const QColor kStyles(10, 200, 30);  // what the toolkit's style has drawn before
const QColor kBase(250, 250, 250);

QColor Drawn(const CustomHighlightRowView& view) {
  QImage image(4, 4, QImage::Format_ARGB32_Premultiplied);
  image.fill(kStyles);
  QPalette palette;
  palette.setColor(QPalette::Base, kBase);
  QPainter painter(&image);
  painter.setCompositionMode(QPainter::CompositionMode_Clear);  // not relevant for the row
  view.drawSelectionInRect(painter, image.rect(), palette);
  return image.pixelColor(1, 1);
}

QColor Over(double alpha) {
  const auto mix = [alpha](int from, int to) {
    return static_cast<int>(from * (1 - alpha) + to * alpha + 0.5);
  };
  return {mix(kBase.red(), 0), mix(kBase.green(), 161), mix(kBase.blue(), 240)};
}

void ExpectNear(const QColor& a, const QColor& b) {
  EXPECT_NEAR(a.red(), b.red(), 2);
  EXPECT_NEAR(a.green(), b.green(), 2);
  EXPECT_NEAR(a.blue(), b.blue(), 2);
  EXPECT_EQ(a.alpha(), 255);
}

TEST(CustomHighlightRowViewTest, HasItsIdentifierAndTheNormalColour) {
  EXPECT_STREQ(CustomHighlightRowView::kIdentifier, "RowView");
  const CustomHighlightRowView view;
  EXPECT_EQ(view.highlightColor(), CustomHighlightRowView::normalColor());
  EXPECT_NEAR(view.highlightColor().redF(), 0, 1e-4);
  EXPECT_NEAR(view.highlightColor().greenF(), 161.0 / 255, 1e-4);
  EXPECT_NEAR(view.highlightColor().blueF(), 240.0 / 255, 1e-4);
  EXPECT_NEAR(view.highlightColor().alphaF(), 0.15, 1e-4);
  EXPECT_NEAR(CustomHighlightRowView::pressedColor().alphaF(), 0.3, 1e-4);
}

TEST(CustomHighlightRowViewTest, DrawsTheRowsBackgroundAndItsColourOverTheSelection) {
  CustomHighlightRowView view;
  ExpectNear(Drawn(view), Over(0.15));
  view.setHighlightColor(CustomHighlightRowView::pressedColor());
  ExpectNear(Drawn(view), Over(0.3));
}

TEST(CustomHighlightRowViewTest, DrawsNothingWithoutTheRegularStyle) {
  CustomHighlightRowView view;
  view.setSelectionStyle(CustomHighlightRowView::SelectionStyle::None);
  EXPECT_EQ(Drawn(view), kStyles);
}

class TableCellViewTest : public testing::Test {
 protected:
  const TableCellView& cell(List list, int row = 0) {
    fModel.setList(Shared(std::move(list)));
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

TEST_F(TableCellViewTest, SaysModelAndFirmwareBelowTheName) {
  DeviceList::ExtendedDeviceInfo info = Device("anna", {1, 4, 0, 290}, {1, 4, 2, 311});
  info.modelID = std::string("Vorn 16A");
  const QFontMetrics metrics(QApplication::font());
  EXPECT_EQ(cell({info}).secondLine(metrics, 1000), "Vorn 16A \u00B7 1.4.0 \u2192 1.4.2");
  EXPECT_EQ(fCell.text(), "anna");
  EXPECT_EQ(cell({Device("anna")}).secondLine(metrics, 1000), "");
  EXPECT_EQ(cell({}).secondLine(metrics, 1000), "");
}

TEST_F(TableCellViewTest, ElidesTheModelBeforeTheFirmware) {
  DeviceList::ExtendedDeviceInfo info = Device("anna", {1, 4, 0, 290}, {1, 4, 2, 311});
  info.modelID = std::string(300, 'W');
  const QFontMetrics metrics(QApplication::font());
  const int width = metrics.horizontalAdvance("1.4.0 \u2192 1.4.2 and some more");
  const QString line = cell({info}).secondLine(metrics, width);
  EXPECT_TRUE(line.startsWith("W")) << line.toStdString();
  EXPECT_TRUE(line.endsWith("\u2026 \u00B7 1.4.0 \u2192 1.4.2")) << line.toStdString();
  EXPECT_LE(metrics.horizontalAdvance(line), width);
}

TEST_F(TableCellViewTest, KeepsTheEndsOfVersionsThatDoNotFit) {
  constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
  DeviceList::ExtendedDeviceInfo info = Device("anna", {1, kHuge, kHuge, 1}, {2, kHuge, 7, 1});
  info.modelID = std::string("Vorn 16A");
  const QFontMetrics metrics(QApplication::font());
  const int width = metrics.horizontalAdvance("1.18446744 and 744.7");
  const QString line = cell({info}).secondLine(metrics, width);
  EXPECT_TRUE(line.startsWith("1.18")) << line.toStdString();
  EXPECT_TRUE(line.endsWith(".7")) << line.toStdString();
  EXPECT_LE(metrics.horizontalAdvance(line), width);
}

// --- rows of a panel ------------------------------------------------------

class DeviceRowDelegateTest : public PanelFixture {
 protected:
  QImage rowImage(int row) const {
    const QRect rect = table()->visualRect(table()->model()->index(row, 0));
    return table()->viewport()->grab(rect).toImage();
  }
};

// A unit's name from the network changes no pixel of the rows beside it.
TEST_F(DeviceRowDelegateTest, HostileNamesDoNotDisturbTheirNeighbours) {
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

TEST_F(DeviceRowDelegateTest, ARightToLeftNameStartsBesideItsImageAndSparesTheBadge) {
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

TEST_F(DeviceRowDelegateTest, LongNamesAreElidedAndWholeInTheToolTip) {
  const std::string name = "The quite long name of an interface in the machine room on the third floor";
  open({Device(name)});
  const QImage row = rowImage(0);
  const QColor background = row.pixelColor(3, 3);
  for (int y = 0; y < row.height(); ++y) ASSERT_EQ(row.pixelColor(row.width() - 4, y), background);
  EXPECT_TRUE(
      table()->model()->index(0, 0).data(Qt::ToolTipRole).toString().contains(QString::fromStdString(name)));
}

TEST_F(DeviceRowDelegateTest, BadgeIsShownForOlderFirmwareOnly) {
  List list{Device("anna", {1, 0, 0, 0}, {1, 0, 0, 0})};
  open(list);
  const QImage without = rowImage(0);
  list[0].latestVersion = FirmwareVersion{1, 0, 1, 0};
  fOwner.publish(list);
  settle();
  const QImage with = rowImage(0);
  EXPECT_NE(with.copy(200, 0, 120, with.height()), without.copy(200, 0, 120, without.height()));
  const int upper = with.height() / 2;
  EXPECT_EQ(with.copy(0, 0, 150, upper), without.copy(0, 0, 150, upper)) << "the name stays as it is";
}

TEST_F(DeviceRowDelegateTest, ModelAndFirmwareAreBelowTheName) {
  List list{Device("anna"), Device("berta")};
  open(list);
  const QImage alone = rowImage(0);
  list[0].modelID = std::string("Vorn 16A");
  fOwner.publish(list);
  settle();
  const QImage withModel = rowImage(0);
  EXPECT_NE(withModel, alone);
  list[0].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  fOwner.publish(list);
  settle();
  EXPECT_NE(rowImage(0), withModel);
  const int upper = alone.height() / 2;
  EXPECT_EQ(rowImage(0).copy(0, 0, alone.width(), upper), withModel.copy(0, 0, alone.width(), upper));
  EXPECT_EQ(table()->model()->index(0, 0).data().toString(), "anna");
  QAccessibleInterface* row = QAccessible::queryAccessibleInterface(table())->child(0);
  EXPECT_EQ(row->text(QAccessible::Description), "Vorn 16A");
}

TEST_F(DeviceRowDelegateTest, NamesThatDifferAtTheirEndsLookDifferent) {
  const std::string long_name = "The quite long name of an interface in the machine room number ";
  open({Device(long_name + "1"), Device(long_name + "2")});
  table()->deselectAll();
  EXPECT_NE(rowImage(0), rowImage(1));
}

TEST_F(DeviceRowDelegateTest, KindsAreToldByTheirImages) {
  open({Device("a", "plexadevice"), Device("a", "plexahost"), Device("a", "plexaswitch"),
        Device("a", "toaster")});
  table()->deselectAll();
  const auto icon = [&](int row) { return rowImage(row).copy(0, 0, 40, table()->sizeHintForRow(0)); };
  EXPECT_NE(icon(0), icon(1));
  EXPECT_NE(icon(1), icon(2));
  const QImage none = icon(3);
  const QColor background = none.pixelColor(1, 1);
  for (int x = 0; x < none.width(); ++x) {
    for (int y = 0; y < none.height(); ++y) ASSERT_EQ(none.pixelColor(x, y), background);
  }
}

TEST_F(DeviceRowDelegateTest, EachRowReadsAsOneSentence) {
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

}  // namespace
}  // namespace vorn::ui
