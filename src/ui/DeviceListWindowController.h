#pragma once

#include <QObject>
#include <QPointer>
#include <optional>

#include "foundation/Clock.h"
#include "ui/DeviceWords.h"
#include "ui/PanelPlacement.h"

namespace vorn::ui {

class ClickablePanel;
class DeviceListController;
class PanelOwner;

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

  /// Shows the panel in front and with the focus at `place`, which is ignored if clients cannot place
  /// windows. While it is open, it has the size of what it shows, as far as the place's free area allows, and
  /// keeps its edge at the bar.
  void showAt(const PanelPlace& place);

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
  void fit();
  void cancelOperation();
  void panelResignedKey();
  void panelWillClose();

  PanelOwner* fAppDelegate;
  const Now fNow;
  QPointer<ClickablePanel> fPanel;
  QPointer<DeviceListController> fController;  // child of the panel
  PanelHint fHint;
  std::optional<PanelPlace> fPlace;  // of the panel since it is shown
  bool fClosed = false;
};

}  // namespace vorn::ui
