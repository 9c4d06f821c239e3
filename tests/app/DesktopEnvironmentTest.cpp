#include <gtest/gtest.h>

#include <QPointer>

#include "app/DesktopEnvironment.h"
#include "app/DesktopStatusItem.h"
#include "tests/app/OpenPanel.h"
#include "tests/ui/ScriptedOwner.h"
#include "ui/SettingsMenu.h"

namespace vorn::app {
namespace {

TEST(DesktopEnvironment, MakesTheItemAsLongAsItIsAskedFor) {
  DesktopEnvironment environment;
  const auto item = environment.makeStatusItem(25);
  EXPECT_EQ(dynamic_cast<DesktopStatusItem&>(*item).tray().length(), 25);
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
