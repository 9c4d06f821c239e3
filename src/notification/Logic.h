#pragma once

#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/Optional.h"
#include "notification/Notifier.h"
#include "platform/UserDefaults.h"

namespace Notification {

/// The memory of what was announced: one settings entry per unit, under
/// kKeyPrefix and the uid, holding the texts of the two versions.
/// Entries are never removed.
///
/// @threadsafety The main thread only. Reading never touches the disk.
class Persistence {
 public:
  static constexpr char kKeyPrefix[] = "notificationrecord-";

  /// `defaults` must outlive this object.
  explicit Persistence(vorn::UserDefaults& defaults) : fDefaults(defaults) {}

  /// Writes the record's entry, replacing an earlier one. The store saves it
  /// in its own time.
  void StoreRecord(const Record& record);

  /// The record of `uid`; empty when there is none or a version in it cannot
  /// be read.
  [[nodiscard]] vorn::optional<Record> GetRecordForUID(const std::string& uid) const;

 private:
  vorn::UserDefaults& fDefaults;
};

/// Decides which units' updates are announced to the user, once per unit and
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
  /// death in between repeats a notification rather than losing it. Runs at
  /// every publish: neither blocks nor touches the disk.
  /// A notification of an earlier list that still waits is withdrawn where the
  /// unit has been updated since, and replaced where another release is
  /// published.
  void MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices);

  /// The user wants no more notifications: withdraws all that still wait. Their
  /// releases count as announced.
  void WithdrawAll() { fNotifier.WithdrawAll(); }

 private:
  void MaybeNotifyDevice(const DeviceList::ExtendedDeviceInfo& device);

  Persistence fPersistence;
  Notifier fNotifier;
};

}  // namespace Notification
