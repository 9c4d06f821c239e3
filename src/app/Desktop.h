#pragma once

#include <QObject>
#include <memory>
#include <optional>

#include "app/AppDelegate.h"
#include "devicelist/DiscoveryStatus.h"
#include "devicelist/FirmwarePoller.h"
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

/// The program's parts of a real desktop. Objects that need the event loop or the session bus are made when
/// they are first needed, so a start for one page makes nothing else. Main thread, with an application object
/// and the core's run loop set. Lives longer than the controller and the event loop. What the panel has left
/// to the loop for deletion is destroyed with this object at the latest.
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
  /// Ends the event loop, also one that has not started yet, unless this object is destroyed first.
  void Terminate();

 private:
  const DeviceList::UpdateServer& Updates();
  NotificationCenter& Notifications();
  Dispatch& Queues();
  std::shared_ptr<MacVirtualEntity> MakeVirtualEntity();
  std::unique_ptr<ui::StatusBar> MakeStatusBar(int length);

  QObject fLifetime;
  XdgUrlOpener fOpener;
  AutostartLoginItems fLoginItems;
  DeviceList::DiscoveryStatus fDiscovery;
  std::optional<DeviceList::UpdateServer> fUpdates;  ///< none before it is asked for
  std::unique_ptr<NotificationState> fNotificationState;
  std::unique_ptr<Notification::Center> fCenter;
  std::unique_ptr<IniUserDefaults> fSettings;  ///< destroyed before the centre, for its last save
  ChildProcessLauncherLinux fLauncher;
  NetworkServicesLinux fServices;
  AVBCapabilityLinux fCapability;
  std::unique_ptr<DispatchLinux> fQueues;  ///< last: its jobs use the members above
};

}  // namespace vorn::app
