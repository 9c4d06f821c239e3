#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>
#include <set>

#include "tests/ui/PanelFixture.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ReturnIsDoubleClickTableViewTest : public PanelFixture {};

// --- the pointer ----------------------------------------------------------

TEST_F(ReturnIsDoubleClickTableViewTest, HoveringMovesTheSelection) {
  open(kThree);
  hover(2);
  EXPECT_EQ(selected(), 2);
  hover(1);
  EXPECT_EQ(selected(), 1);
}

TEST_F(ReturnIsDoubleClickTableViewTest, ThePointerComingBackToARowSelectsItAnew) {
  open(kThree);
  hover(1);
  key(Qt::Key_Down);
  QEvent leave(QEvent::Leave);
  QCoreApplication::sendEvent(table()->viewport(), &leave);
  QTest::mouseMove(table()->viewport(), middleOf(1) + QPoint(5, 2));
  EXPECT_EQ(selected(), 1);
}

TEST_F(ReturnIsDoubleClickTableViewTest, ThePointerSelectsNothingWhileAButtonIsDown) {
  open(kThree);
  press(0);
  QMouseEvent drag(QEvent::MouseMove, middleOf(2), table()->viewport()->mapToGlobal(middleOf(2)),
                   Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(table()->viewport(), &drag);
  EXPECT_EQ(selected(), 0);
  release(middleOf(2));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(ReturnIsDoubleClickTableViewTest, TurningTheWheelSelectsTheRowThatComesUnderThePointer) {
  List list;
  for (int i = 100; i < 200; ++i) list.push_back(Device("unit " + std::to_string(i)));
  open(list);
  hover(1);
  const QPoint place = middleOf(1);
  QWheelEvent turn(place, table()->viewport()->mapToGlobal(place), QPoint(0, -400), QPoint(0, -1200),
                   Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
  QCoreApplication::sendEvent(table()->viewport(), &turn);
  EXPECT_GT(table()->verticalScrollBar()->value(), 0);
  EXPECT_EQ(selected(), table()->indexAt(place).row());
  EXPECT_GT(selected(), 1);
}

TEST_F(ReturnIsDoubleClickTableViewTest, MovingInsideARowDoesNotUndoTheKeys) {
  open(kThree);
  hover(1);
  key(Qt::Key_Down);
  EXPECT_EQ(selected(), 2);
  QTest::mouseMove(table()->viewport(), middleOf(1) + QPoint(5, 2));
  EXPECT_EQ(selected(), 2);
}

// --- keys ----------------------------------------------------------------

TEST_F(ReturnIsDoubleClickTableViewTest, ReturnAndEnterOpenTheSelectedRow) {
  for (const Qt::Key which : {Qt::Key_Return, Qt::Key_Enter}) {
    fOwner.fOpened.clear();
    open(kThree);
    key(Qt::Key_Down);
    key(which);
    EXPECT_THAT(fOwner.fOpened, ElementsAre(Device("berta").url));
    EXPECT_FALSE(isOpen());
    settle();
  }
}

TEST_F(ReturnIsDoubleClickTableViewTest, ArrowsHomeAndEndMoveTheSelection) {
  open(Devices(100));
  key(Qt::Key_Down);
  key(Qt::Key_Down);
  key(Qt::Key_Up);
  EXPECT_EQ(selected(), 1);
  key(Qt::Key_End);
  EXPECT_EQ(selected(), 99);
  EXPECT_TRUE(table()->viewport()->rect().contains(middleOf(99)));
  key(Qt::Key_Down);
  EXPECT_EQ(selected(), 99);
  key(Qt::Key_Home);
  EXPECT_EQ(selected(), 0);
  EXPECT_TRUE(table()->viewport()->rect().contains(middleOf(0)));
  key(Qt::Key_PageDown);
  EXPECT_GT(selected(), 3);
}

TEST_F(ReturnIsDoubleClickTableViewTest, TypingGoesToTheNameThatBeginsSo) {
  open({Device("anna"), Device("clara"), Device("clemens"), Device("dora")});
  QTest::keyClicks(QApplication::focusWidget(), "cle");
  EXPECT_EQ(selected(), 2);
}

TEST_F(ReturnIsDoubleClickTableViewTest, TabGoesToTheSettingsButtonAndBack) {
  open(kThree);
  EXPECT_EQ(QApplication::focusWidget(), table());
  key(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), fPanel->findChild<QToolButton*>("settings"));
  key(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), table());
}

TEST_F(ReturnIsDoubleClickTableViewTest, ReturnOnTheSettingsButtonOpensTheMenuNotADevice) {
  open(kThree);
  key(Qt::Key_Tab);
  key(Qt::Key_Return);
  EXPECT_TRUE(fOwner.panelController()->settingsMenu()->isVisible());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  fOwner.panelController()->settingsMenu()->close();
}

// --- scrolling ------------------------------------------------------------

TEST_F(ReturnIsDoubleClickTableViewTest, ListsKeepTheScrollPositionByDevice) {
  open(Devices(200));
  table()->verticalScrollBar()->setValue(1000);
  const QModelIndex top = table()->indexAt(QPoint(5, 5));
  const std::string url = fOwner.panelController()->model().deviceAt(top.row())->url;
  const int offset = table()->visualRect(top).top();
  List list = Devices(200);
  list.insert(list.begin(), Device("aaa"));
  list.erase(list.begin() + 10);
  list.insert(list.begin() + 12, Device("bbb"));
  fOwner.publish(list);
  settle();
  const int row = fOwner.panelController()->model().rowOfUrl(url);
  EXPECT_EQ(row, top.row() + 1);
  EXPECT_EQ(table()->visualRect(table()->model()->index(row, 0)).top(), offset);
}

TEST_F(ReturnIsDoubleClickTableViewTest, ATableAtItsTopStaysThere) {
  open(Devices(200));
  List list = Devices(200);
  list.insert(list.begin(), Device("aaa"));
  fOwner.publish(list);
  settle();
  EXPECT_EQ(table()->verticalScrollBar()->value(), 0);
  EXPECT_EQ(selected(), 1);
}

TEST_F(ReturnIsDoubleClickTableViewTest, HoveringARowAtTheEdgeDoesNotScroll) {
  open(Devices(200));
  table()->verticalScrollBar()->setValue(1010);
  const QModelIndex top = table()->indexAt(QPoint(5, 1));
  QTest::mouseMove(table()->viewport(), QPoint(5, 1));
  EXPECT_EQ(selected(), top.row());
  settle();
  EXPECT_EQ(table()->verticalScrollBar()->value(), 1010);
}

// --- repainting -----------------------------------------------------------

/// Draws the rows like the panel, and records which.
class NotedRows : public DeviceRowDelegate {
 public:
  NotedRows(ReturnIsDoubleClickTableView* table, std::multiset<int>& painted)
      : DeviceRowDelegate(table), fPainted(painted) {}
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    fPainted.insert(index.row());
    DeviceRowDelegate::paint(painter, option, index);
  }

 private:
  std::multiset<int>& fPainted;
};

