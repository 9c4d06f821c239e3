#include "notification/HandleNotificationActivation.h"

#include "foundation/Console.h"
#include "notification/WebAddress.h"

namespace Notification {

void HandleNotificationActivation(const vorn::UserNotification& notification,
                                  vorn::NotificationCenter& center, vorn::UrlOpener& opener) {
  center.RemoveDeliveredNotification(notification);
  const auto address = notification.userInfo.find(vorn::kUserInfoUrl);
  if (address == notification.userInfo.end()) return;
  HandleNotificationActivation(address->second, notification.activationToken, opener);
}

void HandleNotificationActivation(const std::string& address, const std::string& activationToken,
                                  vorn::UrlOpener& opener) {
  if (!IsWebAddress(address)) {
    vorn::WriteToConsole("Not a web address, not opened: " + vorn::Excerpt(address));
    return;
  }
  opener.Open(address, activationToken);
}

}  // namespace Notification
