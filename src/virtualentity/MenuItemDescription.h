#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "virtualentity/MenuDescription.h"

namespace vorn {

/// A menu item that a submenu is installed on by another thread. The submenu
/// is replaced as a whole and never changed in place, so one that was taken
/// stays as it is. Any thread.
class MenuItemDescription {
 public:
  explicit MenuItemDescription(std::string title);

  [[nodiscard]] const std::string& Title() const { return fTitle; }

  /// Null while there is none.
  [[nodiscard]] std::shared_ptr<const MenuDescription> Submenu() const;
  void SetSubmenu(std::shared_ptr<const MenuDescription> submenu);

 private:
  const std::string fTitle;
  mutable std::mutex fMutex;
  std::shared_ptr<const MenuDescription> fSubmenu;  // guarded by fMutex
};

}  // namespace vorn
