#include <gtest/gtest.h>

#include <QAccessible>
#include <QCoreApplication>
#include <QLabel>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <chrono>
#include <memory>
#include <utility>

#include "tests/ui/OpenPanel.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/SettingsMenu.h"
#include "ui/TrayStatusBar.h"

namespace vorn::ui {
namespace {

using DeviceList::DiscoveryHint;

constexpr int kDeadline = 10000;
constexpr std::chrono::milliseconds kPeriod{5};  // of the hint

class TrayStatusBarTest : public testing::Test {
 protected:
  ~TrayStatusBarTest() override {
    fBar.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  static QString ShownHint() {
    const QWidget* const panel = OpenPanel();
    return panel ? panel->findChild<QLabel*>("hint")->text() : QString();
  }
  static bool SaysThatAPageFailed() { return ShownHint().contains("could not be opened"); }

  ScriptedOwner fOwner;
  DiscoveryHint fHint = DiscoveryHint::kStillLooking;
  bool fPageFailed = false;  ///< and nobody has asked since
  int fAsked = 0;
  std::unique_ptr<TrayStatusBar> fBar = std::make_unique<TrayStatusBar>(
      TrayStatusBar::Look{}, 19,
      TrayStatusBar::Hints{[this] {
                             ++fAsked;
                             return fHint;
                           },
                           [this] { return std::exchange(fPageFailed, false); }, kPeriod});
};

TEST_F(TrayStatusBarTest, SaysAtOnceWhyTheListMayBeEmpty) {
  EXPECT_EQ(fAsked, 0);
  fBar->showPanel(fOwner);
  EXPECT_TRUE(ShownHint().startsWith("Still looking"));
}

TEST_F(TrayStatusBarTest, KeepsTheHintCurrentWhileThePanelIsOpen) {
  fBar->showPanel(fOwner);
  fHint = DiscoveryHint::kNoNetwork;
  EXPECT_TRUE(QTest::qWaitFor([] { return ShownHint() == "There is no network connection."; }, kDeadline));
  fHint = DiscoveryHint::kNone;
  EXPECT_TRUE(QTest::qWaitFor([] { return ShownHint().isEmpty(); }, kDeadline));
  EXPECT_NE(OpenPanel(), nullptr);
}

TEST_F(TrayStatusBarTest, AsksForNoHintOnceThePanelIsClosed) {
  fBar->showPanel(fOwner);
  ASSERT_TRUE(QTest::qWaitFor([this] { return fAsked >= 2; }, kDeadline));
  fBar->closePanel();
  EXPECT_EQ(OpenPanel(), nullptr);
  const int asked = fAsked;
  int periods = 0;
  QTimer witness;
  QObject::connect(&witness, &QTimer::timeout, [&periods] { ++periods; });
  witness.start(2 * kPeriod);
  ASSERT_TRUE(QTest::qWaitFor([&periods] { return periods >= 3; }, kDeadline));
  EXPECT_EQ(fAsked, asked);
}

TEST_F(TrayStatusBarTest, SaysForOneShowingThatAPageCouldNotBeOpened) {
  fPageFailed = true;
  fBar->showPanel(fOwner);
  EXPECT_TRUE(SaysThatAPageFailed());
  const int asked = fAsked;
  ASSERT_TRUE(QTest::qWaitFor([&] { return fAsked > asked; }, kDeadline));
  EXPECT_TRUE(SaysThatAPageFailed()) << "as long as the panel is open";
  fBar->closePanel();
  fBar->showPanel(fOwner);
  EXPECT_FALSE(SaysThatAPageFailed());
}

TEST_F(TrayStatusBarTest, APanelIsAListenerWhileItIsOpen) {
  fBar->showPanel(fOwner);
  EXPECT_EQ(fOwner.fListeners.size(), 1U);
  fBar->closePanel();
  EXPECT_TRUE(fOwner.fListeners.empty());
  fBar->closePanel();
  EXPECT_EQ(OpenPanel(), nullptr);
}

TEST_F(TrayStatusBarTest, ItsMenuAndItsToolTipAreListenersAsLongAsItLives) {
  fBar->offerMenu(fOwner);
  EXPECT_EQ(fOwner.fListeners.size(), 2U);
  fBar.reset();
  EXPECT_TRUE(fOwner.fListeners.empty());
}

TEST_F(TrayStatusBarTest, HasAssistiveToolsNameTheProgramAsPeopleDo) {
  QCoreApplication::setApplicationName("another name");
  QAccessibleInterface* const program = QAccessible::queryAccessibleInterface(qApp);
  ASSERT_NE(program, nullptr);
  EXPECT_EQ(program->text(QAccessible::Name), "Vorn Device Finder");
  EXPECT_EQ(program->role(), QAccessible::Application);
  fBar->showPanel(fOwner);
  EXPECT_EQ(QAccessible::queryAccessibleInterface(OpenPanel())->parent(), program);
}

// As at the end of the program: the event loop has ended, then the owner destroys a status bar whose panel is
// still open.
TEST_F(TrayStatusBarTest, LeavesNothingOfAPanelThatWasOpenAtItsEnd) {
  fBar->showPanel(fOwner);
  const QPointer<ClickablePanel> panel(OpenPanel());
  ASSERT_NE(panel, nullptr);
  const QPointer<SettingsMenu> menu(panel->findChild<SettingsMenu*>());
  const QPointer<DeviceListController> controller(panel->findChild<DeviceListController*>());
  ASSERT_NE(menu, nullptr);
  ASSERT_NE(controller, nullptr);
  fBar.reset();
  EXPECT_TRUE(fOwner.fListeners.empty());
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_EQ(panel, nullptr);
  EXPECT_EQ(menu, nullptr);
  EXPECT_EQ(controller, nullptr);
}

}  // namespace
}  // namespace vorn::ui
