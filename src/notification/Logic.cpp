#include "notification/Logic.h"

#include <set>
#include <string_view>
#include <utility>

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

Logic::Logic(vorn::UserDefaults& defaults, vorn::NotificationCenter& center, vorn::UrlOpener& opener,
             vorn::Translate translate)
    : fPersistence(defaults), fNotifier(center, opener, std::move(translate)) {}

void Logic::MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices) {
  std::set<std::string_view> outdated;  // units may share a uid
  for (const auto& device : devices) {
    if (DeviceList::UpdateAvailable(device)) outdated.insert(device.uid);
  }
  for (const auto& device : devices) {
    const bool isKnown = device.firmwareVersion && device.latestVersion;
    if (isKnown && !outdated.contains(device.uid)) fNotifier.Withdraw(device.uid);
    MaybeNotifyDevice(device);
  }
}

void Logic::MaybeNotifyDevice(const DeviceList::ExtendedDeviceInfo& device) {
  if (!device.name || !DeviceList::UpdateAvailable(device)) return;
  const Record record{device.uid, *device.firmwareVersion, *device.latestVersion};
  const auto stored = fPersistence.GetRecordForUID(device.uid);
  if (stored && stored->latestVersion == record.latestVersion) return;
  if (fNotifier.Notify(record, device)) fPersistence.StoreRecord(record);
}

}  // namespace Notification
