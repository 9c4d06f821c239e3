#pragma once

#include <QObject>
#include <functional>

#include "app/DesktopStatusItem.h"
#include "app/StatusBarView.h"
#include "ui/StatusView.h"

namespace vorn::app {

/// What the tray shows.
class DesktopStatusView final : public StatusBarView {
 public:
  explicit DesktopStatusView(DesktopStatusItem& item);
  void setAction(std::function<void()> action) override;
  void setHighlight(bool highlight) override { fView.setHighlight(highlight); }
  void setActive(bool active) override { fView.setActive(active); }

 private:
  ui::StatusView fView;
  QObject fTarget;  ///< presses mean nothing once it is gone
};

}  // namespace vorn::app
