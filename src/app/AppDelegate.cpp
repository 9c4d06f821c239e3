#include "app/AppDelegate.h"

#include <QAction>
#include <QMenu>
#include <algorithm>
#include <utility>

#include "app/Identity.h"
#include "devicelist/Entry.h"
#include "foundation/Console.h"
#include "foundation/Strings.h"
#include "ui/PanelOwner.h"

namespace vorn::app {
namespace {

using DeviceList::ExtendedDeviceInfo;

constexpr char kShowSwitches[] = "showSwitches";
constexpr char kNotify[] = "notify";
constexpr char kAlreadyRun[] = "AlreadyRun";

constexpr char kDriverModel[] = "driver";
constexpr char kDriverName[] = "Vorn AVB Driver";
constexpr char kReleaseChannel[] = "release";

constexpr char kLoginItemFailed[] = "Launch On Login failed";

constexpr int kVirtualEntityIndex = 3;
constexpr int kItemLength = 19;

}  // namespace

AppDelegate::AppDelegate(AppDelegateEnvironment& environment)
    : fEnvironment(environment), fAlive(std::make_shared<AppDelegate*>(this)) {}

AppDelegate::~AppDelegate() {
  fAlive.reset();
  fDeviceList.reset();
  fController.reset();  // before what it calls on its way out
  fStatusMenu.reset();
  if (!fVirtualEntity) return;
  // A job may still hold the entity; what belongs to the main thread stays here.
  fVirtualEntity->setFVirtualEntityMenuItem(nullptr);
  fVirtualEntity->stopEnumerations();
}

void AppDelegate::applicationDidFinishLaunching(const ActivationRequest* launchNotification) {
  if (launchNotification) {
    fEnvironment.handleNotificationActivation(launchNotification->address,
                                              launchNotification->activationToken);
    fEnvironment.terminate();
    return;
  }
  fLogic = fEnvironment.makeNotificationLogic();
  fAppVersion = SlowConvertFromStringAllowRemainder<FirmwareVersion>(fEnvironment.bundleVersion());
  makeFirmwarePoller();
  fVirtualEntity = fEnvironment.makeVirtualEntity();
  fDefaults = &fEnvironment.standardUserDefaults();
  fDefaults->RegisterBool(kShowSwitches, false);
  fDefaults->RegisterBool(kNotify, true);
  if (!notify()) fLogic->WithdrawAll();  // what an earlier run left
  fListeners.clear();
  makeDeviceList();
  makeStatusItem();
  prepareLoginItem();
  fController.reset();
  fStatusMenu = fEnvironment.makeStatusMenu(*this, *fItem);
}

void AppDelegate::makeFirmwarePoller() {
  auto checkDriver = onMain([](AppDelegate& self) { self.maybeNotifyDriver(); });
  auto& queues = fEnvironment.dispatch();
  fAppPoller = fEnvironment.makeFirmwarePoller(
      kDriverModel, kReleaseChannel, [&queues, check = std::move(checkDriver)] { queues.AsyncMain(check); });
}

void AppDelegate::makeDeviceList() {
  auto& queues = fEnvironment.dispatch();
  const std::weak_ptr<AppDelegate*> alive = fAlive;
  auto publish = [&queues, alive](std::vector<ExtendedDeviceInfo> list) {
    queues.AsyncMain([alive, list = std::move(list)]() mutable {
      if (const auto self = alive.lock()) (*self)->takeList(std::move(list));
    });
  };
  fDeviceList = fEnvironment.makeDeviceList(std::move(publish));
}

void AppDelegate::makeStatusItem() {
  fItem = fEnvironment.makeStatusItem(kItemLength);
  fStatusView = fEnvironment.makeStatusView(*fItem);
  fStatusView->setAction([this] { togglePanel(); });
}

void AppDelegate::prepareLoginItem() {
  const bool hasRun = fDefaults->GetBool(kAlreadyRun);
  if (!hasRun && fDefaults->StoreCondition() == UserDefaults::Condition::kWhole) {
    setLaunchOnLogin(true);
    fDefaults->SetBool(kAlreadyRun, true);
    return;
  }
  if (!hasRun) assumeEarlierChoices();
  repairLoginItem();
}

// An entry that was written from a build tree, or by another installation, may outlive it.
void AppDelegate::repairLoginItem() {
  if (!fEnvironment.loginItems().Repair(getLauncherName())) WriteToConsole(kLoginItemFailed);
}

// The program has run before, and the user may have switched off what a first run switches on.
void AppDelegate::assumeEarlierChoices() {
  const bool isOnByDefault = notify();
  fDefaults->RegisterBool(kNotify, false);
  if (isOnByDefault && !notify()) {
    WriteToConsole("Update notifications are off, because the settings that say otherwise may be lost");
  }
  if (fDefaults->StoreCondition() == UserDefaults::Condition::kUnread) return;
  fDefaults->SetBool(kNotify, notify());
  fDefaults->SetBool(kAlreadyRun, true);
}

std::function<void()> AppDelegate::onMain(std::function<void(AppDelegate&)> work) {
  return [alive = std::weak_ptr<AppDelegate*>(fAlive), call = std::move(work)] {
    if (const auto self = alive.lock()) call(**self);
  };
}

void AppDelegate::takeList(std::vector<ExtendedDeviceInfo> list) {
  fCurrList = std::move(list);
  if (notify()) fLogic->MaybeNotify(fCurrList);
  updateClients();
}

std::vector<ExtendedDeviceInfo> AppDelegate::currList() {
  auto list = fCurrList;
  if (!showSwitches()) {
    std::erase_if(list, [](const ExtendedDeviceInfo& unit) { return unit.type == DeviceList::kTypeSwitch; });
  }
  return list;
}

void AppDelegate::updateClients() {
  const auto list = currList();
  fStatusView->setActive(!list.empty());
  // By index, with the count read anew: a listener may come or go meanwhile.
  for (std::size_t i = 0; i < fListeners.size(); ++i) fListeners[i].listener->updateDeviceList(list);
}

void AppDelegate::addListener(ui::DeviceListListener* listener) {
  listener->updateDeviceList(currList());
  const auto isThis = [listener](const Registration& other) { return other.listener == listener; };
  if (std::any_of(fListeners.begin(), fListeners.end(), isThis)) return;
  auto item = std::make_shared<QAction>(QString::fromLatin1(VirtualEntity::kMenuItemTitle));
  fListeners.push_back({listener, std::move(item)});
  offerVirtualEntity(fListeners.back());
}

void AppDelegate::offerVirtualEntity(Registration& registration) {
  fVirtualEntity->setFVirtualEntityMenuItem(registration.menuItem);
  auto show = onMain([](AppDelegate& self) { self.showVirtualEntityItems(); });
  auto& queues = fEnvironment.dispatch();
  queues.AsyncBackground(Dispatch::Priority::kDefault,
                         [&queues, entity = fVirtualEntity, showItems = std::move(show)] {
                           entity->EnumerateAVBInterfaces();
                           queues.AsyncMain(showItems);
                         });
}

// The latest answer counts for every menu, whichever it was asked for: that of the status item is asked about
// once only, at the start, when the tool may be slow or an interface not there yet.
void AppDelegate::showVirtualEntityItems() {
  const bool offered = fVirtualEntity->installSubmenus();
  for (const auto& [listener, item] : fListeners) {
    QMenu* menu = listener->menu();
    if (!menu || menu->actions().contains(item.get()) == offered) continue;
    if (offered) {
      menu->insertAction(menu->actions().value(kVirtualEntityIndex), item.get());
    } else {
      menu->removeAction(item.get());
    }
  }
}

void AppDelegate::removeListener(ui::DeviceListListener* listener) {
  std::erase_if(fListeners, [listener](const Registration& other) { return other.listener == listener; });
}

bool AppDelegate::showSwitches() {
  return fDefaults->GetBool(kShowSwitches);
}

void AppDelegate::setShowSwitches(bool shown) {
  fDefaults->SetBool(kShowSwitches, shown);
  fEnvironment.dispatch().AsyncMain(onMain([](AppDelegate& self) { self.updateClients(); }));
}

bool AppDelegate::notify() {
  return fDefaults->GetBool(kNotify);
}

void AppDelegate::setNotify(bool enabled) {
  fDefaults->SetBool(kNotify, enabled);
  fEnvironment.dispatch().AsyncMain(onMain([](AppDelegate& self) { self.notifyOfKnownUpdates(); }));
}

void AppDelegate::notifyOfKnownUpdates() {
  if (!notify()) {
    fLogic->WithdrawAll();
    return;
  }
  fLogic->MaybeNotify(fCurrList);
  maybeNotifyDriver();
}

void AppDelegate::setPanelVisible(bool visible) {
  if (visible == panelVisible()) return;
  if (visible) {
    showPanel();
  } else {
    hidePanel();
  }
}

void AppDelegate::showPanel() {
  fStatusView->setHighlight(true);
  fController = fEnvironment.makePanel(*this, *fItem);
  fController->show();
}

void AppDelegate::hidePanel() {
  fStatusView->setHighlight(false);
  const auto closing = std::move(fController);  // hidden from here on, for whoever asks while it closes
  closing->close();
}

void AppDelegate::togglePanel() {
  setPanelVisible(!panelVisible());
}

void AppDelegate::maybeNotifyDriver() {
  if (!notify()) return;
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

std::string AppDelegate::getLauncherName() {
  return Identity::kLauncherIdentifier;
}

void AppDelegate::setLaunchOnLogin(bool enabled) {
  if (!fEnvironment.loginItems().SetEnabled(getLauncherName(), enabled)) {
    WriteToConsole(kLoginItemFailed);
  }
}

bool AppDelegate::launchOnLogin() {
  const auto job = fEnvironment.loginItems().JobLabelled(getLauncherName());
  return job && job->onDemand;
}

bool AppDelegate::appInLoginItems() {
  return fEnvironment.loginItems().JobLabelled(getLauncherName()).has_value();
}

void AppDelegate::toggleMacVirtualEntity(QAction* sender) {
  fVirtualEntity->EnableDisableVirtualAudio(sender);
}

void AppDelegate::openUrl(const std::string& url) {
  fEnvironment.openUrl(url, {});
}

void AppDelegate::quit() {
  fEnvironment.terminate();
}

void AppDelegate::handleActivation(const ActivationRequest& request) {
  if (request.kind == ActivationRequest::Kind::OpenPage) {
    fEnvironment.handleNotificationActivation(request.address, request.activationToken);
  } else {
    setPanelVisible(true);
  }
}

}  // namespace vorn::app
