#include "notification/Notifier.h"

#include <utility>

#include "devicelist/Entry.h"
#include "devicelist/http/Url.h"
#include "foundation/Console.h"
#include "foundation/Strings.h"

namespace Notification {
namespace {

constexpr const char* kTitle = vorn::Translatable("Core", "Update Available for %1");

/// Its only state are the collaborators of its Notifier.
class NotificationDelegate final : public vorn::NotificationCenter::Delegate {
 public:
  NotificationDelegate(vorn::NotificationCenter& center, vorn::UrlOpener& opener)
      : fCenter(center), fOpener(opener) {}

  void DidActivateNotification(const vorn::UserNotification& notification) override {
    HandleNotificationActivation(notification, fCenter, fOpener);
  }

 private:
  vorn::NotificationCenter& fCenter;
  vorn::UrlOpener& fOpener;
};

std::string VersionText(const vorn::FirmwareVersion& version) {
  return vorn::SlowConvertToString<unsigned long long>(version.major) + "." +
         vorn::SlowConvertToString<unsigned long long>(version.minor) + "." +
         vorn::SlowConvertToString<unsigned long long>(version.patch);
}

// A translation may put the name anywhere, or forget its place.
std::string TitleFor(const std::string& name, std::string title) {
  constexpr std::string_view kPlace = "%1";
  const auto place = title.find(kPlace);
  if (place == std::string::npos) return title + " " + name;
  return title.replace(place, kPlace.size(), name);
}

// A device's page opens at the section about the device itself.
std::string PageAddress(const DeviceList::ExtendedDeviceInfo& device) {
  const DeviceList::UnitKind* kind = DeviceList::KindOf(device.type);
  const bool hasSection = kind != nullptr && kind->page == DeviceList::UnitKind::Page::kDeviceSection;
  return hasSection ? device.url + "#device" : device.url;
}

}  // namespace

Notifier::Notifier(vorn::NotificationCenter& center, vorn::UrlOpener& opener, vorn::Translate translate)
    : fCenter(center),
      fTranslate(std::move(translate)),
      fDelegate(std::make_shared<NotificationDelegate>(center, opener)) {
  fCenter.SetDelegate(fDelegate);
}

bool Notifier::Notify(const Record& record, const DeviceList::ExtendedDeviceInfo& device) {
  if (!device.name) return true;
  vorn::UserNotification notification;
  notification.title = TitleFor(*device.name, fTranslate(kTitle));
  notification.informativeText = VersionText(record.latestVersion);
  notification.subject = record.uid;
  notification.source = device.address;
  notification.userInfo[vorn::kUserInfoUrl] = PageAddress(device);
  notification.playsDefaultSound = true;
  return fCenter.DeliverNotification(notification);
}

void HandleNotificationActivation(const vorn::UserNotification& notification,
                                  vorn::NotificationCenter& center, vorn::UrlOpener& opener) {
  center.RemoveDeliveredNotification(notification);
  const auto address = notification.userInfo.find(vorn::kUserInfoUrl);
  if (address == notification.userInfo.end()) return;
  HandleNotificationActivation(address->second, notification.activationToken, opener);
}

void HandleNotificationActivation(const std::string& address, const std::string& activationToken,
                                  vorn::UrlOpener& opener) {
  if (!DeviceList::IsWebAddress(address)) {
    vorn::WriteToConsole("Not a web address, not opened: " + vorn::Excerpt(address));
    return;
  }
  opener.Open(address, activationToken);
}

}  // namespace Notification
