#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QScrollBar>

#include "tests/ui/PanelFixture.h"
#include "ui/RecentMoves.h"

namespace vorn::ui {
namespace {

using std::chrono_literals::operator""ms;
using testing::ElementsAre;
using testing::IsEmpty;

/// A panel whose rows move by themselves while its user clicks and types.
class RecentMovesTest : public PanelFixture {
 protected:
  void pass(std::chrono::milliseconds time) { fOwner.fTime += time; }
  void expectOpened(const std::string& name) {
    EXPECT_THAT(fOwner.fOpened, ElementsAre(Device(name).url));
    EXPECT_FALSE(isOpen());
  }
  void expectNothingOpened() {
    EXPECT_THAT(fOwner.fOpened, IsEmpty());
    EXPECT_TRUE(isOpen());
  }
};

// --- clicks --------------------------------------------------------------

TEST_F(RecentMovesTest, AClickDoesNotOpenTheNeighbourOfADeviceThatHasJustGone) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[0], kThree[2]});  // clara comes under the pointer and is selected
  click(1);
  expectNothingOpened();
  pass(299ms);
  click(1);
  expectNothingOpened();
  pass(1ms);
  click(1);
  expectOpened("clara");
}

TEST_F(RecentMovesTest, AClickDoesNotOpenTheDeviceThatPushedAnotherOneAway) {
  open(kThree);
  hover(1);
  fOwner.publish({Device("aaron"), kThree[0], kThree[1], kThree[2]});  // anna comes under the pointer
  QTest::mouseMove(table()->viewport(), middleOf(1) + QPoint(5, 2));
  ASSERT_EQ(selected(), 1);
  click(1);
  expectNothingOpened();
  pass(300ms);
  click(1);
  expectOpened("anna");
}

TEST_F(RecentMovesTest, AClickOnTheDroppedDeviceSelectsIt) {
  open(kThree);
  hover(1);
  fOwner.publish({Device("aaron"), kThree[0], kThree[1], kThree[2]});
  click(1);
  EXPECT_EQ(selected(), 1);
  expectNothingOpened();
}

TEST_F(RecentMovesTest, AClickOnARowThatStoodStillOpensItAtOnce) {
  open(kThree);
  hover(0);
  fOwner.publish({kThree[0], kThree[2]});
  click(0);
  expectOpened("anna");
}

TEST_F(RecentMovesTest, NewContentsOfARowDelayNothing) {
  open(kThree);
  hover(1);
  List list = kThree;
  list[1].firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  list[1].name = std::string("berta in the attic");
  fOwner.publish(list);
  click(1);
  expectOpened("berta");
}

TEST_F(RecentMovesTest, ARowThatCameLongAgoOpensWhileOthersMove) {
  open(kThree);
  fOwner.publish({kThree[0], kThree[2]});
  hover(1);
  for (int i = 0; i < 4; ++i) {
    pass(100ms);
    fOwner.publish(i % 2 == 0 ? List{kThree[0], kThree[2], Device("dora")} : List{kThree[0], kThree[2]});
  }
  click(1);
  expectOpened("clara");
}

TEST_F(RecentMovesTest, TheUsersOwnScrollingDelaysNothing) {
  open(Devices(100));
  List list = Devices(100);
  list.insert(list.begin(), Device("aaa"));
  fOwner.publish(list);  // every visible row moves
  table()->verticalScrollBar()->setValue(2000);
  settle();
  const int row = table()->indexAt(QPoint(20, 100)).row();
  const std::string url = list.at(static_cast<std::size_t>(row)).url;
  hover(row);
  click(row);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(url));
}

TEST_F(RecentMovesTest, AClickDoesNotOpenTheNeighbourAfterAScrolledListHasShrunk) {
  open(Devices(30));
  table()->verticalScrollBar()->setValue(table()->verticalScrollBar()->maximum());
  settle();
  const int top = table()->indexAt(QPoint(20, 2)).row();
  table()->selectRow(top + 4);
  List list = Devices(30);
  list.erase(list.begin() + 26, list.end());
  list.erase(list.begin() + top);  // the row that the view would keep in its place
  fOwner.publish(list);
  const int row = table()->indexAt(QPoint(20, 100)).row();
  table()->selectRow(row);
  click(row);
  expectNothingOpened();
}

