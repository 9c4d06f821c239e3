#include "app/DesktopEnvironment.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <utility>

#include "app/DesktopPanel.h"
#include "app/DesktopStatusItem.h"
#include "app/DesktopStatusMenu.h"
#include "app/DesktopStatusView.h"
#include "app/Identity.h"
#include "app/VirtualEntityMenu.h"
#include "devicelist/FirmwarePoller.h"
#include "devicelist/SupervisedDeviceList.h"
#include "devicelist/UpdateServerSetting.h"
#include "notification/Logic.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/notifications/FreedesktopNotificationServer.h"
#include "ui/AccessibleApplication.h"

namespace vorn::app {
namespace {

class ServerPoller final : public LatestVersionSource {
 public:
  ServerPoller(const std::string& model, const std::string& channel, std::function<void()> onChanged)
      : fPoller(model, channel, std::move(onChanged)) {}
  optional<std::string> GetLatestVersion() const override { return fPoller.GetLatestVersion(); }

 private:
  DeviceList::FirmwarePoller fPoller;
};

class DiscoveredDevices final : public DeviceListSource {
 public:
  DiscoveredDevices(DeviceList::SupervisedDeviceList::Publish publish,
                    DeviceList::SupervisedDeviceList::StateChanged stateChanged)
      : fList(std::move(publish), std::move(stateChanged)) {}

 private:
  DeviceList::SupervisedDeviceList fList;
};

class DesktopNotices final : public ReleaseNotices {
 public:
  DesktopNotices(UserDefaults& defaults, NotificationCenter& center, UrlOpener& opener)
      : fLogic(defaults, center, opener) {}
  void MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices) override {
    fLogic.MaybeNotify(devices);
  }
  void WithdrawAll() override { fLogic.WithdrawAll(); }

 private:
  Notification::Logic fLogic;
};

AutostartLoginItems::Program LauncherProgram() {
  return {Identity::kName, "Starts in the status bar at login", Identity::kIdentifier,
          (ProgramFolder() / Identity::kLauncherFolder / Identity::kLauncherProgram).lexically_normal()};
}

/// The item that this environment made.
DesktopStatusItem& Ours(StatusBarItem& item) {
  return dynamic_cast<DesktopStatusItem&>(item);
}

}  // namespace

DesktopEnvironment::DesktopEnvironment() : fLoginItems(LauncherProgram()) {}

DesktopEnvironment::~DesktopEnvironment() {
  // A panel that was open at the end was left to an event loop that has ended.
  if (QCoreApplication::instance()) QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void DesktopEnvironment::handleNotificationActivation(const std::string& address,
                                                      const std::string& activationToken) {
  Notification::HandleNotificationActivation(address, activationToken, fOpener);
}

void DesktopEnvironment::terminate() {
  // exit() and not quit(), which would ask windows for their consent. Queued,
  // so that it also counts when the loop has not begun yet, unless we go first.
  QMetaObject::invokeMethod(
      &fLifetime, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

std::string DesktopEnvironment::bundleVersion() {
  return Identity::kBundleVersion;
}

std::unique_ptr<LatestVersionSource> DesktopEnvironment::makeFirmwarePoller(const std::string& model,
                                                                            const std::string& channel,
                                                                            std::function<void()> onChanged) {
  DeviceList::ApplyUpdateServerSetting(standardUserDefaults());
  return std::make_unique<ServerPoller>(model, channel, std::move(onChanged));
}

std::shared_ptr<VirtualEntity> DesktopEnvironment::makeVirtualEntity() {
  return std::make_shared<VirtualEntityMenu>(dispatch(), fLauncher, fServices, fCapability);
}

UserDefaults& DesktopEnvironment::standardUserDefaults() {
  if (!fDefaults) fDefaults = std::make_unique<IniUserDefaults>(UserSettingsPath(), RunLoop::Current());
  return *fDefaults;
}

std::unique_ptr<ReleaseNotices> DesktopEnvironment::makeNotificationLogic() {
  standardUserDefaults();
  if (!fCenter) {
    fNotificationState = std::make_unique<NotificationState>(UserNotificationsPath());
    const FreedesktopNotificationServer::Presentation presentation{Identity::kName, Identity::kIdentifier,
                                                                   Identity::kIdentifier};
    fCenter = std::make_unique<Notification::Center>(
        std::make_unique<FreedesktopNotificationServer>(presentation),
        Notification::Center::Options{.state = fNotificationState->Store()});
    // A release must not be on disk as announced before its notification is.
    fDefaults->SetBeforeSaving([this] { return fCenter->Synchronize(); },
                               Notification::Persistence::kKeyPrefix);
  }
  return std::make_unique<DesktopNotices>(*fDefaults, *fCenter, fOpener);
}

std::unique_ptr<DeviceListSource> DesktopEnvironment::makeDeviceList(Publish publish) {
  auto stateChanged = [this](ResponderMonitor::State state) { fDiscovery.SetResponderState(state); };
  return std::make_unique<DiscoveredDevices>(std::move(publish), std::move(stateChanged));
}

std::unique_ptr<StatusBarItem> DesktopEnvironment::makeStatusItem(int length) {
  ui::AccessibleApplication::install();  // from here on there is something to come upon
  return std::make_unique<DesktopStatusItem>(length);
}

std::unique_ptr<StatusBarView> DesktopEnvironment::makeStatusView(StatusBarItem& item) {
  return std::make_unique<DesktopStatusView>(Ours(item));
}

std::unique_ptr<StatusBarMenu> DesktopEnvironment::makeStatusMenu(ui::PanelOwner& owner,
                                                                  StatusBarItem& item) {
  return std::make_unique<DesktopStatusMenu>(owner, Ours(item), [this] { return fDiscovery.Hint(); });
}

std::unique_ptr<PanelWindow> DesktopEnvironment::makePanel(ui::PanelOwner& owner, StatusBarItem& item) {
  // A click that opened nothing is told once, at the panel's next opening.
  auto hint = [this, isFailed = false]() mutable {
    isFailed = fOpener.TakeFailure() || isFailed;
    return isFailed ? DeviceList::DiscoveryHint::kPageNotOpened : fDiscovery.Hint();
  };
  return std::make_unique<DesktopPanel>(owner, Ours(item), std::move(hint));
}

Dispatch& DesktopEnvironment::dispatch() {
  if (!fDispatch) fDispatch = std::make_unique<DispatchLinux>(RunLoop::Current());
  return *fDispatch;
}

void DesktopEnvironment::openUrl(const std::string& url, const std::string& activationToken) {
  fOpener.Open(url, activationToken);
}

}  // namespace vorn::app
