#include "app/DesktopStatusMenu.h"

namespace vorn::app {

DesktopStatusMenu::DesktopStatusMenu(ui::PanelOwner& owner, DesktopStatusItem& item)
    : fOwner(owner), fItem(item), fMenu(owner) {
  const auto follow = [this] {
    fMenu.setForm(fItem.tray().hasButton() ? ui::MenuForm::Exported : ui::MenuForm::Drawn);
  };
  QObject::connect(&fItem.tray(), &ui::StatusItem::formChanged, &fMenu, follow);
  follow();
  fOwner.addListener(&fMenu);
  fItem.tray().setContextMenu(fMenu.contextMenu());
}

DesktopStatusMenu::~DesktopStatusMenu() {
  fItem.tray().setContextMenu(nullptr);
  fOwner.removeListener(&fMenu);
}

}  // namespace vorn::app
