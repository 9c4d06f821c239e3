#pragma once

#include "platform/NotificationCenter.h"
#include "platform/UrlOpener.h"

namespace Notification {

/// Receives clicks from the notification centre and hands each to
/// HandleNotificationActivation. Holds no state but its collaborators, which
/// must outlive it.
class NotificationDelegate final : public vorn::NotificationCenter::Delegate {
 public:
  NotificationDelegate(vorn::NotificationCenter& center, vorn::UrlOpener& opener)
      : fCenter(center), fOpener(opener) {}

  void DidActivateNotification(const vorn::UserNotification& notification) override;

 private:
  vorn::NotificationCenter& fCenter;
  vorn::UrlOpener& fOpener;
};

}  // namespace Notification