TEST_F(RecentMovesTest, AClickOnTheFirstListOfAnOpenPanelWasAimedAtNothing) {
  open({});
  hover(0);
  fOwner.publish(kThree);
  click(0);
  expectNothingOpened();
  pass(300ms);
  click(0);
  expectOpened("anna");
}

// At a lower bar, a higher panel moves its rows up on the screen.
TEST_F(RecentMovesTest, AClickWhileThePanelGrewUpwardOpensNothing) {
  fOwner.fPlace = PanelPlace{QRect(0, 0, 600, 600), true, 0};
  open(kThree);
  hover(0);
  fOwner.publish({kThree[0], kThree[1], kThree[2], Device("dora")});
  click(0);
  expectNothingOpened();
  pass(300ms);
  click(0);
  expectOpened("anna");
}

TEST_F(RecentMovesTest, ReturnOpensTheSelectedDeviceAlsoWhileThePanelGrows) {
  fOwner.fPlace = PanelPlace{QRect(0, 0, 600, 600), true, 0};
  open(kThree);
  key(Qt::Key_Down);
  fOwner.publish({kThree[0], kThree[1], kThree[2], Device("dora")});
  key(Qt::Key_Return);
  expectOpened("berta");
}

TEST_F(RecentMovesTest, AClickWhileThePanelGrewDownwardOpensItsRow) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[0], kThree[1], kThree[2], Device("dora")});
  click(1);
  expectOpened("berta");
}

// --- keys ----------------------------------------------------------------

TEST_F(RecentMovesTest, ReturnDoesNotOpenTheHeirOfTheSelection) {
  open(kThree);
  key(Qt::Key_Down);
  fOwner.publish({kThree[0], kThree[2]});
  ASSERT_EQ(selected(), 1);
  key(Qt::Key_Return);
  expectNothingOpened();
  pass(299ms);
  key(Qt::Key_Enter);
  expectNothingOpened();
  pass(1ms);
  key(Qt::Key_Return);
  expectOpened("clara");
}

TEST_F(RecentMovesTest, ReturnOpensTheSelectedDeviceWhereverItHasMoved) {
  open(kThree);
  key(Qt::Key_Down);
  fOwner.publish({Device("aaron"), kThree[2], kThree[0], kThree[1]});
  ASSERT_EQ(selected(), 3);
  key(Qt::Key_Return);
  expectOpened("berta");
}

TEST_F(RecentMovesTest, AnArrowAimedAtADeviceThatHasJustGoneDoesNotLeadToItsNeighbour) {
  open(kThree);
  fOwner.publish({kThree[0], kThree[2]});
  key(Qt::Key_Down);  // was meant for berta
  ASSERT_EQ(selected(), 1);
  key(Qt::Key_Return);
  expectNothingOpened();
  pass(300ms);
  key(Qt::Key_Return);
  expectOpened("clara");
}

TEST_F(RecentMovesTest, AnArrowAimedBeforeTwoMovesDoesNotLeadToTheNeighbourEither) {
  open(kThree);
  fOwner.publish({kThree[0], kThree[2]});
  key(Qt::Key_Down);  // was meant for berta
  pass(100ms);
  fOwner.publish({Device("aaron"), kThree[0], kThree[2]});  // moves clara with the selection
  key(Qt::Key_Return);
  expectNothingOpened();
}

TEST_F(RecentMovesTest, TheHeirOfASelectionBelowTheVisibleRowsIsNotOpened) {
  open(Devices(100));
  table()->selectRow(60);
  List list = Devices(100);
  list.erase(list.begin() + 60);
  fOwner.publish(list);
  ASSERT_EQ(selected(), 60);
  key(Qt::Key_Return);
  expectNothingOpened();
}

}  // namespace
}  // namespace vorn::ui
