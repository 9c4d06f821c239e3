#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QHelpEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QWheelEvent>

#include "tests/ui/PanelFixture.h"
#include "ui/PanelSurroundings.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceListPanel : public PanelFixture {};

const List kThree{Device("anna"), Device("berta"), Device("clara")};

std::string UrlOf(const std::string& name) {
  return Device(name).url;
}

// --- opening and closing -------------------------------------------------

TEST_F(DeviceListPanel, RegistersWhenLoadedAndUnregistersWhenClosed) {
  open(kThree);
  EXPECT_EQ(fOwner.fListeners.size(), 1U);
  fOwner.setPanelVisible(false);
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
}

TEST_F(DeviceListPanel, LoadsItsInterfaceOnlyWhenAskedForIt) {
  const DeviceListWindowController controller(fOwner);
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
  EXPECT_EQ(controller.appDelegate(), &fOwner);
}

TEST_F(DeviceListPanel, DestroyedWithoutCloseStillUnregisters) {
  {
    DeviceListWindowController controller(fOwner);
    ASSERT_NE(controller.panel(), nullptr);
    EXPECT_EQ(fOwner.fListeners.size(), 1U);
  }
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
  settle();
}

TEST_F(DeviceListPanel, ClosedTwiceUnregistersOnce) {
  open(kThree);
  fOwner.fController->close();
  fOwner.fController->close();
  EXPECT_EQ(fOwner.fController->panel(), nullptr);
  EXPECT_EQ(fOwner.fController->deviceListController(), nullptr);
}

TEST_F(DeviceListPanel, IsAFixedFramelessDialogInFront) {
  open(kThree);
  EXPECT_EQ(fPanel->minimumSize(), fPanel->maximumSize());
  EXPECT_TRUE(fPanel->windowFlags().testFlag(Qt::FramelessWindowHint));
  EXPECT_TRUE(fPanel->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
  EXPECT_EQ(fPanel->windowFlags() & Qt::WindowType_Mask, Qt::Tool);
  EXPECT_EQ(fPanel->pos(), currentPanelOrigin(fPanel->size(), nullptr));
}

TEST_F(DeviceListPanel, EachShowingStartsAfreshAtTheFirstRow) {
  open(kThree);
  hover(2);
  EXPECT_EQ(selected(), 2);
  fOwner.setPanelVisible(false);
  settle();
  open(kThree);
  EXPECT_EQ(selected(), 0);
}

TEST_F(DeviceListPanel, EscapeClosesFromTheTable) {
  open(kThree);
  key(Qt::Key_Escape);
  EXPECT_FALSE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, EscapeClosesFromTheSettingsButton) {
  open(kThree);
  key(Qt::Key_Tab);
  ASSERT_NE(qobject_cast<QToolButton*>(QApplication::focusWidget()), nullptr);
  key(Qt::Key_Escape);
  EXPECT_FALSE(isOpen());
}

TEST_F(DeviceListPanel, LosingTheFocusClosesAndSaysWhy) {
  open(kThree);
  QWidget other;
  other.show();
  other.activateWindow();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !isOpen(); }, kDeadline));
  EXPECT_EQ(fOwner.fDeactivations, 1);
}

TEST_F(DeviceListPanel, HiddenByItsOwnerDoesNotAskToBeHidden) {
  open(kThree);
  fOwner.fVisibleRequests.clear();
  fOwner.setPanelVisible(false);
  settle();
  EXPECT_EQ(fOwner.fVisibleRequests.size(), 1U);
  EXPECT_EQ(fOwner.fDeactivations, 0);
}

TEST_F(DeviceListPanel, ItsOwnMenuDoesNotCloseIt) {
  open(kThree);
  fOwner.panelController()->launchMenuFor(nullptr);
  settle();
  EXPECT_TRUE(isOpen());
  QTest::keyClick(fOwner.panelController()->settingsMenu(), Qt::Key_Escape);
  settle();
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(fOwner.fDeactivations, 0);
}

TEST_F(DeviceListPanel, ClosesWhenTheFocusWentElsewhereWhileItsMenuWasOpen) {
  open(kThree);
  fOwner.panelController()->launchMenuFor(nullptr);
  settle();
  const QPointer<QMenu> menu(fOwner.panelController()->settingsMenu());
  QWidget other;
  other.show();
  other.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&other, kDeadline));
  if (menu) menu->close();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !isOpen(); }, kDeadline));
}

