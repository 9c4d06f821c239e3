#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QClipboard>
#include <QContextMenuEvent>

#include "tests/ui/Menus.h"
#include "tests/ui/PanelFixture.h"
#include "ui/UnitMenu.h"

namespace vorn::ui {
namespace {

using std::chrono_literals::operator""ms;
using testing::ElementsAre;
using testing::IsEmpty;

DeviceList::ExtendedDeviceInfo Known() {
  DeviceList::ExtendedDeviceInfo info = Device("anna", {1, 4, 0, 290}, {1, 4, 2, 311});
  info.modelID = std::string("Vorn 16A");
  return info;
}

class UnitMenuTest : public PanelFixture {
 protected:
  void SetUp() override { QApplication::clipboard()->clear(); }

  void rightClick(int row) const {
    QContextMenuEvent event(QContextMenuEvent::Mouse, middleOf(row), globalMiddleOf(row));
    QCoreApplication::sendEvent(table()->viewport(), &event);
  }
  QPoint globalMiddleOf(int row) const { return table()->viewport()->mapToGlobal(middleOf(row)); }
  static UnitMenu* menu() { return qobject_cast<UnitMenu*>(QApplication::activePopupWidget()); }
  static void choose(const QString& title) {
    ASSERT_NE(menu(), nullptr);
    for (QAction* action : menu()->actions()) {
      if (action->text() != title) continue;
      QTest::mouseClick(menu(), Qt::LeftButton, {}, menu()->actionGeometry(action).center());
      return;
    }
    ADD_FAILURE() << "no entry " << title.toStdString();
  }
  static std::string copied() { return QApplication::clipboard()->text().toStdString(); }
};

TEST_F(UnitMenuTest, OpensByARightClickAtThePointer) {
  open(kThree);
  fPanel->move(40, 40);  // the menu has room on its right there
  rightClick(1);
  ASSERT_NE(menu(), nullptr);
  EXPECT_EQ(selected(), 1);
  EXPECT_EQ(menu()->pos(), globalMiddleOf(1));
  EXPECT_THAT(Titles(*menu()), ElementsAre("berta", "-", "Open Page", "-", "Copy Address", "Copy Name",
                                           "Copy Details for Support"));
  settle();
  menu()->close();
  settle();
  EXPECT_TRUE(isOpen());
}

TEST_F(UnitMenuTest, OpensByKeysForTheSelectedRow) {
  open(kThree);
  key(Qt::Key_Down);
  for (const auto& [which, modifiers] :
       {std::pair<Qt::Key, Qt::KeyboardModifiers>{Qt::Key_Menu, {}}, {Qt::Key_F10, Qt::ShiftModifier}}) {
    QTest::keyClick(QApplication::focusWidget(), which, modifiers);
    ASSERT_NE(menu(), nullptr);
    EXPECT_EQ(menu()->title(), "berta");
    EXPECT_TRUE(table()->viewport()->rect().contains(table()->viewport()->mapFromGlobal(menu()->pos())));
    QTest::keyClick(menu(), Qt::Key_Escape);
    EXPECT_TRUE(isOpen());
  }
  QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(-1, -1), QPoint(-1, -1));
  QCoreApplication::sendEvent(table()->viewport(), &event);
  ASSERT_NE(menu(), nullptr);
  EXPECT_EQ(menu()->title(), "berta");
  menu()->close();
}

TEST_F(UnitMenuTest, BringsASelectedRowIntoSightThatWasScrolledAway) {
  open(Devices(100));
  table()->selectRow(80);
  QTest::keyClick(table(), Qt::Key_Menu);
  ASSERT_NE(menu(), nullptr);
  EXPECT_TRUE(table()->viewport()->rect().contains(middleOf(80)));
  menu()->close();
}

TEST_F(UnitMenuTest, ThereIsNoneWithoutAUnit) {
  open({});
  rightClick(0);
  key(Qt::Key_Menu);
  EXPECT_EQ(menu(), nullptr);
  fOwner.publish(kThree);
  table()->deselectAll();
  key(Qt::Key_Menu);
  EXPECT_EQ(menu(), nullptr);
}

TEST_F(UnitMenuTest, ThereIsNoneForARowThatHasJustComeUnderThePointer) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[0], kThree[2]});
  rightClick(1);
  key(Qt::Key_Menu);
  EXPECT_EQ(menu(), nullptr);
  fOwner.fTime += 300ms;
  rightClick(1);
  ASSERT_NE(menu(), nullptr);
  EXPECT_EQ(menu()->title(), "clara");
  menu()->close();
}

TEST_F(UnitMenuTest, OpensThePageOfItsUnitAlsoWhenThatHasGone) {
  open(kThree);
  rightClick(1);
  fOwner.publish({kThree[0], kThree[2]});
  choose("Open Page");
  EXPECT_THAT(fOwner.fOpened, ElementsAre(Device("berta").url));
  EXPECT_FALSE(isOpen());
}

TEST_F(UnitMenuTest, CopiesTheAddress) {
  open({Known()});
  rightClick(0);
  choose("Copy Address");
  EXPECT_EQ(copied(), "http://anna.local:80/");
  EXPECT_TRUE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(UnitMenuTest, CopiesTheName) {
  DeviceList::ExtendedDeviceInfo info = Known();
  info.name = std::string("anna\n& co");
  open({info});
  rightClick(0);
  EXPECT_EQ(menu()->actions().first()->text(), "anna && co") << "shown as it is";
  choose("Copy Name");
  EXPECT_EQ(copied(), "anna & co");
}

TEST_F(UnitMenuTest, CopiesWhatASupportMailNeeds) {
  open({Known()});
  rightClick(0);
  choose("Copy Details for Support");
  EXPECT_EQ(
      copied(),
      "Name: anna\nKind: audio interface\nModel: Vorn 16A\nFirmware: 1.4.0+290\nNewest firmware: 1.4.2+311\n"
      "Address: http://anna.local:80/\nVorn Device Finder: 1.2.3+4");
}

TEST_F(UnitMenuTest, CopiesNoDetailsThatAreNotKnown) {
  open({Device("anna", "toaster")});
  rightClick(0);
  choose("Copy Details for Support");
  EXPECT_EQ(copied(), "Name: anna\nAddress: http://anna.local:80/\nVorn Device Finder: 1.2.3+4");
}

TEST_F(UnitMenuTest, HandsOnNoAddressThatIsNone) {
  DeviceList::ExtendedDeviceInfo info = Device("anna");
  info.url = "http://anna.local/\nrm -rf ~\n";
  open({info});
  rightClick(0);
  choose("Copy Address");  // which cannot be chosen
  EXPECT_EQ(copied(), "");
  choose("Copy Details for Support");
  EXPECT_EQ(copied(), "Name: anna\nKind: audio interface\nVorn Device Finder: 1.2.3+4");
}

TEST_F(UnitMenuTest, WhatItCopiedOutlivesThePanel) {
  open({Known()});
  rightClick(0);
  choose("Copy Name");
  fOwner.setPanelVisible(false);
  settle();
  EXPECT_TRUE(fPanel.isNull());
  EXPECT_EQ(copied(), "anna");
}

TEST_F(UnitMenuTest, GoesWithThePanel) {
  open(kThree);
  rightClick(0);
  const QPointer<QMenu> shown(menu());
  fOwner.setPanelVisible(false);
  settle();
  EXPECT_TRUE(shown.isNull());
}

}  // namespace
}  // namespace vorn::ui
