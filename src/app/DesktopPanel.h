#pragma once

#include <QTimer>
#include <functional>

#include "app/DesktopStatusItem.h"
#include "app/PanelWindow.h"
#include "devicelist/DiscoveryStatus.h"
#include "ui/DeviceListWindowController.h"

namespace vorn::app {

/// One showing of the panel on the desktop. While it is open, the line about
/// why the list may be empty is kept current.
class DesktopPanel final : public PanelWindow {
 public:
  using HintSource = std::function<DeviceList::DiscoveryHint()>;

  DesktopPanel(ui::PanelOwner& owner, DesktopStatusItem& item, HintSource hint);
  void show() override;
  void close() override;

 private:
  void updateHint();

  DesktopStatusItem& fItem;
  const HintSource fHint;
  ui::DeviceListWindowController fWindow;
  QTimer fHintTimer;
};

}  // namespace vorn::app
