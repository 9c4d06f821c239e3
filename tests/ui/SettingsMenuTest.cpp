#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <vector>

#include "tests/ui/Menus.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/InformationWindow.h"
#include "ui/SettingsMenu.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<QWidget*> InformationWindows() {
  std::vector<QWidget*> windows;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (qobject_cast<InformationWindow*>(widget) && widget->isVisible()) windows.push_back(widget);
  }
  return windows;
}

// Chooses an entry as a user does.
void Choose(QMenu& menu, QAction* action) {
  menu.popup(QPoint(10, 10));
  QTest::mouseClick(&menu, Qt::LeftButton, {}, menu.actionGeometry(action).center());
}

TEST(SettingsMenuTest, HoldsItsCheckMarksAndQuit) {
  ScriptedOwner owner;
  const SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  EXPECT_THAT(Titles(menu), ElementsAre("Launch at Login", "Show Switches", "Notify About Updates",
                                        "Check for New Firmware", "-", "Keyboard Shortcuts",
                                        "About Vorn Device Finder", "-", "Quit Vorn Device Finder"));
}

TEST(SettingsMenuTest, SaysWhichUpdateServerTheOwnerAsks) {
  ScriptedOwner owner;
  SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  EXPECT_THAT(InformationWindows(), IsEmpty()) << "made when it is asked for";
  Choose(menu, menu.actions().at(6));
  ASSERT_THAT(InformationWindows(), SizeIs(1));
  EXPECT_TRUE(
      InformationWindows()[0]->findChild<QLabel*>()->text().contains("http://updates.vorn.example/api/"));
  InformationWindows()[0]->close();
  Choose(menu, menu.actions().at(5));
  ASSERT_FALSE(InformationWindows().empty());
  EXPECT_EQ(InformationWindows().back()->windowTitle(), "Keyboard Shortcuts");
  InformationWindows().back()->close();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST(SettingsMenuTest, CheckMarksAreReadAnewEachTimeItOpens) {
  ScriptedOwner owner;
  SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  EXPECT_FALSE(menu.launchOnStart()->isChecked());
  EXPECT_FALSE(menu.showSwitches()->isChecked());
  EXPECT_TRUE(menu.shouldNotify()->isChecked());
  EXPECT_TRUE(menu.checkForUpdates()->isChecked());
  owner.fLaunch = true;
  owner.fSwitches = true;
  owner.fNotify = false;
  owner.fChecks = false;
  menu.popup(QPoint(0, 0));
  EXPECT_TRUE(menu.launchOnStart()->isChecked());
  EXPECT_TRUE(menu.showSwitches()->isChecked());
  EXPECT_FALSE(menu.shouldNotify()->isChecked());
  EXPECT_FALSE(menu.checkForUpdates()->isChecked());
  menu.close();
}

TEST(SettingsMenuTest, EachEntrySetsTheOppositeOfWhatTheOwnerSays) {
  ScriptedOwner owner;
  SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  Choose(menu, menu.launchOnStart());
  EXPECT_TRUE(owner.fLaunch);
  Choose(menu, menu.showSwitches());
  EXPECT_TRUE(owner.fSwitches);
  Choose(menu, menu.shouldNotify());
  EXPECT_FALSE(owner.fNotify);
  EXPECT_FALSE(menu.shouldNotify()->isChecked());
  Choose(menu, menu.shouldNotify());
  EXPECT_TRUE(owner.fNotify);
  Choose(menu, menu.checkForUpdates());
  EXPECT_FALSE(owner.fChecks);
}

TEST(SettingsMenuTest, ASettingThatDidNotTakeIsNotShownAsSet) {
  class StubbornOwner : public ScriptedOwner {
   public:
    void setLaunchOnLogin(bool) override {}
  } owner;
  SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  Choose(menu, menu.launchOnStart());
  EXPECT_FALSE(menu.launchOnStart()->isChecked());
}

TEST(SettingsMenuTest, SaysWhyTheProgramCannotBeStartedAtLogin) {
  ScriptedOwner owner;
  owner.fCanLaunch = false;
  SettingsMenu menu(owner, SettingsMenu::Quit::NotOffered);
  EXPECT_EQ(Titles(menu)[0], "Launch at Login (not installed)");
  EXPECT_FALSE(menu.launchOnStart()->isEnabled());
  EXPECT_FALSE(menu.launchOnStart()->isChecked());
  Choose(menu, menu.launchOnStart());
  EXPECT_FALSE(owner.fLaunch);
}

TEST(SettingsMenuTest, QuitAsksTheOwner) {
  ScriptedOwner owner;
  SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  Choose(menu, menu.actions().last());
  EXPECT_EQ(owner.fQuits, 1);
}

TEST(SettingsMenuTest, AnInsertedEntryWithoutSubmenuDoesNothing) {
  ScriptedOwner owner;
  SettingsMenu menu(owner, SettingsMenu::Quit::Offered);
  QAction entry("Launch Mac Virtual Entity");
  menu.insertAction(menu.actions().at(3), &entry);
  EXPECT_EQ(Titles(menu)[3], "Launch Mac Virtual Entity");
  Choose(menu, &entry);
  EXPECT_FALSE(owner.fLaunch || owner.fSwitches);
  EXPECT_TRUE(owner.fNotify && owner.fChecks);
}

}  // namespace
}  // namespace vorn::ui
