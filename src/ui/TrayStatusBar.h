#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>

#include "devicelist/DiscoveryStatus.h"
#include "ui/StatusBar.h"
#include "ui/StatusToolTip.h"
#include "ui/StatusView.h"
#include "ui/TrayHostWatcher.h"
#include "ui/TrayStatusItem.h"

namespace vorn::ui {

class DeviceListWindowController;
class StatusMenu;

/// The status bar of a real desktop: an item in its tray, which appears when there is a host. Some parts are
/// left to the event loop for deletion, so the owner must turn that loop once more at the end. Main thread
/// only.
class TrayStatusBar final : public StatusBar {
 public:
  struct Look {
    TrayStatusItem::Look item;
    QString windowIconName;  ///< in the theme, for windows that show one
  };

  /// What the menu and the panel show below the list, and the tool tip in its place; asked while they exist.
  struct Hints {
    std::function<DeviceList::DiscoveryHint()> discovery;  ///< why nothing may be listed
    /// Whether the page that was requested last could not be opened. Says so once, so the panel shows it
    /// until it closes.
    std::function<bool()> takePageFailure;
    std::chrono::milliseconds period{1000};  ///< between two questions of an open panel
    StatusToolTip::Timing toolTip{};
  };

  /// From now on, assistive tools see the program under its name. `length`: the width in points of what our
  /// own view draws. A host that draws a button makes it as wide as its bar is high.
  TrayStatusBar(Look look, int length, Hints hints);
  /// Closes the panel and unregisters the menu.
  ~TrayStatusBar() override;
  TrayStatusBar(const TrayStatusBar&) = delete;
  TrayStatusBar& operator=(const TrayStatusBar&) = delete;

  void setAction(std::function<void()> action) override;
  void setHighlight(bool highlight) override;
  void setActive(bool active) override;
  void showPanel(PanelOwner& owner) override;
  void closePanel() override;
  void offerMenu(PanelOwner& owner) override;

 private:
  void setWindowIcon() const;
  void updateHint();

  const Look fLook;
  const Hints fHints;
  TrayStatusItem fItem;
  TrayHostWatcher fHosts;
  StatusView fView;
  QObject fTarget;  ///< of presses
  PanelOwner* fMenuOwner = nullptr;
  std::unique_ptr<StatusMenu> fMenu;
  std::unique_ptr<StatusToolTip> fToolTip;
  bool fPageNotOpened = false;  ///< what the open panel says about the last page
  QTimer fHintTimer;            ///< runs while the panel is open
  std::unique_ptr<DeviceListWindowController> fPanel;
};

}  // namespace vorn::ui
