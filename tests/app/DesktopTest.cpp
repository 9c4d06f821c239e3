#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <filesystem>
#include <fstream>
#include <vector>

#include "app/Desktop.h"
#include "notification/Notifier.h"
#include "platform/linux/notifications/NotificationState.h"
#include "tests/notification/Devices.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/ui/OpenPanel.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/StatusView.h"

namespace vorn::app {
namespace {

TEST(DesktopTest, MakesTheItemAsLongAsItIsAskedFor) {
  Desktop desktop;
  const auto bar = desktop.Makers().statusBar(25);
  std::vector<int> widths;
  for (const QWidget* widget : QApplication::topLevelWidgets()) {
    if (qobject_cast<const ui::StatusView*>(widget)) widths.push_back(widget->width());
  }
  EXPECT_EQ(widths, std::vector<int>{25});
}

TEST(DesktopTest, HasLoginItemsUnlessThisIsATrialRun) {
  Desktop desktop;
  for (const bool isTrial : {false, true}) {
    const vorn::testing::ScopedEnvironment trial("VORN_DEVICE_FINDER_TRIAL", isTrial ? "/nonexistent" : "");
    EXPECT_EQ(desktop.Makers().loginItems == nullptr, isTrial);
  }
}

TEST(DesktopTest, SaysInThePanelOnceThatAPageCouldNotBeOpened) {
  const vorn::testing::ScopedEnvironment path("PATH", "/nonexistent");
  ui::ScriptedOwner owner;
  Desktop desktop;
  const auto bar = desktop.Makers().statusBar(19);
  const auto said = [&] {
    bar->showPanel(owner);
    const QString words = ui::OpenPanel()->findChild<QLabel*>("hint")->text();
    bar->closePanel();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return words.contains("could not be opened");
  };
  desktop.UrlOpener().Open("http://unit.local/", {});
  EXPECT_TRUE(said());
  EXPECT_FALSE(said());

  const vorn::testing::TemporaryFolder folder;
  std::filesystem::create_symlink("/bin/true", folder.Path() / "xdg-open");
  for (const bool isFromNotification : {false, true}) {
    desktop.UrlOpener().Open("http://unit.local/", {});
    const vorn::testing::ScopedEnvironment good("PATH", folder.Path().string());
    if (isFromNotification) {
      Notification::HandleNotificationActivation("http://unit.local/", {}, desktop.UrlOpener());
    } else {
      desktop.UrlOpener().Open("http://unit.local/", {});
    }
    EXPECT_FALSE(said()) << "a later page was opened";
  }
}

TEST(DesktopTest, SavesNoReleaseAsAnnouncedWhoseWaitingNotificationCannotBeSaved) {
  const vorn::testing::TemporaryFolder folder;
  const vorn::testing::ScopedEnvironment config("XDG_CONFIG_HOME", folder.Path().string());
  const vorn::testing::ScopedEnvironment state("XDG_STATE_HOME", (folder.Path() / "state").string());
  std::ofstream(folder.Path() / "state") << "a file where the folder should be";
  const auto announce = [](Desktop& desktop) {
    Notification::Logic(desktop.Settings(), desktop.Makers().notificationCenter(), desktop.UrlOpener())
        .MaybeNotify({Notification::testing::MakeDevice({1, 0, 0, 5}, {1, 4, 2, 311})});
    desktop.Settings().SetBool("showSwitches", true);
    return desktop.Settings().Synchronize();
  };
  const auto isAnnounced = [] {
    const auto settings = IniUserDefaults::ReadOnly(UserSettingsPath());
    EXPECT_TRUE(settings.GetBool("showSwitches"));
    return settings.GetStringArray("notificationrecord-0001f2fffe00aa01").has_value();
  };
  {
    Desktop desktop;
    EXPECT_FALSE(announce(desktop));
    EXPECT_FALSE(isAnnounced());
  }
  EXPECT_FALSE(isAnnounced());  // nor at its end

  std::filesystem::remove(folder.Path() / "state");
  Desktop later;
  EXPECT_TRUE(announce(later));
  EXPECT_TRUE(isAnnounced());
  EXPECT_TRUE(IniUserDefaults::ReadOnly(UserNotificationsPath()).GetStringArray("notices"));
}

// As at the end of the program: the event loop has ended, then its owner drops a panel that is still open.
TEST(DesktopTest, DestroysThePanelThatWasOpenAtTheEnd) {
  ui::ScriptedOwner owner;
  auto desktop = std::make_unique<Desktop>();
  auto bar = desktop->Makers().statusBar(19);
  bar->showPanel(owner);
  const QPointer<ui::ClickablePanel> panel(ui::OpenPanel());
  ASSERT_NE(panel, nullptr);
  bar.reset();
  desktop.reset();
  EXPECT_EQ(panel, nullptr);
}

}  // namespace
}  // namespace vorn::app
