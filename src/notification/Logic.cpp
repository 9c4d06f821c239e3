#include "notification/Logic.h"

namespace Notification {

Logic::Logic(vorn::UserDefaults& defaults, vorn::NotificationCenter& center, vorn::UrlOpener& opener)
    : fPersistence(defaults), fNotifier(center, opener) {}

void Logic::MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices) {
  for (const auto& device : devices) MaybeNotifyDevice(device);
}

void Logic::MaybeNotifyDevice(const DeviceList::ExtendedDeviceInfo& device) {
  if (device.firmwareVersion && device.latestVersion && !DeviceList::UpdateAvailable(device)) {
    fNotifier.Withdraw(device.uid);
  }
  if (!device.name || !DeviceList::UpdateAvailable(device)) return;
  const Record record{device.uid, *device.firmwareVersion, *device.latestVersion};
  const auto stored = fPersistence.GetRecordForUID(device.uid);
  if (stored && stored->latestVersion == record.latestVersion) return;
  fNotifier.Notify(record, device);
  fPersistence.StoreRecord(record);
}

void Logic::WithdrawAll() {
  fNotifier.WithdrawAll();
}

}  // namespace Notification
