#pragma once

#include <string>

#include "foundation/Optional.h"
#include "notification/Record.h"
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

}  // namespace Notification
