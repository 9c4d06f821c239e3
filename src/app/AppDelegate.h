#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/AppDelegateEnvironment.h"
#include "app/ApplicationService.h"
#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/FirmwareVersion.h"
#include "foundation/Optional.h"
#include "ui/PanelOwner.h"

class QAction;

namespace vorn::app {

/// The application's controller: starts everything in order, owns every
/// long-lived object, keeps the current list and gives it out, keeps the
/// settings, shows and hides the panel.
///
/// Panel: hidden (no controller, status view not highlighted) <-> shown
/// (controller present, status view highlighted).
///
/// Main thread only. What other threads report is handed to the main queue
/// first; what is still queued when this object goes is dropped. The setters
/// of "showSwitches" and "notify" work through the main queue too, so their
/// effects come after the current event.
class AppDelegate final : public ui::PanelOwner {
 public:
  explicit AppDelegate(AppDelegateEnvironment& environment);
  ~AppDelegate() override;
  AppDelegate(const AppDelegate&) = delete;
  AppDelegate& operator=(const AppDelegate&) = delete;

  /// Starts everything, once. Launched by a click on a notice: opens its page
  /// and ends the program, nothing is created.
  void applicationDidFinishLaunching(const ActivationRequest* launchNotification = nullptr);

  /// A copy of the list as published to the user: without switches unless they
  /// are to be shown.
  [[nodiscard]] std::vector<DeviceList::ExtendedDeviceInfo> currList();
  /// Gives the list to the status view and every listener.
  void updateClients();

  void addListener(ui::DeviceListListener* listener) override;
  void removeListener(ui::DeviceListListener* listener) override;

  bool showSwitches() override;
  void setShowSwitches(bool shown) override;
  bool notify() override;
  void setNotify(bool enabled) override;

  void setPanelVisible(bool visible) override;
  void togglePanel();
  [[nodiscard]] bool panelVisible() const { return fController != nullptr; }

  /// Has the notices decide about the maker's driver package.
  void maybeNotifyDriver();
  /// Identifier of the login launcher.
  [[nodiscard]] static std::string getLauncherName();
  void setLaunchOnLogin(bool enabled) override;
  bool launchOnLogin() override;
  /// Whether the login item exists at all, switched on or not.
  [[nodiscard]] bool appInLoginItems();

  void toggleMacVirtualEntity(QAction* sender) override;
  void openUrl(const std::string& url) override;
  void quit() override;

  /// Somebody on the session bus asks the running program for something.
  void handleActivation(const ActivationRequest& request);

 private:
  struct Registration {
    ui::DeviceListListener* listener;   ///< not owned
    std::shared_ptr<QAction> menuItem;  ///< its entry for the virtual entity
  };

  void makeFirmwarePoller();
  void makeDeviceList();
  void makeStatusItem();
  void prepareLoginItem();
  void repairLoginItem();
  void assumeEarlierChoices();
  void takeList(std::vector<DeviceList::ExtendedDeviceInfo> list);
  void notifyOfKnownUpdates();
  void showPanel();
  void hidePanel();
  void offerVirtualEntity(Registration& registration);
  void showVirtualEntityItems();
  /// `work` as a job of the main queue that does nothing once this object is gone.
  std::function<void()> onMain(std::function<void(AppDelegate&)> work);

  AppDelegateEnvironment& fEnvironment;
  std::shared_ptr<AppDelegate*> fAlive;  ///< queued jobs hold it weakly
  std::unique_ptr<ReleaseNotices> fLogic;
  optional<FirmwareVersion> fAppVersion;
  std::unique_ptr<LatestVersionSource> fAppPoller;
  std::shared_ptr<VirtualEntity> fVirtualEntity;
  UserDefaults* fDefaults = nullptr;  ///< the environment's
  std::vector<DeviceList::ExtendedDeviceInfo> fCurrList;
  std::vector<Registration> fListeners;
  std::unique_ptr<StatusBarItem> fItem;
  std::unique_ptr<StatusBarView> fStatusView;
  std::unique_ptr<StatusBarMenu> fStatusMenu;
  std::unique_ptr<PanelWindow> fController;       ///< of the open panel; null while it is hidden
  std::unique_ptr<DeviceListSource> fDeviceList;  ///< last: goes first and publishes no more
};

}  // namespace vorn::app
