#include "virtualentity/MenuItemDescription.h"

#include <utility>

namespace vorn {

MenuItemDescription::MenuItemDescription(std::string title) : fTitle(std::move(title)) {}

std::shared_ptr<const MenuDescription> MenuItemDescription::Submenu() const {
  const std::lock_guard lock(fMutex);
  return fSubmenu;
}

void MenuItemDescription::SetSubmenu(std::shared_ptr<const MenuDescription> submenu) {
  const std::lock_guard lock(fMutex);
  fSubmenu.swap(submenu);
}

}  // namespace vorn
