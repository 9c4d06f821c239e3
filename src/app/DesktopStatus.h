#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "app/AppDelegateEnvironment.h"
#include "ui/StatusMenu.h"
#include "ui/StatusView.h"
#include "ui/TrayHostWatcher.h"
#include "ui/TrayStatusItem.h"

namespace vorn::app {

/// The item in the desktop's tray, which appears as soon as there is a host.
class DesktopStatusItem final : public StatusItem {
 public:
  DesktopStatusItem();
  [[nodiscard]] ui::TrayStatusItem& tray() { return fTray; }

 private:
  ui::TrayStatusItem fTray;
  ui::TrayHostWatcher fHosts;
};

/// What the tray shows.
class DesktopStatusView final : public StatusView {
 public:
  explicit DesktopStatusView(DesktopStatusItem& item);
  void setAction(std::function<void()> action) override;
  void setHighlight(bool highlight) override { fView.setHighlight(highlight); }
  void setActive(bool active) override { fView.setActive(active); }

 private:
  ui::StatusView fView;
  QObject fTarget;  ///< presses mean nothing once it is gone
};

/// The tray's menu, registered as a listener with its owner.
class DesktopStatusMenu final : public StatusMenu {
 public:
  DesktopStatusMenu(ui::PanelOwner& owner, DesktopStatusItem& item);
  ~DesktopStatusMenu() override;

 private:
  ui::PanelOwner& fOwner;
  DesktopStatusItem& fItem;
  ui::StatusMenu fMenu;
};

}  // namespace vorn::app
