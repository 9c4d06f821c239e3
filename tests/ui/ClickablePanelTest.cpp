// The panel's size. Runs at several scales.
#include <gtest/gtest.h>

#include <QScreen>
#include <QScrollBar>

#include "tests/ui/PanelFixture.h"
#include "ui/ClickablePanel.h"

namespace vorn::ui {
namespace {

const DeviceList::DiscoveryHint kLongHint = DeviceList::DiscoveryHint::kResponderSilent;

class ClickablePanelTest : public PanelFixture {
 protected:
  void TearDown() override {
    PanelFixture::TearDown();
    QApplication::setFont(fFont);
  }

  // Roomy, unlike the screen of this test at a large scale.
  void openAt(bool lowerBar, const List& list) {
    fOwner.fPlace = PanelPlace{QRect(10, 20, 2000, 2000), lowerBar, 50};
    open(list);
  }
  void publish(int devices) {
    fOwner.publish(Devices(devices));
    settle();
  }
  int rowHeight() const { return table()->sizeHintForRow(0); }
  bool scrolls() const { return table()->verticalScrollBar()->maximum() > 0; }
  void expectFixedSize() const { EXPECT_EQ(fPanel->minimumSize(), fPanel->maximumSize()); }
  void expectWholeSettingsButton() const {
    const auto* button = fPanel->findChild<QToolButton*>("settings");
    EXPECT_GE(button->height(), button->iconSize().height());
    EXPECT_TRUE(fPanel->rect().contains(QRect(button->mapTo(fPanel.data(), QPoint()), button->size())));
  }

 private:
  const QFont fFont = QApplication::font();
};

TEST_F(ClickablePanelTest, FollowsTheRowsFromThreeToTwelve) {
  openAt(false, {});
  const int least = fPanel->height();
  for (int devices = 1; devices <= 15; ++devices) {
    publish(devices);
    EXPECT_EQ(fPanel->height(), least + rowHeight() * (std::clamp(devices, 3, 12) - 3)) << devices;
    EXPECT_EQ(scrolls(), devices > 12) << devices;
    expectFixedSize();
  }
  publish(2000);
  EXPECT_EQ(fPanel->height(), least + rowHeight() * 9);
  publish(5);
  EXPECT_EQ(fPanel->height(), least + rowHeight() * 2);
  EXPECT_FALSE(scrolls());
  publish(0);
  EXPECT_EQ(fPanel->height(), least);
}

TEST_F(ClickablePanelTest, KeepsItsUpperEdgeAtAnUpperBar) {
  openAt(false, kThree);
  for (const int devices : {8, 1, 40}) {
    publish(devices);
    EXPECT_EQ(fPanel->pos(), QPoint(50, 20));
  }
}

TEST_F(ClickablePanelTest, KeepsItsLowerEdgeAtALowerBar) {
  openAt(true, kThree);
  for (const int devices : {8, 1, 40}) {
    publish(devices);
    EXPECT_EQ(fPanel->geometry().bottomLeft(), QPoint(50, 2019));
  }
}

TEST_F(ClickablePanelTest, MakesRoomForTheHint) {
  openAt(true, kThree);
  auto* label = fPanel->findChild<QLabel*>("hint");
  QFont large = label->font();
  large.setPointSize(30);
  label->setFont(large);  // several lines
  fOwner.fController->setHint({kLongHint});
  settle();
  fOwner.fController->setHint({});
  settle();
  const int before = fPanel->height();
  fOwner.fController->setHint({kLongHint});
  settle();
  EXPECT_GT(fPanel->height(), before);
  EXPECT_EQ(fPanel->geometry().bottom(), 2019);
  EXPECT_FALSE(scrolls());
  fOwner.fController->setHint({});
  settle();
  EXPECT_EQ(fPanel->height(), before);
}

TEST_F(ClickablePanelTest, FollowsTheFont) {
  openAt(false, Devices(12));
  const QSize before = fPanel->size();
  const int row = rowHeight();
  QFont large = fPanel->font();
  large.setPointSizeF(large.pointSizeF() * 2.5);
  fPanel->setFont(large);
  settle();
  EXPECT_GT(rowHeight(), row);
  EXPECT_GT(fPanel->width(), before.width());
  EXPECT_GE(fPanel->height(), 12 * rowHeight());
  EXPECT_FALSE(scrolls());
}

TEST_F(ClickablePanelTest, StaysInTheFreeAreaWithAnyFont) {
  for (const int points : {6, 9, 14, 24, 48}) {
    QFont font = QApplication::font();
    font.setPointSize(points);
    QApplication::setFont(font);
    open(Devices(50));
    fOwner.fController->setHint({kLongHint});
    settle();
    const QRect room = fPanel->screen()->availableGeometry();
    EXPECT_TRUE(room.contains(fPanel->geometry())) << points;
    EXPECT_TRUE(scrolls()) << points;
    expectWholeSettingsButton();
    expectFixedSize();
    fOwner.setPanelVisible(false);
    settle();
  }
}

TEST_F(ClickablePanelTest, StaysInASmallFreeAreaAndScrolls) {
  fOwner.fPlace = PanelPlace{QRect(0, 9, 426, 247), true, 400};  // 1280x800 at 300 % with two bars
  open(Devices(50));
  fOwner.fController->setHint({kLongHint});
  settle();
  EXPECT_TRUE(fOwner.fPlace->usable.contains(fPanel->geometry()));
  EXPECT_GE(table()->viewport()->height(), 2 * rowHeight());
  expectWholeSettingsButton();
}

TEST_F(ClickablePanelTest, SomeOutlandishPlaceDoesNotMatter) {
  fOwner.fPlace = PanelPlace{QRect(0, 0, 30, 20), false, 0};
  open(kThree);
  EXPECT_LE(fPanel->height(), 20);
  EXPECT_LE(fPanel->width(), 30);
}

}  // namespace
}  // namespace vorn::ui
