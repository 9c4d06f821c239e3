#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLabel>
#include <QPointer>
#include <filesystem>
#include <fstream>

#include "app/DesktopEnvironment.h"
#include "app/DesktopStatusItem.h"
#include "platform/linux/notifications/NotificationState.h"
#include "tests/app/OpenPanel.h"
#include "tests/notification/Devices.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/SettingsMenu.h"

namespace vorn::app {
namespace {

TEST(DesktopEnvironment, MakesTheItemAsLongAsItIsAskedFor) {
  DesktopEnvironment environment;
  const auto item = environment.makeStatusItem(25);
  EXPECT_EQ(dynamic_cast<DesktopStatusItem&>(*item).tray().length(), 25);
}

TEST(DesktopEnvironment, SaysInThePanelOnceThatAPageCouldNotBeOpened) {
  const vorn::testing::ScopedEnvironment path("PATH", "/nonexistent");
  ui::ScriptedOwner owner;
  DesktopEnvironment environment;
  const auto item = environment.makeStatusItem(19);
  environment.openUrl("http://unit.local/", {});
  const auto said = [&] {
    const auto panel = environment.makePanel(owner, *item);
    panel->show();
    const QString words = testing::OpenPanel()->findChild<QLabel*>("hint")->text();
    panel->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return words.contains("could not be opened");
  };
  EXPECT_TRUE(said());
  EXPECT_FALSE(said());

  const vorn::testing::TemporaryFolder folder;
  std::filesystem::create_symlink("/bin/true", folder.Path() / "xdg-open");
  for (const bool isFromNotice : {false, true}) {
    environment.openUrl("http://unit.local/", {});
    const vorn::testing::ScopedEnvironment good("PATH", folder.Path().string());
    if (isFromNotice) {
      environment.handleNotificationActivation("http://unit.local/", {});
    } else {
      environment.openUrl("http://unit.local/", {});
    }
    EXPECT_FALSE(said()) << "a later page was opened";
  }
}

TEST(DesktopEnvironment, SavesNoReleaseAsAnnouncedWhoseWaitingNoticeCannotBeSaved) {
  const vorn::testing::TemporaryFolder folder;
  const vorn::testing::ScopedEnvironment config("XDG_CONFIG_HOME", folder.Path().string());
  const vorn::testing::ScopedEnvironment state("XDG_STATE_HOME", (folder.Path() / "state").string());
  std::ofstream(folder.Path() / "state") << "a file where the folder should be";
  const auto announce = [](DesktopEnvironment& environment) {
    environment.makeNotificationLogic()->MaybeNotify(
        {Notification::testing::MakeDevice({1, 0, 0, 5}, {1, 4, 2, 311})});
    environment.standardUserDefaults().SetBool("showSwitches", true);
    return environment.standardUserDefaults().Synchronize();
  };
  const auto isAnnounced = [] {
    const auto settings = IniUserDefaults::ReadOnly(UserSettingsPath());
    EXPECT_TRUE(settings.GetBool("showSwitches"));
    return settings.GetStringArray("notificationrecord-0001f2fffe00aa01").has_value();
  };
  {
    DesktopEnvironment environment;
    EXPECT_FALSE(announce(environment));
    EXPECT_FALSE(isAnnounced());
  }
  EXPECT_FALSE(isAnnounced());  // nor at its end

  std::filesystem::remove(folder.Path() / "state");
  DesktopEnvironment later;
  EXPECT_TRUE(announce(later));
  EXPECT_TRUE(isAnnounced());
  EXPECT_TRUE(IniUserDefaults::ReadOnly(UserNotificationsPath()).GetStringArray("notices"));
}

// As at the end of the program: the event loop has ended, then its owner lets
// go of a panel that is still open.
TEST(DesktopEnvironment, DestroysThePanelThatWasOpenAtTheEnd) {
  ui::ScriptedOwner owner;
  auto environment = std::make_unique<DesktopEnvironment>();
  auto item = environment->makeStatusItem(19);
  auto shown = environment->makePanel(owner, *item);
  shown->show();
  const QPointer<ui::ClickablePanel> panel(testing::OpenPanel());
  ASSERT_NE(panel, nullptr);
  const QPointer<ui::SettingsMenu> menu(panel->findChild<ui::SettingsMenu*>());
  const QPointer<ui::DeviceListController> controller(panel->findChild<ui::DeviceListController*>());
  ASSERT_NE(menu, nullptr);
  ASSERT_NE(controller, nullptr);
  shown.reset();
  EXPECT_TRUE(owner.fListeners.empty());
  item.reset();
  environment.reset();
  EXPECT_EQ(panel, nullptr);
  EXPECT_EQ(menu, nullptr);
  EXPECT_EQ(controller, nullptr);
}

}  // namespace
}  // namespace vorn::app