TEST_F(DeviceListPanel, ClosingByTheWindowSystemUnregisters) {
  open(kThree);
  fPanel->close();
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
  EXPECT_FALSE(isOpen());
  EXPECT_EQ(fOwner.fDeactivations, 0) << "the next click is a click of its own";
  EXPECT_THAT(fOwner.fVisibleRequests, ElementsAre(true, false));
  settle();
  EXPECT_TRUE(fPanel.isNull());
  open(kThree);
  EXPECT_TRUE(fPanel->isVisible());
}

// --- rows and selection --------------------------------------------------

TEST_F(DeviceListPanel, EmptyListIsOneRowThatCannotBeSelectedOrOpened) {
  open({});
  EXPECT_EQ(table()->model()->rowCount(), 1);
  hover(0);
  click(0);
  click(0);
  key(Qt::Key_Return);
  key(Qt::Key_Down);
  key(Qt::Key_Return);
  EXPECT_EQ(selected(), -1);
  EXPECT_TRUE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, GrowingFromEmptySelectsTheFirstRow) {
  open({});
  fOwner.publish(kThree);
  EXPECT_EQ(selected(), 0);
  fOwner.publish({});
  EXPECT_EQ(selected(), -1);
  fOwner.publish(kThree);
  EXPECT_EQ(selected(), 0);
}

TEST_F(DeviceListPanel, SelectionFollowsTheUrlThroughAReorder) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[2], kThree[0], kThree[1]});
  EXPECT_EQ(selected(), 2);
  fOwner.publish({Device("a0"), kThree[1], kThree[0]});
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListPanel, SelectionGoesToTheFirstRowWithTheUrl) {
  open(kThree);
  hover(1);
  DeviceList::ExtendedDeviceInfo twin = kThree[1];
  twin.name = std::string("another berta");
  fOwner.publish({kThree[0], twin, kThree[1], kThree[2]});
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListPanel, SelectionStaysWithItsRowWhenTheDeviceHasGone) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[0], kThree[2]});
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListPanel, SelectionIsDroppedWhenItsRowHasGone) {
  open(kThree);
  hover(2);
  fOwner.publish({kThree[0], kThree[1]});
  EXPECT_EQ(selected(), -1);
  key(Qt::Key_Return);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  key(Qt::Key_Down);
  EXPECT_EQ(selected(), 0);
}

TEST_F(DeviceListPanel, WithoutSelectionAListSelectsNothing) {
  open(kThree);
  table()->deselectAll();
  fOwner.publish({kThree[2], kThree[1]});
  EXPECT_EQ(selected(), -1);
}

TEST_F(DeviceListPanel, HoveringMovesTheSelection) {
  open(kThree);
  hover(2);
  EXPECT_EQ(selected(), 2);
  hover(1);
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListPanel, ThePointerComingBackToARowSelectsItAnew) {
  open(kThree);
  hover(1);
  key(Qt::Key_Down);
  QEvent leave(QEvent::Leave);
  QCoreApplication::sendEvent(table()->viewport(), &leave);
  QTest::mouseMove(table()->viewport(), middleOf(1) + QPoint(5, 2));
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListPanel, ThePointerSelectsNothingWhileAButtonIsDown) {
  open(kThree);
  press(0);
  QMouseEvent drag(QEvent::MouseMove, middleOf(2), table()->viewport()->mapToGlobal(middleOf(2)),
                   Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(table()->viewport(), &drag);
  EXPECT_EQ(selected(), 0);
  release(middleOf(2));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, TurningTheWheelSelectsTheRowThatComesUnderThePointer) {
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

TEST_F(DeviceListPanel, MovingInsideARowDoesNotUndoTheKeys) {
  open(kThree);
  hover(1);
  key(Qt::Key_Down);
  EXPECT_EQ(selected(), 2);
  QTest::mouseMove(table()->viewport(), middleOf(1) + QPoint(5, 2));
  EXPECT_EQ(selected(), 2);
}

// --- clicks --------------------------------------------------------------

TEST_F(DeviceListPanel, ClickOnTheSelectedRowOpensItsPageAndCloses) {
  open(kThree);
  hover(1);
  click(1);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("berta")));
  EXPECT_FALSE(isOpen());
}

TEST_F(DeviceListPanel, ClickOnAnotherRowOnlySelectsIt) {
  open(kThree);
  click(2);
  EXPECT_EQ(selected(), 2);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  EXPECT_TRUE(isOpen());
  click(2);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("clara")));
}

TEST_F(DeviceListPanel, DoubleClickOnAnotherRowOpensItOnce) {
  open(kThree);
  QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, middleOf(2));
  const QPoint place = middleOf(2);
  QTest::mouseDClick(table()->viewport(), Qt::LeftButton, {}, place);
  release(place);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("clara")));
}

