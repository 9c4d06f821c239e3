#pragma once

#include <QObject>
#include <QPointer>

#include "foundation/Clock.h"
#include "ui/DeviceWords.h"

namespace vorn::ui {

class ClickablePanel;
class DeviceListController;
class PanelOwner;
class StatusItem;

/// Owns the panel from its creation until it is hidden. The interface "DeviceListPanel" is loaded when the
/// panel is first needed. From then until it closes, its controller is registered as a listener with the
/// owner.
///
/// Whenever the panel closes, also if the window system closes it, the owner is asked to hide it. The owner
/// may destroy this object inside any of the panel's own events (click, key, lost focus, close). The rest of
/// such an event touches neither this object nor the owner, and the event loop deletes the panel. An owner
/// that goes away closes and destroys this object first. Main thread only.
class DeviceListWindowController : public QObject {
  Q_OBJECT

 public:
  explicit DeviceListWindowController(PanelOwner& appDelegate, Now now = Clock::now);
  /// Closes the panel if it is still open.
  ~DeviceListWindowController() override;
  Q_DISABLE_COPY_MOVE(DeviceListWindowController)

  /// The panel, loaded on first use; null after it has closed.
  ClickablePanel* panel();
  /// The panel's controller, loaded on first use; null after the panel has closed.
  DeviceListController* deviceListController();

  /// Shows the panel at its place for `item`, in front and with the focus (PanelPlacement.h; ignored if
  /// clients cannot place windows). Null: as for an item whose place is unknown.
  void showFor(const StatusItem* item);

  /// Hides the panel for good and unregisters its listener. A second call does nothing.
  void close();

  /// The text of the quiet line below the list.
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
  const Now fNow;
  QPointer<ClickablePanel> fPanel;
  QPointer<DeviceListController> fController;  // child of the panel
  PanelHint fHint;
  bool fClosed = false;
};

}  // namespace vorn::ui
