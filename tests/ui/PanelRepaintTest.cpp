#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QScrollBar>
#include <set>

#include "tests/ui/PanelFixture.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PanelRepaint : public PanelFixture {
 protected:
  void watch() {
    settle();
    const auto* rows = qobject_cast<DeviceRowDelegate*>(table()->itemDelegate());
    QObject::connect(rows, &DeviceRowDelegate::rowPainted, rows, [this](int row) { fPainted.insert(row); });
    fPainted.clear();
  }

  std::multiset<int> fPainted;
};

TEST_F(PanelRepaint, OneChangedDeviceRepaintsItsRowOnly) {
  open(Devices(30));
  watch();
  List list = Devices(30);
  list[4].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  fOwner.publish(list);
  settle();
  EXPECT_THAT(fPainted, ElementsAre(4));
}

TEST_F(PanelRepaint, ChangedSpansRepaintTheirRowsOnly) {
  open(Devices(30));
  watch();
  List list = Devices(30);
  for (const std::size_t row : {1U, 2U, 6U}) list[row].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  fOwner.publish(list);
  settle();
  EXPECT_THAT(fPainted, ElementsAre(1, 2, 6));
}

TEST_F(PanelRepaint, TheSameListRepaintsNothing) {
  open(Devices(30));
  watch();
  for (int i = 0; i < 20; ++i) {
    fOwner.publish(Devices(30));
    settle();
  }
  EXPECT_THAT(fPainted, IsEmpty());
}

TEST_F(PanelRepaint, AChangeOutsideTheViewportRepaintsNothing) {
  open(Devices(1000));
  watch();
  List list = Devices(1000);
  list[900].name = std::string("unit0900 renamed");
  fOwner.publish(list);
  settle();
  EXPECT_THAT(fPainted, IsEmpty());
}

// Twenty lists a second for three seconds, as one unit's firmware flaps.
TEST_F(PanelRepaint, FrequentListsKeepHoverSelectionAndScrollPositionWithoutFlicker) {
  open(Devices(1000));
  table()->verticalScrollBar()->setValue(5000);
  settle();
  const QModelIndex hovered = table()->indexAt(QPoint(20, 100));
  QTest::mouseMove(table()->viewport(), QPoint(20, 100));
  ASSERT_EQ(selected(), hovered.row());
  watch();
  const std::size_t flapping = static_cast<std::size_t>(hovered.row()) + 2;
  List list = Devices(1000);
  for (std::uint64_t i = 0; i < 60; ++i) {
    list[flapping].firmwareVersion = FirmwareVersion{1, 0, i, 0};
    fOwner.publish(list);
    settle();
    ASSERT_EQ(selected(), hovered.row());
    ASSERT_EQ(table()->verticalScrollBar()->value(), 5000);
  }
  EXPECT_EQ(fPainted.size(), 60U);
  EXPECT_EQ(std::set<int>(fPainted.begin(), fPainted.end()).size(), 1U);
}

// A device that comes and goes above the viewport moves neither the rows that are seen nor the hover.
TEST_F(PanelRepaint, FlappingAboveTheViewportMovesNothing) {
  open(Devices(300));
  table()->verticalScrollBar()->setValue(4000);
  settle();
  QTest::mouseMove(table()->viewport(), QPoint(20, 100));
  const std::string url = fOwner.panelController()->model().deviceAt(selected())->url;
  const int top = table()->visualRect(table()->model()->index(selected(), 0)).top();
  for (int i = 0; i < 20; ++i) {
    List list = Devices(300);
    if (i % 2 == 0) list.insert(list.begin() + 3, Device("flapping"));
    fOwner.publish(list);
    settle();
    ASSERT_EQ(fOwner.panelController()->model().deviceAt(selected())->url, url);
    ASSERT_EQ(table()->visualRect(table()->model()->index(selected(), 0)).top(), top);
  }
}

TEST_F(PanelRepaint, AThousandRowsPaintOnlyWhatIsSeen) {
  open(Devices(1000));
  watch();
  for (int value = 0; value < 36000; value += 600) {
    table()->verticalScrollBar()->setValue(value);
    fPainted.clear();
    table()->viewport()->repaint();
    ASSERT_LE(fPainted.size(),
              static_cast<std::size_t>(table()->viewport()->height() / TableCellView::kHeight + 2));
  }
}

}  // namespace
}  // namespace vorn::ui
