#pragma once

#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

class QMenu;

namespace vorn::ui {

/// Receives every list that is published to the user, already filtered by the
/// user's settings. Called on the main thread only; the caller may publish
/// again from inside, and the listener may unregister itself from inside.
class DeviceListListener {
 public:
  virtual ~DeviceListListener() = default;

  /// Takes over a copy of the whole current list, in the order to be shown.
  virtual void updateDeviceList(std::vector<DeviceList::ExtendedDeviceInfo> list) = 0;

  /// The listener's settings menu, where the virtual-entity entry is inserted
  /// at index 3. It lives as long as the listener. An entry inserted into it
  /// stays the property of whoever made it; what the user chooses in a submenu
  /// of that entry is handed to PanelOwner::toggleMacVirtualEntity.
  virtual QMenu* menu() = 0;
};

}  // namespace vorn::ui
