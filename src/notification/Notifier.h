#pragma once

#include <memory>
#include <string>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/FirmwareVersion.h"
#include "platform/NotificationCenter.h"
#include "platform/UrlOpener.h"

namespace Notification {

/// What was announced for one unit.
struct Record {
  std::string uid;                       ///< the unit's own identifier; a stranger's bytes
  vorn::FirmwareVersion currentVersion;  ///< what the unit ran when the announcement was made
  vorn::FirmwareVersion latestVersion;   ///< the release that was announced
};

/// Posts the notification of a unit's update, and has clicks on it open the
/// unit's page. Constructing it is what makes clicks be handled; it never
/// unregisters from the centre, which holds the delegate weakly.
///
/// @threadsafety The main thread only.
class Notifier {
 public:
  /// The collaborators must outlive this object.
  Notifier(vorn::NotificationCenter& center, vorn::UrlOpener& opener);

  /// Posts one notification: the device's name in the title, the release as
  /// major.minor.patch in the text (the build number is deliberately not
  /// shown), and the address of the page to open. Nothing for a device without
  /// a name.
  void Notify(const Record& record, const DeviceList::ExtendedDeviceInfo& device);

  /// Takes back the notification about the unit with this uid, or every one,
  /// that nobody has seen yet.
  void Withdraw(const std::string& uid) { fCenter.ForgetWaitingNotification(uid); }
  void WithdrawAll() { fCenter.ForgetWaitingNotifications(); }

 private:
  vorn::NotificationCenter& fCenter;
  /// A NotificationDelegate, which hands clicks to HandleNotificationActivation;
  /// the centre does not keep it alive.
  std::shared_ptr<vorn::NotificationCenter::Delegate> fDelegate;
};

/// Answers the click on a notification: removes it from the centre, in any case,
/// and opens the web address it carries. One without an address opens nothing;
/// one whose address is no web address (WebAddress.h) opens nothing and says so
/// on the console. Main thread; does not block.
void HandleNotificationActivation(const vorn::UserNotification& notification,
                                  vorn::NotificationCenter& center, vorn::UrlOpener& opener);

/// The same from a page address alone: for a click that reaches the program as
/// the "open-page" action of its D-Bus name, perhaps starting it. Whoever can
/// call that action chooses the address, so only web addresses are opened;
/// anything else is refused on the console. `activationToken` may be empty.
void HandleNotificationActivation(const std::string& address, const std::string& activationToken,
                                  vorn::UrlOpener& opener);

}  // namespace Notification
