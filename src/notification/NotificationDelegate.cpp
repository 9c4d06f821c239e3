#include "notification/NotificationDelegate.h"

#include "notification/HandleNotificationActivation.h"

namespace Notification {

void NotificationDelegate::DidActivateNotification(const vorn::UserNotification& notification) {
  HandleNotificationActivation(notification, fCenter, fOpener);
}

}  // namespace Notification
