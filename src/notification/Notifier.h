#pragma once

#include <memory>
#include <string>

#include "devicelist/ExtendedDeviceInfo.h"
#include "notification/NotificationDelegate.h"
#include "notification/Record.h"
#include "platform/NotificationCenter.h"
#include "platform/UrlOpener.h"

namespace Notification {

/// Posts the notice of a unit's update, and has clicks on it open the unit's
/// page. Constructing it is what makes clicks be handled; it never unregisters
/// from the centre, which holds the delegate weakly.
///
/// @threadsafety The main thread only.
class Notifier {
 public:
  /// The collaborators must outlive this object.
  Notifier(vorn::NotificationCenter& center, vorn::UrlOpener& opener);

  /// Posts one notice: the device's name in the title, the release as
  /// major.minor.patch in the text (the build number is deliberately not
  /// shown), and the address of the page to open. Nothing for a device without
  /// a name.
  void Notify(const Record& record, const DeviceList::ExtendedDeviceInfo& device);

  /// Takes back the notice about the unit with this uid, or every notice, that
  /// nobody has seen yet.
  void Withdraw(const std::string& uid) { fCenter.ForgetWaitingNotification(uid); }
  void WithdrawAll() { fCenter.ForgetWaitingNotifications(); }

 private:
  vorn::NotificationCenter& fCenter;
  std::shared_ptr<NotificationDelegate> fDelegate;  ///< the centre does not keep it alive
};

}  // namespace Notification
