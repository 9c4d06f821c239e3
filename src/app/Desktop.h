#pragma once

#include <QObject>
#include <memory>

#include "app/AppDelegate.h"
#include "devicelist/DiscoveryStatus.h"
#include "notification/Center.h"
#include "platform/linux/dispatch/DispatchLinux.h"
#include "platform/linux/login/AutostartLoginItems.h"
#include "platform/linux/network/AVBCapabilityLinux.h"
#include "platform/linux/network/NetworkServicesLinux.h"
#include "platform/linux/notifications/NotificationState.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "platform/linux/processes/XdgUrlOpener.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace vorn::app {

/// What the program has of a real desktop. What needs the event loop or the
/// session bus is made when it is first asked for, so that a start for the sake
/// of one page makes nothing else. Main thread, with an application object and
/// the core's run loop set. Outlives the controller and the event loop; what the
/// panel has left to the loop for deletion goes with this object at the latest.
class Desktop {
 public:
  Desktop();
  ~Desktop();
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  /// The controller's collaborators; the functions use this object.
  [[nodiscard]] AppDelegate::Makers Makers();

  [[nodiscard]] XdgUrlOpener& UrlOpener() { return fOpener; }
  [[nodiscard]] IniUserDefaults& Settings();
  /// Ends the event loop, also one that has not begun yet, unless this object
  /// goes first.
  void Terminate();

 private:
  NotificationCenter& Notifications();
  Dispatch& Queues();
  std::shared_ptr<MacVirtualEntity> MakeVirtualEntity();
  std::unique_ptr<ui::StatusBar> MakeStatusBar(int length);

  QObject fLifetime;
  XdgUrlOpener fOpener;
  AutostartLoginItems fLoginItems;
  DeviceList::DiscoveryStatus fDiscovery;
  std::unique_ptr<NotificationState> fNotificationState;
  std::unique_ptr<Notification::Center> fCenter;
  std::unique_ptr<IniUserDefaults> fSettings;  ///< goes before the centre, which has a say in its last save
  ChildProcessLauncherLinux fLauncher;
  NetworkServicesLinux fServices;
  AVBCapabilityLinux fCapability;
  std::unique_ptr<DispatchLinux> fQueues;  ///< last: its jobs use what stands above
};

}  // namespace vorn::app
