#include "app/DesktopStatusMenu.h"

namespace vorn::app {

DesktopStatusMenu::DesktopStatusMenu(ui::PanelOwner& owner, DesktopStatusItem& item)
    : fOwner(owner), fItem(item), fMenu(owner) {
  fOwner.addListener(&fMenu);
  fItem.tray().setContextMenu(fMenu.contextMenu());
}

DesktopStatusMenu::~DesktopStatusMenu() {
  fItem.tray().setContextMenu(nullptr);
  fOwner.removeListener(&fMenu);
}

}  // namespace vorn::app
