#include "notification/Notifier.h"

#include "devicelist/Entry.h"
#include "foundation/Strings.h"

namespace Notification {
namespace {

std::string VersionText(const vorn::FirmwareVersion& version) {
  return vorn::SlowConvertToString<unsigned long long>(version.major) + "." +
         vorn::SlowConvertToString<unsigned long long>(version.minor) + "." +
         vorn::SlowConvertToString<unsigned long long>(version.patch);
}

// A device's page opens at the section about the device itself.
std::string PageAddress(const DeviceList::ExtendedDeviceInfo& device) {
  const bool hasDeviceSection =
      device.type == DeviceList::kTypeHost || device.type == DeviceList::kTypeDevice;
  return hasDeviceSection ? device.url + "#device" : device.url;
}

}  // namespace

Notifier::Notifier(vorn::NotificationCenter& center, vorn::UrlOpener& opener)
    : fCenter(center), fDelegate(std::make_shared<NotificationDelegate>(center, opener)) {
  fCenter.SetDelegate(fDelegate);
}

void Notifier::Notify(const Record& record, const DeviceList::ExtendedDeviceInfo& device) {
  if (!device.name) return;
  vorn::UserNotification notification;
  notification.title = "Update Available for " + *device.name;
  notification.informativeText = VersionText(record.latestVersion);
  notification.subject = record.uid;
  notification.userInfo[vorn::kUserInfoUrl] = PageAddress(device);
  notification.playsDefaultSound = true;
  fCenter.DeliverNotification(notification);
}

}  // namespace Notification
