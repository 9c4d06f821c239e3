#pragma once

#include <QObject>
#include <QPointer>

#include "ui/DeviceWords.h"

namespace vorn::ui {

class ClickablePanel;
class DeviceListController;
class PanelOwner;
class StatusItem;

/// Owns one showing of the panel, from its creation to the hide. The interface
/// "DeviceListPanel" is loaded when the panel is first asked for; from then
/// until it is closed its controller is registered as a listener with the owner.
///
/// However the panel closes, also when the window system closes it, the owner is
/// asked to hide it. The owner may destroy this object inside any of the panel's
/// own events (click, key, lost focus, close): what still runs there touches neither this object
/// nor the owner again, and the panel itself is handed to the event loop for
/// deletion. An owner that goes away closes and destroys this object first.
/// Main thread only.
class DeviceListWindowController : public QObject {
  Q_OBJECT

 public:
  explicit DeviceListWindowController(PanelOwner& appDelegate);
  /// Closes the panel if that has not been done.
  ~DeviceListWindowController() override;
  Q_DISABLE_COPY_MOVE(DeviceListWindowController)

  /// The panel, loaded on first use; null once closed.
  ClickablePanel* panel();
  /// The panel's controller, loaded on first use; null once closed.
  DeviceListController* deviceListController();

  /// Shows the panel where it belongs for `item` (PanelPlacement.h; ignored
  /// where clients cannot place windows), in front and with the focus; null: as
  /// for an item whose place nobody knows.
  void showFor(const StatusItem* item);

  /// Hides the panel for good and unregisters its listener. A second call does nothing.
  void close();

  /// What the quiet line below the list says.
  void setHint(const PanelHint& hint);

  [[nodiscard]] PanelOwner* appDelegate() const { return fAppDelegate; }

 signals:
  /// The panel has lost the focus and is about to ask its owner to hide it.
  void hiddenByDeactivation();

 private:
  void load();
  void cancelOperation();
  void panelResignedKey();
  void panelWillClose();

  PanelOwner* fAppDelegate;
  QPointer<ClickablePanel> fPanel;
  QPointer<DeviceListController> fController;  // child of the panel
  PanelHint fHint;
  bool fClosed = false;
};

}  // namespace vorn::ui