TEST_F(DeviceListPanel, AClickOnARowThatIsSelectedNoMoreOpensNothing) {
  open(kThree);
  press(0);
  key(Qt::Key_Down);
  release(middleOf(0));
  ASSERT_TRUE(isOpen());
  EXPECT_EQ(selected(), 1);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, PressIsTakenBackByLettingGoElsewhere) {
  open(kThree);
  press(0);
  release(middleOf(1));
  press(0);
  release(QPoint(-20, -20));
  press(0);
  release(QPoint(middleOf(2).x(), middleOf(2).y() + 60));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  EXPECT_TRUE(isOpen());
}

TEST_F(DeviceListPanel, ClickBesideTheRowsDoesNothing) {
  open(kThree);
  QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, QPoint(50, middleOf(2).y() + 60));
  EXPECT_EQ(selected(), 0);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, OtherButtonsOpenNothing) {
  open(kThree);
  QTest::mouseClick(table()->viewport(), Qt::RightButton, {}, middleOf(0));
  QTest::mouseClick(table()->viewport(), Qt::MiddleButton, {}, middleOf(0));
  EXPECT_EQ(selected(), 0);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, AListBetweenPressAndReleaseOpensNoOtherDevice) {
  open(kThree);
  hover(0);
  press(0);
  fOwner.publish({Device("aaron"), kThree[0], kThree[1], kThree[2]});  // anna moves down by one
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  EXPECT_TRUE(isOpen());
}

TEST_F(DeviceListPanel, ADeviceThatGoesBetweenPressAndReleaseOpensNothing) {
  open(kThree);
  press(0);
  fOwner.publish({kThree[1], kThree[2]});
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  fOwner.publish({});
  press(0);
  fOwner.publish(kThree);
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, AnotherDeviceInTheSameRowIsNotOpened) {
  open(kThree);
  press(0);
  fOwner.publish({Device("anna2"), kThree[1], kThree[2]});
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, AnUnrelatedListBetweenPressAndReleaseDoesNotSwallowTheClick) {
  open(kThree);
  press(0);
  fOwner.publish({kThree[0], kThree[1], kThree[2], Device("dora")});
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("anna")));
}

TEST_F(DeviceListPanel, SelectedRowCarriesTheHighlightAndThePressedOneMore) {
  open(kThree);
  const QColor base = table()->palette().color(QPalette::Base);
  const auto over = [&](double alpha) {
    const auto mix = [&](int from, int to) {
      return static_cast<int>(from * (1 - alpha) + to * alpha + 0.5);
    };
    return QColor(mix(base.red(), 0), mix(base.green(), 161), mix(base.blue(), 240));
  };
  const auto expectNear = [](const QColor& a, const QColor& b) {
    EXPECT_NEAR(a.red(), b.red(), 2);
    EXPECT_NEAR(a.green(), b.green(), 2);
    EXPECT_NEAR(a.blue(), b.blue(), 2);
  };
  expectNear(backgroundOf(0), over(0.15));
  expectNear(backgroundOf(1), base);
  press(0);
  expectNear(backgroundOf(0), over(0.3));
  release(QPoint(-5, -5));
  expectNear(backgroundOf(0), over(0.15));
  press(1);
  expectNear(backgroundOf(1), over(0.3));
  release(middleOf(1));  // which only selects it
  expectNear(backgroundOf(1), over(0.15));
}

// --- keys ----------------------------------------------------------------

TEST_F(DeviceListPanel, ReturnAndEnterOpenTheSelectedRow) {
  for (const Qt::Key which : {Qt::Key_Return, Qt::Key_Enter}) {
    fOwner.fOpened.clear();
    open(kThree);
    key(Qt::Key_Down);
    key(which);
    EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("berta")));
    EXPECT_FALSE(isOpen());
    settle();
  }
}

TEST_F(DeviceListPanel, ArrowsHomeAndEndMoveTheSelection) {
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

TEST_F(DeviceListPanel, TypingGoesToTheNameThatBeginsSo) {
  open({Device("anna"), Device("clara"), Device("clemens"), Device("dora")});
  QTest::keyClicks(QApplication::focusWidget(), "cle");
  EXPECT_EQ(selected(), 2);
}

TEST_F(DeviceListPanel, TabGoesToTheSettingsButtonAndBack) {
  open(kThree);
  EXPECT_EQ(QApplication::focusWidget(), table());
  key(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), fPanel->findChild<QToolButton*>("settings"));
  key(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), table());
}

TEST_F(DeviceListPanel, ReturnOnTheSettingsButtonOpensTheMenuNotADevice) {
  open(kThree);
  key(Qt::Key_Tab);
  key(Qt::Key_Return);
  EXPECT_TRUE(fOwner.panelController()->settingsMenu()->isVisible());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  fOwner.panelController()->settingsMenu()->close();
}

