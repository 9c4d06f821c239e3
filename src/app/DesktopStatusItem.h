#pragma once

#include "app/StatusBarItem.h"
#include "ui/TrayHostWatcher.h"
#include "ui/TrayStatusItem.h"

namespace vorn::app {

/// The item in the desktop's tray, which appears as soon as there is a host.
class DesktopStatusItem final : public StatusBarItem {
 public:
  /// `length`: the width in points of what our own view draws; a host that draws
  /// a button by itself makes it as wide as its bar is high.
  explicit DesktopStatusItem(int length);
  [[nodiscard]] ui::TrayStatusItem& tray() { return fTray; }

 private:
  ui::TrayStatusItem fTray;
  ui::TrayHostWatcher fHosts;
};

}  // namespace vorn::app
