#pragma once

#include <QObject>
#include <memory>
#include <optional>

#include "app/AppDelegateEnvironment.h"
#include "devicelist/DiscoveryStatus.h"
#include "notification/Center.h"
#include "platform/UrlOpener.h"
#include "platform/linux/dispatch/DispatchLinux.h"
#include "platform/linux/login/AutostartLoginItems.h"
#include "platform/linux/network/AVBCapabilityLinux.h"
#include "platform/linux/network/NetworkServicesLinux.h"
#include "platform/linux/notifications/NotificationState.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"
#include "platform/linux/processes/XdgUrlOpener.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace vorn::app {

/// The controller's surroundings on a real desktop. What needs the event loop
/// or the session bus is made when it is first asked for, so that a start for
/// the sake of one page makes nothing else. Main thread, with an application
/// object and the core's run loop set. Outlives the event loop; what the panel
/// has left to the loop for deletion goes with this object at the latest.
class DesktopEnvironment final : public AppDelegateEnvironment {
 public:
  DesktopEnvironment();
  ~DesktopEnvironment() override;

  void handleNotificationActivation(const std::string& address, const std::string& activationToken) override;
  void terminate() override;
  std::string bundleVersion() override;
  std::unique_ptr<LatestVersionSource> makeFirmwarePoller(const std::string& model,
                                                          const std::string& channel,
                                                          std::function<void()> onChanged) override;
  std::shared_ptr<VirtualEntity> makeVirtualEntity() override;
  UserDefaults& standardUserDefaults() override;
  std::unique_ptr<ReleaseNotices> makeNotificationLogic() override;
  std::unique_ptr<DeviceListSource> makeDeviceList(Publish publish) override;
  std::unique_ptr<StatusBarItem> makeStatusItem(int length) override;
  std::unique_ptr<StatusBarView> makeStatusView(StatusBarItem& item) override;
  std::unique_ptr<StatusBarMenu> makeStatusMenu(ui::PanelOwner& owner, StatusBarItem& item) override;
  std::unique_ptr<PanelWindow> makePanel(ui::PanelOwner& owner, StatusBarItem& item) override;
  LoginItems& loginItems() override { return fLoginItems; }
  Dispatch& dispatch() override;
  void openUrl(const std::string& url, const std::string& activationToken) override;

 private:
  QObject fLifetime;
  XdgUrlOpener fOpener;
  AutostartLoginItems fLoginItems;
  DeviceList::DiscoveryStatus fDiscovery;
  std::unique_ptr<NotificationState> fNotificationState;
  std::unique_ptr<Notification::Center> fCenter;
  std::unique_ptr<IniUserDefaults> fDefaults;  ///< goes before the centre, which has a say in its last save
  ChildProcessLauncherLinux fLauncher;
  NetworkServicesLinux fServices;
  AVBCapabilityLinux fCapability;
  std::unique_ptr<DispatchLinux> fDispatch;  ///< last: its jobs use what stands above
};

}  // namespace vorn::app
