#include "notification/Persistence.h"

#include "foundation/Strings.h"

namespace Notification {
namespace {

std::string KeyForUID(const std::string& uid) {
  return Persistence::kKeyPrefix + uid;
}

vorn::optional<vorn::FirmwareVersion> VersionAt(const std::vector<std::string>& texts, std::size_t index) {
  if (index >= texts.size()) return {};
  return vorn::SlowConvertFromStringAllowRemainder<vorn::FirmwareVersion>(texts[index]);
}

}  // namespace

void Persistence::StoreRecord(const Record& record) {
  fDefaults.SetStringArray(KeyForUID(record.uid), {vorn::SlowConvertToString(record.currentVersion),
                                                   vorn::SlowConvertToString(record.latestVersion)});
}

vorn::optional<Record> Persistence::GetRecordForUID(const std::string& uid) const {
  const auto texts = fDefaults.GetStringArray(KeyForUID(uid));
  if (!texts) return {};
  const auto current = VersionAt(*texts, 0);
  if (!current) return {};
  const auto latest = VersionAt(*texts, 1);
  if (!latest) return {};
  return Record{uid, *current, *latest};
}

}  // namespace Notification