// --- opening -------------------------------------------------------------

TEST_F(DeviceListPanel, AnInvalidRowNeitherOpensNorHides) {
  open(kThree);
  for (const int row : {-1, 3, 1000000}) fOwner.panelController()->openIndex(row);
  EXPECT_TRUE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListPanel, OpensTheBareUrlByteForByte) {
  DeviceList::ExtendedDeviceInfo odd = Device("odd");
  odd.url = "http://odd.local:80/\xC3\xBC?a=b&c=%20/";
  open({odd});
  key(Qt::Key_Return);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(odd.url));
}

// --- scrolling and hints -------------------------------------------------

TEST_F(DeviceListPanel, ListsKeepTheScrollPositionByDevice) {
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

TEST_F(DeviceListPanel, ATableAtItsTopStaysThere) {
  open(Devices(200));
  List list = Devices(200);
  list.insert(list.begin(), Device("aaa"));
  fOwner.publish(list);
  settle();
  EXPECT_EQ(table()->verticalScrollBar()->value(), 0);
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListPanel, HoveringARowAtTheEdgeDoesNotScroll) {
  open(Devices(200));
  table()->verticalScrollBar()->setValue(1010);
  const QModelIndex top = table()->indexAt(QPoint(5, 1));
  QTest::mouseMove(table()->viewport(), QPoint(5, 1));
  EXPECT_EQ(selected(), top.row());
  settle();
  EXPECT_EQ(table()->verticalScrollBar()->value(), 1010);
}

TEST_F(DeviceListPanel, SaysBelowTheListWhyItMayBeEmpty) {
  open({});
  EXPECT_EQ(hint(), "");
  fOwner.fController->setHint(DeviceList::DiscoveryHint::kStillLooking);
  EXPECT_TRUE(hint().startsWith("Still looking"));
  fOwner.publish(kThree);
  EXPECT_EQ(hint(), "");
  fOwner.fController->setHint(DeviceList::DiscoveryHint::kResponderAbsent);
  EXPECT_EQ(hint(), "The discovery service (Avahi) is not running.");
  fOwner.fController->setHint(DeviceList::DiscoveryHint::kResponderSilent);
  EXPECT_EQ(hint(), "The discovery service (Avahi) does not answer.");
  fOwner.fController->setHint(DeviceList::DiscoveryHint::kNoNetwork);
  EXPECT_EQ(hint(), "There is no network connection.");
  EXPECT_EQ(table()->model()->rowCount(), 3);
  fOwner.fController->setHint(DeviceList::DiscoveryHint::kNone);
  EXPECT_EQ(hint(), "");
}

TEST_F(DeviceListPanel, AHintGivenBeforeThePanelExistsIsShown) {
  DeviceListWindowController controller(fOwner);
  controller.setHint(DeviceList::DiscoveryHint::kNoNetwork);
  EXPECT_NE(controller.panel()->findChild<QLabel*>("hint")->text(), "");
}

// --- the settings menu ---------------------------------------------------

TEST_F(DeviceListPanel, SettingsMenuPopsUpBelowTheMiddleOfTheButton) {
  open(kThree);
  fPanel->move(40, 40);  // the menu has room on its right there
  auto* button = fPanel->findChild<QToolButton*>("settings");
  QTest::mouseClick(button, Qt::LeftButton);
  const QMenu* menu = fOwner.panelController()->settingsMenu();
  ASSERT_TRUE(menu->isVisible());
  EXPECT_EQ(menu->pos(), button->mapToGlobal(QPoint(button->width() / 2, button->height())));
  fOwner.panelController()->settingsMenu()->close();
}

TEST_F(DeviceListPanel, SettingsMenuWithoutSenderPopsUpAtTheOrigin) {
  open(kThree);
  fOwner.panelController()->launchMenuFor(nullptr);
  // The toolkit keeps a menu a few points off the edge of the screen.
  EXPECT_LE(fOwner.panelController()->settingsMenu()->pos().manhattanLength(), 8);
  fOwner.panelController()->settingsMenu()->close();
}

TEST_F(DeviceListPanel, EveryControlHasAName) {
  open(kThree);
  EXPECT_EQ(fPanel->windowTitle(), "Vorn Device Finder");
  EXPECT_EQ(table()->accessibleName(), "Devices");
  EXPECT_EQ(fPanel->findChild<QToolButton*>("settings")->accessibleName(), "Settings");
}

}  // namespace
}  // namespace vorn::ui
