#pragma once

#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/Optional.h"
#include "notification/Notifier.h"
#include "platform/UserDefaults.h"

namespace Notification {

/// Remembers what was announced: one settings entry for each unit, under kKeyPrefix and the uid, with the
/// texts of the two versions. Entries are never removed.
///
/// @threadsafety The main thread only. Reading never touches the disk.
class Persistence {
 public:
  static constexpr char kKeyPrefix[] = "notificationrecord-";

  /// `defaults` must live longer than this object.
  explicit Persistence(vorn::UserDefaults& defaults) : fDefaults(defaults) {}

  /// Writes the record's entry and replaces an earlier one. The store saves it later.
  void StoreRecord(const Record& record);

  /// The record of `uid`; empty if there is none or a version in it cannot be read.
  [[nodiscard]] vorn::optional<Record> GetRecordForUID(const std::string& uid) const;

 private:
  vorn::UserDefaults& fDefaults;
};

/// Decides which updates to announce to the user: once for each unit and release, also across restarts of the
/// program.
///
/// @threadsafety The main thread only.
class Logic {
 public:
  /// The collaborators must live longer than this object.
  Logic(vorn::UserDefaults& defaults, vorn::NotificationCenter& center, vorn::UrlOpener& opener,
        vorn::Translate translate = &vorn::Untranslated);

  /// Announces each unit of a published list that has a name and an available update
  /// (DeviceList::UpdateAvailable), unless the same release was announced for its uid before. Announces first
  /// and stores then, so that a death in between repeats a notification and does not lose it. If the centre
  /// does not take it, nothing is stored, and a later list announces it. Runs at every publish: neither
  /// blocks nor touches the disk. A waiting notification of an earlier list is withdrawn if the unit was
  /// updated, and replaced if another release is published.
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
