#pragma once

#include <functional>

#include "app/DesktopStatusItem.h"
#include "app/StatusBarMenu.h"
#include "ui/PanelOwner.h"
#include "ui/StatusMenu.h"

namespace vorn::app {

/// The tray's menu, registered as a listener with its owner.
class DesktopStatusMenu final : public StatusBarMenu {
 public:
  DesktopStatusMenu(ui::PanelOwner& owner, DesktopStatusItem& item,
                    std::function<DeviceList::DiscoveryHint()> hint);
  ~DesktopStatusMenu() override;

 private:
  ui::PanelOwner& fOwner;
  DesktopStatusItem& fItem;
  ui::StatusMenu fMenu;
};

}  // namespace vorn::app
