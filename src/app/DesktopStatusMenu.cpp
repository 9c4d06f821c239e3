#include "app/DesktopStatusMenu.h"

#include <utility>

namespace vorn::app {

DesktopStatusMenu::DesktopStatusMenu(ui::PanelOwner& owner, DesktopStatusItem& item,
                                     std::function<DeviceList::DiscoveryHint()> hint)
    : fOwner(owner), fItem(item), fMenu(owner) {
  const auto follow = [this] {
    fMenu.setForm(fItem.tray().hasButton() ? ui::MenuForm::Exported : ui::MenuForm::Drawn);
  };
  QObject::connect(&fItem.tray(), &ui::StatusItem::formChanged, &fMenu, follow);
  follow();
  fMenu.setHintSource(std::move(hint));
  fOwner.addListener(&fMenu);
  fItem.tray().setContextMenu(fMenu.contextMenu());
}

DesktopStatusMenu::~DesktopStatusMenu() {
  fItem.tray().setContextMenu(nullptr);
  fOwner.removeListener(&fMenu);
}

}  // namespace vorn::app
