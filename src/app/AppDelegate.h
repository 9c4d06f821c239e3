#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/LaunchAtLogin.h"
#include "devicelist/ExtendedDeviceInfo.h"
#include "devicelist/FirmwarePoller.h"
#include "devicelist/SupervisedDeviceList.h"
#include "foundation/FirmwareVersion.h"
#include "foundation/Optional.h"
#include "notification/Logic.h"
#include "platform/Dispatch.h"
#include "platform/NotificationCenter.h"
#include "platform/UrlOpener.h"
#include "platform/UserDefaults.h"
#include "ui/StatusBar.h"
#include "ui/VirtualEntityMenu.h"

namespace vorn::app {

/// The application's controller: starts everything in order, owns every long-lived object, keeps the current
/// list and passes it on, keeps the settings, shows and hides the panel.
///
/// Panel: hidden (status item not highlighted) <-> shown (status item highlighted).
///
/// Main thread only. Reports from other threads go through the main queue first. Reports that are still
/// queued when this object is destroyed are dropped. The setters of "showSwitches", "notify" and
/// "checkForUpdates" use the main queue too, so their effects come after the current event.
class AppDelegate final : public LaunchAtLogin {
 public:
  using List = std::vector<DeviceList::ExtendedDeviceInfo>;

  /// How the collaborators are made, or where the system's own are. The start-up calls each maker once.
  /// References must live longer than the controller.
  struct Makers {
    UrlOpener& urlOpener;
    LoginItems* loginItems;           ///< null if the program is not installed
    std::function<void()> terminate;  ///< ends the program after the current event
    std::string bundleVersion;
    std::function<std::string()> updateServer;  ///< its address; called whenever somebody wants to read it
    std::function<Dispatch&()> dispatch;
    std::function<UserDefaults&()> userDefaults;
    std::function<NotificationCenter&()> notificationCenter;
    /// `onChanged` comes on the poller's own thread.
    std::function<std::unique_ptr<DeviceList::FirmwarePoller>(std::string model, std::string channel,
                                                              std::function<void()> onChanged)>
        firmwarePoller;
    std::function<std::shared_ptr<MacVirtualEntity>()> virtualEntity;
    /// `publish` may be called on any thread.
    std::function<std::unique_ptr<DeviceList::SupervisedDeviceList>(std::function<void(List)> publish)>
        deviceList;
    /// `length`: the item's width in points.
    std::function<std::unique_ptr<ui::StatusBar>(int length)> statusBar;
  };

  explicit AppDelegate(Makers makers);
  ~AppDelegate() override;
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;

  /// Starts everything, once.
  void applicationDidFinishLaunching();

  /// The list as published to the user: without switches, unless the user wants to see them.
  [[nodiscard]] DeviceList::SharedUnits currList();
  /// Gives the list to the status item and every listener.
  void updateClients();

  void addListener(ui::DeviceListListener* listener) override;
  void removeListener(ui::DeviceListListener* listener) override;

  bool showSwitches() override;
  void setShowSwitches(bool shown) override;
  bool notify() override;
  void setNotify(bool enabled) override;
  bool checkForUpdates() override;
  void setCheckForUpdates(bool enabled) override;

  bool firstRunWords() override;
  void endFirstRunWords() override;
  std::string updateServer() override;

  void setPanelVisible(bool visible) override;
  void togglePanel();

  /// Lets the notifications decide about the maker's driver package.
  void maybeNotifyDriver();

 private:
  void openUrl(const std::string& url) override;
  void quit() override;
  void makeFirmwarePoller();
  void makeDeviceList();
  void prepareLoginItem();
  void assumeEarlierChoices();
  void takeList(DeviceList::SharedUnits list);
  /// Not while the check is off: a version that was known before may still be in a list.
  bool mayAnnounce();
  void notifyOfKnownUpdates();
  void startOrStopChecking();

  const Makers fMakers;
  std::shared_ptr<AppDelegate*> fAlive;  ///< for OnMain
  Dispatch* fDispatch = nullptr;         ///< these two are set by the start-up
  UserDefaults* fDefaults = nullptr;
  std::optional<Notification::Logic> fLogic;
  optional<FirmwareVersion> fAppVersion;
  std::unique_ptr<DeviceList::FirmwarePoller> fAppPoller;
  std::unique_ptr<ui::VirtualEntityMenu> fVirtualEntity;
  DeviceList::SharedUnits fCurrList = std::make_shared<const List>();
  std::vector<ui::DeviceListListener*> fListeners;  ///< not owned
  std::unique_ptr<ui::StatusBar> fStatusBar;
  bool fPanelVisible = false;
  std::unique_ptr<DeviceList::SupervisedDeviceList> fDeviceList;  ///< last: destroyed before all others
};

}  // namespace vorn::app
