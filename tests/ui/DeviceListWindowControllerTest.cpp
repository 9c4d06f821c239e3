#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>

#include "tests/ui/PanelFixture.h"
#include "ui/PanelPlacement.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceListWindowControllerTest : public PanelFixture {};

TEST_F(DeviceListWindowControllerTest, RegistersWhenLoadedAndUnregistersWhenClosed) {
  open(kThree);
  EXPECT_EQ(fOwner.fListeners.size(), 1U);
  fOwner.setPanelVisible(false);
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
}

TEST_F(DeviceListWindowControllerTest, LoadsItsInterfaceOnlyWhenAskedForIt) {
  const DeviceListWindowController controller(fOwner);
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
  EXPECT_EQ(controller.appDelegate(), &fOwner);
}

TEST_F(DeviceListWindowControllerTest, DestroyedWithoutCloseStillUnregisters) {
  {
    DeviceListWindowController controller(fOwner);
    ASSERT_NE(controller.panel(), nullptr);
    EXPECT_EQ(fOwner.fListeners.size(), 1U);
  }
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
  settle();
}

TEST_F(DeviceListWindowControllerTest, ClosedTwiceUnregistersOnce) {
  open(kThree);
  fOwner.fController->close();
  fOwner.fController->close();
  EXPECT_EQ(fOwner.fController->panel(), nullptr);
  EXPECT_EQ(fOwner.fController->deviceListController(), nullptr);
}

TEST_F(DeviceListWindowControllerTest, IsAFixedFramelessDialogInFront) {
  open(kThree);
  EXPECT_EQ(fPanel->minimumSize(), fPanel->maximumSize());
  EXPECT_TRUE(fPanel->windowFlags().testFlag(Qt::FramelessWindowHint));
  EXPECT_TRUE(fPanel->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
  EXPECT_EQ(fPanel->windowFlags() & Qt::WindowType_Mask, Qt::Tool);
  EXPECT_EQ(fPanel->pos(), currentPanelPlace(nullptr).originOf(fPanel->size()));
}

TEST_F(DeviceListWindowControllerTest, EachShowingStartsAfreshAtTheFirstRow) {
  open(kThree);
  hover(2);
  EXPECT_EQ(selected(), 2);
  fOwner.setPanelVisible(false);
  settle();
  open(kThree);
  EXPECT_EQ(selected(), 0);
}

TEST_F(DeviceListWindowControllerTest, EscapeClosesFromTheTable) {
  open(kThree);
  key(Qt::Key_Escape);
  EXPECT_FALSE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListWindowControllerTest, EscapeClosesFromTheSettingsButton) {
  open(kThree);
  key(Qt::Key_Tab);
  ASSERT_NE(qobject_cast<QToolButton*>(QApplication::focusWidget()), nullptr);
  key(Qt::Key_Escape);
  EXPECT_FALSE(isOpen());
}

TEST_F(DeviceListWindowControllerTest, LosingTheFocusClosesAndSaysWhy) {
  open(kThree);
  QWidget other;
  other.show();
  other.activateWindow();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !isOpen(); }, kDeadline));
  EXPECT_EQ(fOwner.fDeactivations, 1);
}

TEST_F(DeviceListWindowControllerTest, HiddenByItsOwnerDoesNotAskToBeHidden) {
  open(kThree);
  fOwner.fVisibleRequests.clear();
  fOwner.setPanelVisible(false);
  settle();
  EXPECT_EQ(fOwner.fVisibleRequests.size(), 1U);
  EXPECT_EQ(fOwner.fDeactivations, 0);
}

TEST_F(DeviceListWindowControllerTest, ItsOwnMenuDoesNotCloseIt) {
  open(kThree);
  fOwner.panelController()->launchMenuFor(nullptr);
  settle();
  EXPECT_TRUE(isOpen());
  QTest::keyClick(fOwner.panelController()->settingsMenu(), Qt::Key_Escape);
  settle();
  EXPECT_TRUE(isOpen());
  EXPECT_EQ(fOwner.fDeactivations, 0);
}

TEST_F(DeviceListWindowControllerTest, ClosesWhenTheFocusWentElsewhereWhileItsMenuWasOpen) {
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

TEST_F(DeviceListWindowControllerTest, ClosingByTheWindowSystemUnregisters) {
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

TEST_F(DeviceListWindowControllerTest, AHintGivenBeforeThePanelExistsIsShown) {
  DeviceListWindowController controller(fOwner);
  controller.setHint({DeviceList::DiscoveryHint::kNoNetwork});
  EXPECT_NE(controller.panel()->findChild<QLabel*>("hint")->text(), "");
}

TEST_F(DeviceListWindowControllerTest, EveryControlHasAName) {
  open(kThree);
  EXPECT_EQ(fPanel->windowTitle(), "Vorn Device Finder");
  EXPECT_EQ(table()->accessibleName(), "Devices");
  EXPECT_EQ(fPanel->findChild<QToolButton*>("settings")->accessibleName(), "Settings");
}

TEST_F(DeviceListWindowControllerTest, ThePanelIsADialogToAssistiveTools) {
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
