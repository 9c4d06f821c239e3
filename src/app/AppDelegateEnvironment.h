#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/DeviceListSource.h"
#include "app/LatestVersionSource.h"
#include "app/PanelWindow.h"
#include "app/ReleaseNotices.h"
#include "app/StatusBarItem.h"
#include "app/StatusBarMenu.h"
#include "app/StatusBarView.h"
#include "app/VirtualEntity.h"
#include "devicelist/ExtendedDeviceInfo.h"
#include "platform/Dispatch.h"
#include "platform/LoginItems.h"
#include "platform/UserDefaults.h"

namespace vorn::ui {
class PanelOwner;
}

namespace vorn::app {

/// Everything that the application controller asks of its surroundings: it
/// makes the long-lived objects, and holds those that are the system's own.
/// Outlives the controller. Main thread.
class AppDelegateEnvironment {
 public:
  using Publish = std::function<void(std::vector<DeviceList::ExtendedDeviceInfo>)>;

  virtual ~AppDelegateEnvironment() = default;

  /// A notice of ours started the program: open its page.
  virtual void handleNotificationActivation(const std::string& address,
                                            const std::string& activationToken) = 0;
  /// Ends the program once the current event has been handled.
  virtual void terminate() = 0;

  virtual std::string bundleVersion() = 0;
  /// `onChanged` comes on the source's own thread.
  virtual std::unique_ptr<LatestVersionSource> makeFirmwarePoller(const std::string& model,
                                                                  const std::string& channel,
                                                                  std::function<void()> onChanged) = 0;
  virtual std::shared_ptr<VirtualEntity> makeVirtualEntity() = 0;
  virtual UserDefaults& standardUserDefaults() = 0;
  virtual std::unique_ptr<ReleaseNotices> makeNotificationLogic() = 0;
  /// `publish` may come on any thread.
  virtual std::unique_ptr<DeviceListSource> makeDeviceList(Publish publish) = 0;
  /// `length`: the width in points.
  virtual std::unique_ptr<StatusBarItem> makeStatusItem(int length) = 0;
  virtual std::unique_ptr<StatusBarView> makeStatusView(StatusBarItem& item) = 0;
  virtual std::unique_ptr<StatusBarMenu> makeStatusMenu(ui::PanelOwner& owner, StatusBarItem& item) = 0;
  virtual std::unique_ptr<PanelWindow> makePanel(ui::PanelOwner& owner, StatusBarItem& item) = 0;

  virtual LoginItems& loginItems() = 0;
  virtual Dispatch& dispatch() = 0;
  virtual void openUrl(const std::string& url, const std::string& activationToken) = 0;
};

}  // namespace vorn::app
