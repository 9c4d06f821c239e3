#pragma once

#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/AbsoluteTime.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// The units that were shown before the list was built anew, each kept in view
/// until the new list knows at least as much of it as was shown before, or its
/// time is over. A plain value of one thread.
class HeldUnits {
 public:
  /// Holds all of `shown`, in the place of what was held: until `until`, or,
  /// for a unit that was held already and that no list has named since, until
  /// the time that it had.
  void Hold(std::vector<ExtendedDeviceInfo> shown, vorn::AbsoluteTime until);

  /// Lets go of the units whose time is over; says whether there was one.
  bool ReleaseDue(vorn::AbsoluteTime now);

  /// When the first unit's time is over; empty when nothing is held.
  [[nodiscard]] vorn::optional<vorn::AbsoluteTime> NextDue() const;

  /// What to show for `current`: a held unit that it does not know as well is
  /// shown as it was; one that it does is let go of for good. Sorted like any
  /// published list.
  std::vector<ExtendedDeviceInfo> Merge(std::vector<ExtendedDeviceInfo> current);

 private:
  struct Held {
    ExtendedDeviceInfo unit;
    vorn::AbsoluteTime until = 0;
    bool isNamed = false;  // a list has named it since it is held
  };

  std::vector<Held> fHeld;
};

}  // namespace DeviceList
