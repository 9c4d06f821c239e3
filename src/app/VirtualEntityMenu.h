#pragma once

#include <memory>
#include <vector>

#include "app/VirtualEntity.h"
#include "virtualentity/MacVirtualEntity.h"
#include "virtualentity/MenuItemDescription.h"

class QAction;
class QMenu;

namespace vorn::app {

/// The virtual entity with its submenus: the core finds the interfaces and
/// describes the submenu on a background thread, this makes the toolkit's menus
/// of it on the main thread. All menus show the same state.
///
/// Owns menus from setFVirtualEntityMenuItem on until it is called with null,
/// which has to come before the destruction on another thread.
class VirtualEntityMenu final : public VirtualEntity {
 public:
  /// As for the core's object.
  VirtualEntityMenu(Dispatch& dispatch, ChildProcessLauncher& launcher, NetworkServices& services,
                    AVBCapability& capability, AVBTool tool = {});
  ~VirtualEntityMenu() override;

  void setFVirtualEntityMenuItem(std::shared_ptr<QAction> item) override;
  bool EnumerateAVBInterfaces() override;
  void stopEnumerations() override;
  bool installSubmenus() override;
  void EnableDisableVirtualAudio(QAction* sender) override;

 private:
  struct Parent {
    std::weak_ptr<QAction> item;  ///< of a menu that may close at any time
    std::unique_ptr<QMenu> submenu;
  };

  void forgetClosedMenus();

  const std::shared_ptr<MenuItemDescription> fDescription;
  MacVirtualEntity fEntity;
  std::shared_ptr<QAction> fItem;  ///< the one set last
  std::vector<Parent> fParents;    ///< every one that was set and still lives
};

}  // namespace vorn::app
