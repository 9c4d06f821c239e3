#pragma once

#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "notification/Notifier.h"
#include "notification/Persistence.h"

namespace Notification {

/// Decides which units' updates the user is to be told of, once per unit and
/// release, across restarts of the program.
///
/// @threadsafety The main thread only.
class Logic {
 public:
  /// The collaborators must outlive this object.
  Logic(vorn::UserDefaults& defaults, vorn::NotificationCenter& center, vorn::UrlOpener& opener);

  /// Announces each unit of a published list that has a name and an update
  /// available (DeviceList::UpdateAvailable), unless the very release was
  /// announced for its uid before. Announces first and stores then, so that a
  /// death in between repeats a notice rather than losing it. Runs at every
  /// publish: neither blocks nor touches the disk.
  /// A notice of an earlier list that still waits is withdrawn where the unit
  /// has been updated since, and replaced where another release is published.
  void MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices);

  /// The user wants no more notices: withdraws all that still wait. Their
  /// releases count as announced.
  void WithdrawAll();

 private:
  void MaybeNotifyDevice(const DeviceList::ExtendedDeviceInfo& device);

  Persistence fPersistence;
  Notifier fNotifier;
};

}  // namespace Notification
