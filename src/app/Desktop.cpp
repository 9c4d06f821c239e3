#include "app/Desktop.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <utility>

#include "app/Identity.h"
#include "devicelist/FirmwarePoller.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/notifications/FreedesktopNotificationServer.h"
#include "ui/TrayStatusBar.h"

namespace vorn::app {
namespace {

AutostartLoginItems::Program LauncherProgram() {
  const QString comment = QCoreApplication::translate("Desktop", "Starts in the status bar at login");
  return {Identity::kName, comment.toStdString(), Identity::kIdentifier,
          (ProgramFolder() / Identity::kLauncherFolder / Identity::kLauncherProgram).lexically_normal()};
}

ui::TrayStatusBar::Look LookOfProgram() {
  const auto identifier = QString::fromLatin1(Identity::kIdentifier);
  return {{identifier + QStringLiteral("-symbolic"), identifier + QStringLiteral("-inactive-symbolic")},
          identifier};
}

}  // namespace

Desktop::Desktop() : fLoginItems(LauncherProgram()) {}

Desktop::~Desktop() {
  // A panel that was open at the end was left to an event loop that has ended.
  if (QCoreApplication::instance()) QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

AppDelegate::Makers Desktop::Makers() {
  return {
      .urlOpener = fOpener,
      .loginItems = TrialFolder().empty() ? &fLoginItems : nullptr,
      .terminate = [this] { Terminate(); },
      .bundleVersion = Identity::kBundleVersion,
      .updateServer = [this] { return Updates().Root(); },
      .dispatch = [this]() -> Dispatch& { return Queues(); },
      .userDefaults = [this]() -> UserDefaults& { return Settings(); },
      .notificationCenter = [this]() -> NotificationCenter& { return Notifications(); },
      .firmwarePoller =
          [this](std::string model, std::string channel, std::function<void()> onChanged) {
            return std::make_unique<DeviceList::FirmwarePoller>(std::move(model), std::move(channel),
                                                                std::move(onChanged), Updates());
          },
      .virtualEntity = [this] { return MakeVirtualEntity(); },
      .deviceList =
          [this](DeviceList::SupervisedDeviceList::Publish publish) {
            return std::make_unique<DeviceList::SupervisedDeviceList>(
                std::move(publish),
                [this](ResponderMonitor::State state) { fDiscovery.SetResponderState(state); }, Updates());
          },
      .statusBar = [this](int length) { return MakeStatusBar(length); },
  };
}

// exit() and not quit(), because quit() would ask windows for their consent.
void Desktop::Terminate() {
  QMetaObject::invokeMethod(
      &fLifetime, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

IniUserDefaults& Desktop::Settings() {
  if (!fSettings) fSettings = std::make_unique<IniUserDefaults>(UserSettingsPath(), RunLoop::Current());
  return *fSettings;
}

// Read once, so a wrong setting is reported once.
const DeviceList::UpdateServer& Desktop::Updates() {
  if (!fUpdates) fUpdates = DeviceList::UpdateServer::FromSettings(Settings());
  return *fUpdates;
}

NotificationCenter& Desktop::Notifications() {
  if (!fCenter) {
    fNotificationState = std::make_unique<NotificationState>(UserNotificationsPath());
    const FreedesktopNotificationServer::Presentation presentation{Identity::kName, Identity::kIdentifier,
                                                                   Identity::kIdentifier};
    fCenter = std::make_unique<Notification::Center>(
        std::make_unique<FreedesktopNotificationServer>(presentation),
        Notification::Center::Options{.state = fNotificationState->Store()});
    // A release must not be on disk as announced before its notification is.
    Settings().SetEarlier(
        {.isSaved = [this] { return fCenter->IsSaved(); }, .save = [this] { return fCenter->Synchronize(); }},
        Notification::Persistence::kKeyPrefix);
    if (auto* store = fNotificationState->Store()) store->SetAfterSaving([this] { Settings().SaveSoon(); });
  }
  return *fCenter;
}

Dispatch& Desktop::Queues() {
  if (!fQueues) fQueues = std::make_unique<DispatchLinux>(RunLoop::Current());
  return *fQueues;
}

std::shared_ptr<MacVirtualEntity> Desktop::MakeVirtualEntity() {
  return std::make_shared<MacVirtualEntity>(Queues(), fLauncher, fServices, fCapability);
}

std::unique_ptr<ui::StatusBar> Desktop::MakeStatusBar(int length) {
  ui::TrayStatusBar::Hints hints;
  hints.discovery = [this] { return fDiscovery.Hint(); };
  hints.takePageFailure = [this] { return fOpener.TakeFailure(); };
  return std::make_unique<ui::TrayStatusBar>(LookOfProgram(), length, std::move(hints));
}

}  // namespace vorn::app