class RowRepaintTest : public PanelFixture {
 protected:
  void watch() {
    table()->setItemDelegate(new NotedRows(table(), fPainted));
    settle();
    fPainted.clear();
  }

  std::multiset<int> fPainted;
};

TEST_F(RowRepaintTest, OneChangedDeviceRepaintsItsRowOnly) {
  open(Devices(30));
  watch();
  List list = Devices(30);
  list[4].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  fOwner.publish(list);
  settle();
  EXPECT_THAT(fPainted, ElementsAre(4));
}

TEST_F(RowRepaintTest, ChangedSpansRepaintTheirRowsOnly) {
  open(Devices(30));
  watch();
  List list = Devices(30);
  for (const std::size_t row : {1U, 2U, 6U}) list[row].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  fOwner.publish(list);
  settle();
  EXPECT_THAT(fPainted, ElementsAre(1, 2, 6));
}

TEST_F(RowRepaintTest, TheSameListRepaintsNothing) {
  open(Devices(30));
  watch();
  for (int i = 0; i < 20; ++i) {
    fOwner.publish(Devices(30));
    settle();
  }
  EXPECT_THAT(fPainted, IsEmpty());
}

TEST_F(RowRepaintTest, AChangeOutsideTheViewportRepaintsNothing) {
  open(Devices(1000));
  watch();
  List list = Devices(1000);
  list[900].name = std::string("unit0900 renamed");
  fOwner.publish(list);
  settle();
  EXPECT_THAT(fPainted, IsEmpty());
}

// Twenty lists a second for three seconds, as one unit's firmware flaps.
TEST_F(RowRepaintTest, FrequentListsKeepHoverSelectionAndScrollPositionWithoutFlicker) {
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

// A device that comes and goes above the viewport moves neither the visible rows nor the hover.
TEST_F(RowRepaintTest, FlappingAboveTheViewportMovesNothing) {
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

TEST_F(RowRepaintTest, AThousandRowsPaintOnlyWhatIsSeen) {
  open(Devices(1000));
  watch();
  for (int value = 0; value < 36000; value += 600) {
    table()->verticalScrollBar()->setValue(value);
    fPainted.clear();
    table()->viewport()->repaint();
    ASSERT_LE(fPainted.size(),
              static_cast<std::size_t>(table()->viewport()->height() / table()->sizeHintForRow(0) + 2));
  }
}

}  // namespace
}  // namespace vorn::ui
