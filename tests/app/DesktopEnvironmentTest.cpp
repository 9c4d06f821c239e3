#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLabel>
#include <QPointer>

#include "app/DesktopEnvironment.h"
#include "app/DesktopStatusItem.h"
#include "tests/app/OpenPanel.h"
#include "tests/support/ScopedEnvironment.h"
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
