#include "app/AppDelegate.h"

#include <algorithm>
#include <utility>

#include "app/Identity.h"
#include "devicelist/FirmwarePoller.h"
#include "foundation/Console.h"
#include "foundation/Strings.h"
#include "ui/Translations.h"

namespace vorn::app {
namespace {

using DeviceList::ExtendedDeviceInfo;

constexpr char kShowSwitches[] = "showSwitches";
constexpr char kNotify[] = "notify";
constexpr char kFirstRunWords[] = "firstRunWords";  // true until they were read

constexpr char kDriverModel[] = "driver";
constexpr char kDriverName[] = "Vorn AVB Driver";

constexpr int kItemLength = 19;

}  // namespace

AppDelegate::AppDelegate(Makers makers)
    : LaunchAtLogin(makers.loginItems),
      fMakers(std::move(makers)),
      fAlive(std::make_shared<AppDelegate*>(this)) {}

AppDelegate::~AppDelegate() {
  fAlive.reset();
  fDeviceList.reset();
  fStatusBar.reset();  // before what its panel and its menu call on their way out
}

void AppDelegate::applicationDidFinishLaunching() {
  fDispatch = &fMakers.dispatch();
  fDefaults = &fMakers.userDefaults();
  auto& center = fMakers.notificationCenter();
  fLogic.emplace(*fDefaults, center, fMakers.urlOpener,
                 [](const char* text) { return ui::coreText(text).toStdString(); });
  center.SetOnRoom(OnMain(*fDispatch, fAlive, &AppDelegate::notifyOfKnownUpdates));
  fAppVersion = SlowConvertFromStringAllowRemainder<FirmwareVersion>(fMakers.bundleVersion);
  fDefaults->RegisterBool(kShowSwitches, false);
  fDefaults->RegisterBool(kNotify, true);
  if (checkForUpdates()) makeFirmwarePoller();
  fVirtualEntity = std::make_unique<ui::VirtualEntityMenu>(fMakers.virtualEntity(), *fDispatch);
  if (!mayAnnounce()) fLogic->WithdrawAll();  // left by an earlier run
  makeDeviceList();
  fStatusBar = fMakers.statusBar(kItemLength);
  fStatusBar->setAction([this] { togglePanel(); });
  prepareLoginItem();
  fStatusBar->offerMenu(*this);
}

void AppDelegate::makeFirmwarePoller() {
  fAppPoller = fMakers.firmwarePoller(kDriverModel, DeviceList::kReleaseChannel,
                                      OnMain(*fDispatch, fAlive, &AppDelegate::maybeNotifyDriver));
}

void AppDelegate::makeDeviceList() {
  const auto take = OnMain(*fDispatch, fAlive, &AppDelegate::takeList);
  fDeviceList =
      fMakers.deviceList([take](List list) { take(std::make_shared<const List>(std::move(list))); });
  if (fDeviceList) fDeviceList->CheckForUpdates(checkForUpdates());
}

void AppDelegate::prepareLoginItem() {
  const bool hasRun = fDefaults->GetBool(DeviceList::kAlreadyRun);
  if (!hasRun && fDefaults->StoreCondition() == UserDefaults::Condition::kWhole) {
    setLaunchOnLogin(true);
    fDefaults->SetBool(kFirstRunWords, true);
    fDefaults->SetBool(DeviceList::kAlreadyRun, true);
    return;
  }
  if (!hasRun) assumeEarlierChoices();
  // An entry from a build tree, or from another installation, may live longer than its program.
  repairLoginItem();
}

// The program has run before, and the user may have switched off what a first run switches on.
void AppDelegate::assumeEarlierChoices() {
  const bool isOnByDefault = notify();
  fDefaults->RegisterBool(kNotify, false);
  if (isOnByDefault && !notify()) {
    WriteToConsole("Update notifications are off, because your choice may be lost with the settings");
  }
  fDefaults->RegisterBool(DeviceList::kCheckForUpdates, true);
  const bool isForbidden = !fDefaults->GetBool(DeviceList::kCheckForUpdates);
  if (!isForbidden && !checkForUpdates()) {
    WriteToConsole("The check for new firmware is off, because your choice may be lost with the settings");
  }
  if (fDefaults->StoreCondition() == UserDefaults::Condition::kUnread) return;
  fDefaults->SetBool(kNotify, notify());
  fDefaults->SetBool(DeviceList::kCheckForUpdates, checkForUpdates());
  fDefaults->SetBool(DeviceList::kAlreadyRun, true);
}

void AppDelegate::takeList(DeviceList::SharedUnits list) {
  fCurrList = std::move(list);
  startOrStopChecking();  // the settings file may have changed
  if (mayAnnounce()) fLogic->MaybeNotify(*fCurrList);
  updateClients();
}

DeviceList::SharedUnits AppDelegate::currList() {
  return DeviceList::UnitsToShow(fCurrList, showSwitches());
}

void AppDelegate::updateClients() {
  const auto list = currList();
  fStatusBar->setActive(!list->empty());
  // By index, and the count is read again each time, because a listener may come or go in between.
  for (std::size_t i = 0; i < fListeners.size(); ++i) fListeners[i]->updateDeviceList(list);
}

void AppDelegate::addListener(ui::DeviceListListener* listener) {
  listener->updateDeviceList(currList());
  if (std::find(fListeners.begin(), fListeners.end(), listener) != fListeners.end()) return;
  fListeners.push_back(listener);
  if (QMenu* menu = listener->menu()) fVirtualEntity->addTo(*menu);
}

void AppDelegate::removeListener(ui::DeviceListListener* listener) {
  if (std::erase(fListeners, listener) == 0) return;
  if (const QMenu* menu = listener->menu()) fVirtualEntity->removeFrom(*menu);
}

bool AppDelegate::showSwitches() {
  return fDefaults->GetBool(kShowSwitches);
}

void AppDelegate::setShowSwitches(bool shown) {
  fDefaults->SetBool(kShowSwitches, shown);
  OnMain(*fDispatch, fAlive, &AppDelegate::updateClients)();
}

bool AppDelegate::notify() {
  return fDefaults->GetBool(kNotify);
}

void AppDelegate::setNotify(bool enabled) {
  fDefaults->SetBool(kNotify, enabled);
  OnMain(*fDispatch, fAlive, &AppDelegate::notifyOfKnownUpdates)();
}

bool AppDelegate::mayAnnounce() {
  return notify() && checkForUpdates();
}

void AppDelegate::notifyOfKnownUpdates() {
  if (!mayAnnounce()) {
    fLogic->WithdrawAll();
    return;
  }
  fLogic->MaybeNotify(*fCurrList);
  maybeNotifyDriver();
}

bool AppDelegate::checkForUpdates() {
  return DeviceList::UpdateServer::MayBeAsked(*fDefaults);
}

void AppDelegate::setCheckForUpdates(bool enabled) {
  fDefaults->SetBool(DeviceList::kCheckForUpdates, enabled);
  OnMain(*fDispatch, fAlive, &AppDelegate::startOrStopChecking)();
}

bool AppDelegate::firstRunWords() {
  return fDefaults->GetBool(kFirstRunWords) && launchOnLogin();
}

void AppDelegate::endFirstRunWords() {
  fDefaults->SetBool(kFirstRunWords, false);
}

std::string AppDelegate::updateServer() {
  return checkForUpdates() ? fMakers.updateServer() : std::string();
}

void AppDelegate::startOrStopChecking() {
  const bool check = checkForUpdates();
  if (check == (fAppPoller != nullptr)) return;
  if (check) {
    makeFirmwarePoller();
  } else {
    fAppPoller.reset();
    fLogic->WithdrawAll();
  }
  if (fDeviceList) fDeviceList->CheckForUpdates(check);
}

void AppDelegate::setPanelVisible(bool visible) {
  if (visible == fPanelVisible) return;
  fPanelVisible = visible;  // from now on, also while the panel opens or closes
  fStatusBar->setHighlight(visible);
  if (visible) {
    fStatusBar->showPanel(*this);
  } else {
    fStatusBar->closePanel();
  }
}

void AppDelegate::togglePanel() {
  setPanelVisible(!fPanelVisible);
}

void AppDelegate::maybeNotifyDriver() {
  if (!mayAnnounce() || !fAppPoller) return;
  ExtendedDeviceInfo driver;
  driver.name = std::string(kDriverName);
  driver.type = kDriverModel;
  driver.url = Identity::kAVBPage;
  driver.uid = kDriverModel;
  driver.firmwareVersion = fAppVersion;
  if (const auto latest = fAppPoller->GetLatestVersion()) {
    driver.latestVersion = SlowConvertFromStringAllowRemainder<FirmwareVersion>(*latest);
  }
  fLogic->MaybeNotify({driver});
}

void AppDelegate::openUrl(const std::string& url) {
  fMakers.urlOpener.Open(url, {});
}

void AppDelegate::quit() {
  fMakers.terminate();
}

}  // namespace vorn::app
