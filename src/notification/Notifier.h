#pragma once

#include <memory>
#include <string>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/FirmwareVersion.h"
#include "foundation/Translatable.h"
#include "platform/NotificationCenter.h"
#include "platform/UrlOpener.h"

namespace Notification {

/// What was announced for one unit.
struct Record {
  std::string uid;                       ///< the unit's own identifier; a stranger's bytes
  vorn::FirmwareVersion currentVersion;  ///< the unit's firmware at the time of the announcement
  vorn::FirmwareVersion latestVersion;   ///< the release that was announced
};

/// Posts the notification of a unit's update, and opens the unit's page when it is clicked. Its construction
/// makes clicks work. It never unregisters from the centre, which holds the delegate weakly.
///
/// @threadsafety The main thread only.
class Notifier {
 public:
  /// The collaborators must live longer than this object. `translate` is asked for each notification.
  Notifier(vorn::NotificationCenter& center, vorn::UrlOpener& opener,
           vorn::Translate translate = &vorn::Untranslated);

  /// Posts one notification: the device's name in the title, the release as major.minor.patch in the text,
  /// and the address of the page to open. The build number is not shown on purpose. Does nothing for a device
  /// without a name. False if the centre has not taken it, because there were too many.
  [[nodiscard]] bool Notify(const Record& record, const DeviceList::ExtendedDeviceInfo& device);

  /// Withdraws the notification about the unit with this uid, or every notification, if nobody has seen it
  /// yet.
  void Withdraw(const std::string& uid) { fCenter.ForgetWaitingNotification(uid); }
  void WithdrawAll() { fCenter.ForgetWaitingNotifications(); }

 private:
  vorn::NotificationCenter& fCenter;
  const vorn::Translate fTranslate;
  /// A NotificationDelegate, which passes clicks to HandleNotificationActivation; the centre does not keep it
  /// alive.
  std::shared_ptr<vorn::NotificationCenter::Delegate> fDelegate;
};

/// Handles the click on a notification: always removes it from the centre, and opens its web address. One
/// without an address opens nothing. If the address is no web address (DeviceList::IsWebAddress), nothing
/// opens, and the console says so. Main thread; does not block.
void HandleNotificationActivation(const vorn::UserNotification& notification,
                                  vorn::NotificationCenter& center, vorn::UrlOpener& opener);

/// The same for a page address alone: for a click that reaches the program as the "open-page" action of its
/// D-Bus name and may even start it. The caller of that action chooses the address, so only web addresses are
/// opened. Anything else is refused on the console. `activationToken` may be empty.
void HandleNotificationActivation(const std::string& address, const std::string& activationToken,
                                  vorn::UrlOpener& opener);

}  // namespace Notification
