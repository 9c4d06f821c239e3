#include <gtest/gtest.h>

#include <QLabel>
#include <QTest>

#include "app/DesktopPanel.h"
#include "tests/app/OpenPanel.h"
#include "tests/ui/ScriptedOwner.h"

namespace vorn::app {
namespace {

using DeviceList::DiscoveryHint;
using testing::OpenPanel;

constexpr int kDeadline = 10000;
constexpr int kTwoPeriods = 2200;  // of the hint, in milliseconds

class DesktopPanelTest : public ::testing::Test {
 protected:
  static QString ShownHint() {
    const QWidget* const panel = OpenPanel();
    return panel ? panel->findChild<QLabel*>("hint")->text() : QString();
  }

  ui::ScriptedOwner fOwner;
  DesktopStatusItem fItem{19};
  DiscoveryHint fHint = DiscoveryHint::kStillLooking;
  int fAsked = 0;
  DesktopPanel fPanel{fOwner, fItem, [this] {
                        ++fAsked;
                        return fHint;
                      }};
};

TEST_F(DesktopPanelTest, SaysAtOnceWhyTheListMayBeEmpty) {
  EXPECT_EQ(fAsked, 0);
  fPanel.show();
  EXPECT_TRUE(ShownHint().startsWith("Still looking"));
}

TEST_F(DesktopPanelTest, KeepsTheHintCurrentWhileItIsOpen) {
  fPanel.show();
  fHint = DiscoveryHint::kNoNetwork;
  EXPECT_TRUE(QTest::qWaitFor([] { return ShownHint() == "There is no network connection."; }, kDeadline));
  fHint = DiscoveryHint::kNone;
  EXPECT_TRUE(QTest::qWaitFor([] { return ShownHint().isEmpty(); }, kDeadline));
  EXPECT_NE(OpenPanel(), nullptr);
}

TEST_F(DesktopPanelTest, AsksForNoHintOnceItIsClosed) {
  fPanel.show();
  ASSERT_TRUE(QTest::qWaitFor([this] { return fAsked >= 2; }, kDeadline));
  fPanel.close();
  EXPECT_EQ(OpenPanel(), nullptr);
  const int asked = fAsked;
  QTest::qWait(kTwoPeriods);
  EXPECT_EQ(fAsked, asked);
}

}  // namespace
}  // namespace vorn::app
