#pragma once

#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

namespace DeviceList {

/// The units that were shown before the list was built anew, kept in view until
/// the new list knows at least as much of each as was shown before. A plain
/// value of one thread.
class HeldUnits {
 public:
  /// Holds all of `shown`, in the place of what was held.
  void Hold(std::vector<ExtendedDeviceInfo> shown);

  /// Lets go of everything.
  void Release();

  [[nodiscard]] bool Empty() const { return fHeld.empty(); }

  /// What to show for `current`: a held unit that it does not know as well is
  /// shown as it was; one that it does is let go of for good. Sorted like any
  /// published list.
  std::vector<ExtendedDeviceInfo> Merge(std::vector<ExtendedDeviceInfo> current);

 private:
  std::vector<ExtendedDeviceInfo> fHeld;
};

}  // namespace DeviceList
