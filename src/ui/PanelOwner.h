#pragma once

#include <string>

#include "devicelist/ExtendedDeviceInfo.h"

class QMenu;

namespace vorn::ui {

/// Gets every list that is published to the user, already filtered by the user's settings. Called on the main
/// thread only. The caller may publish again inside the call, and the listener may unregister itself.
class DeviceListListener {
 public:
  virtual ~DeviceListListener() = default;

  /// Takes the whole current list, in the order to show.
  virtual void updateDeviceList(DeviceList::SharedUnits list) = 0;

  /// The listener's settings menu, where the entry of the virtual entity is
  /// inserted at index 3 (VirtualEntityMenu.h). It lives as long as the listener.
  virtual QMenu* menu() = 0;
};

/// What the panel and the status item's menu ask of the application controller. Main thread only. Every call
/// comes from inside an event of the asking widget, guarded or as the last thing in it. So the implementation
/// may destroy the asking DeviceListWindowController at once.
class PanelOwner {
 public:
  virtual ~PanelOwner() = default;

  /// Delivers the current list at once (also to a listener that is already registered) and every later one
  /// until removeListener. Not owned.
  virtual void addListener(DeviceListListener* listener) = 0;
  /// After this call the listener is not used again. Unknown listeners are ignored.
  virtual void removeListener(DeviceListListener* listener) = 0;

  /// Shows or hides the panel; a request for the present state does nothing.
  virtual void setPanelVisible(bool visible) = 0;

  /// Whether launching at login can be switched on and off; the same as long as the owner lives.
  virtual bool canLaunchOnLogin() = 0;
  virtual bool launchOnLogin() = 0;
  virtual void setLaunchOnLogin(bool enabled) = 0;
  virtual bool showSwitches() = 0;
  virtual void setShowSwitches(bool shown) = 0;
  virtual bool notify() = 0;
  virtual void setNotify(bool enabled) = 0;
  virtual bool checkForUpdates() = 0;
  virtual void setCheckForUpdates(bool enabled) = 0;

  /// Whether the panel should say that the program starts at login, because nobody has clicked in it since
  /// the very first run switched that on.
  virtual bool firstRunWords() = 0;
  /// The panel has said so, and need not say it again.
  virtual void endFirstRunWords() = 0;

  /// The address of the update server; empty while the program does not ask it.
  virtual std::string updateServer() = 0;

  /// Opens a unit's page in the user's browser. `url` is the unit's base address, byte for byte as it was
  /// listed.
  virtual void openUrl(const std::string& url) = 0;

  /// Ends the program after the current event.
  virtual void quit() = 0;
};

}  // namespace vorn::ui
