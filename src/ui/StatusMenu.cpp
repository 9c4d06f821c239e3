#include "ui/StatusMenu.h"

#include <QGuiApplication>
#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "ui/DeviceWords.h"
#include "ui/DisplayText.h"
#include "ui/PanelOwner.h"
#include "ui/SettingsMenu.h"

namespace vorn::ui {
namespace {

using DeviceList::ExtendedDeviceInfo;

constexpr std::chrono::milliseconds kCollect{250};

QString entryTitle(const ExtendedDeviceInfo& info) {
  const QString name = isolatedText(shortText(nameWords(info)));
  const QString update = updateWords(info);
  return update.isEmpty()
             ? name
             : StatusMenu::tr("%1 (%2)", "a unit's name, and that there is an update").arg(name, update);
}

}  // namespace

StatusMenu::StatusMenu(PanelOwner& owner, QObject* parent, std::chrono::milliseconds settingsPeriod,
                       std::chrono::milliseconds longestOpening)
    : QObject(parent), fOwner(owner), fList(std::make_shared<const std::vector<ExtendedDeviceInfo>>()) {
  QAction* show = fMenu.addAction(tr("Show Devices"));
  connect(show, &QAction::triggered, this, [this] { fOwner.setPanelVisible(true); });
  fMenu.addSeparator();
  fPlaceholder = fMenu.addAction(nothingListedWords());
  fPlaceholder->setEnabled(false);
  fAllDevices = fMenu.addAction(QString());
  fAllDevices->setVisible(false);
  connect(fAllDevices, &QAction::triggered, this, [this] { fOwner.setPanelVisible(true); });
  fHint = fMenu.addAction(QString());
  fHint->setEnabled(false);
  fHint->setVisible(false);
  fAfterDevices = fMenu.addSeparator();
  fSettings = new SettingsMenu(owner, SettingsMenu::Quit::NotOffered, &fMenu);
  fSettings->setForm(fForm);
  fMenu.addMenu(fSettings);
  QAction* quit = fMenu.addAction(SettingsMenu::quitTitle());
  connect(quit, &QAction::triggered, this, [this] { fOwner.quit(); });

  fMenu.setAccessibleName(QGuiApplication::applicationDisplayName());
  fListTimer.setSingleShot(true);
  fListTimer.setInterval(kCollect);
  connect(&fListTimer, &QTimer::timeout, this, &StatusMenu::takeOverList);
  fOpening.setSingleShot(true);
  fOpening.setInterval(longestOpening);
  connect(&fOpening, &QTimer::timeout, this, &StatusMenu::takeOverList);
  connect(&fMenu, &QMenu::aboutToShow, this, &StatusMenu::aboutToShow);
  connect(&fMenu, &QMenu::aboutToHide, this, &StatusMenu::aboutToHide);
  connect(&fSettingsTimer, &QTimer::timeout, fSettings, &SettingsMenu::menuNeedsUpdate);
  connect(&fSettingsTimer, &QTimer::timeout, this, &StatusMenu::showHint);
  fSettingsTimer.start(settingsPeriod);
}

StatusMenu::~StatusMenu() = default;

QMenu* StatusMenu::menu() {
  return fSettings;
}

void StatusMenu::setForm(MenuForm form) {
  fForm = form;
  fSettings->setForm(form);
  showIn(form, fMenu);
}

void StatusMenu::setHintSource(std::function<DeviceList::DiscoveryHint()> hint) {
  fHintSource = std::move(hint);
  showHint();
}

void StatusMenu::updateDeviceList(DeviceList::SharedUnits list) {
  fList = std::move(list);
  if (!fListTimer.isActive()) fListTimer.start();
}

void StatusMenu::aboutToShow() {
  fOpening.stop();               // a host that never reports the closing opens it again
  fSettings->menuNeedsUpdate();  // hosts need not report that they open a submenu
  takeOverList();
  fOpening.start();
}

// The user's choice may arrive after this report, so its entry stays a moment longer.
void StatusMenu::aboutToHide() {
  fOpening.stop();
  fListTimer.start();
}

bool StatusMenu::isOpen() const {
  return fOpening.isActive() || fMenu.isVisible();
}

void StatusMenu::takeOverList() {
  fListTimer.stop();
  if (isOpen()) {
    updateInPlace();
    return;
  }
  const Devices devices = devicesToShow();
  removeGoneEntries(devices);
  placeEntries(devices);
  fPlaceholder->setVisible(fEntries.empty());
  showHint();
}

void StatusMenu::updateInPlace() {
  for (const Entry& entry : fEntries) {
    const auto device = std::ranges::find(*fList, entry.url, &ExtendedDeviceInfo::url);
    entry.action->setEnabled(device != fList->end());
    if (device != fList->end()) setLiteralText(*entry.action, entryTitle(*device), fForm);
  }
  showHint();
}

void StatusMenu::showHint() {
  const QString words = fHintSource ? hintWords(fHintSource(), fEntries.empty()) : QString();
  const bool isMove = words.isEmpty() == fHint->isVisible();
  if (isMove && isOpen()) return;
  setLiteralText(*fHint, words, fForm);
  fHint->setVisible(!words.isEmpty());
}

// One for each url. Says in the menu how many there are.
StatusMenu::Devices StatusMenu::devicesToShow() {
  Devices devices;
  std::unordered_set<std::string_view> urls;
  for (const ExtendedDeviceInfo& device : *fList) {
    if (urls.insert(device.url).second) devices.push_back(&device);
  }
  const auto hasUpdate = [](const ExtendedDeviceInfo* device) {
    return DeviceList::UpdateAvailable(*device);
  };
  std::stable_partition(devices.begin(), devices.end(), hasUpdate);
  const bool areTooMany = devices.size() > kMaxEntries;
  if (areTooMany) setLiteralText(*fAllDevices, allDevicesWords(devices.size()), fForm);
  fAllDevices->setVisible(areTooMany);
  if (areTooMany) devices.resize(kMaxEntries);
  return devices;
}

void StatusMenu::removeGoneEntries(const Devices& devices) {
  std::erase_if(fEntries, [&](const Entry& entry) {
    const auto isItsDevice = [&](const ExtendedDeviceInfo* device) { return device->url == entry.url; };
    if (std::ranges::any_of(devices, isItsDevice)) return false;
    fMenu.removeAction(entry.action);
    entry.action->deleteLater();  // it may be the one that is being triggered
    return true;
  });
}

// The first `at` entries are in place. The next device's entry is searched after them, or made, and put
// there.
void StatusMenu::placeEntries(const Devices& devices) {
  for (std::size_t at = 0; at < devices.size(); ++at) {
    const ExtendedDeviceInfo& device = *devices[at];
    std::size_t known = at;
    while (known < fEntries.size() && fEntries[known].url != device.url) ++known;
    const bool isNew = known == fEntries.size();
    if (isNew) fEntries.push_back({device.url, makeEntry(device.url)});
    QAction* const action = fEntries[known].action;
    setLiteralText(*action, entryTitle(device), fForm);
    action->setEnabled(true);
    if (isNew || known != at) fMenu.insertAction(known == at ? fAllDevices : fEntries[at].action, action);
    const auto first = fEntries.begin();
    std::rotate(first + static_cast<std::ptrdiff_t>(at), first + static_cast<std::ptrdiff_t>(known),
                first + static_cast<std::ptrdiff_t>(known) + 1);
  }
}

QAction* StatusMenu::makeEntry(const std::string& url) {
  auto* action = new QAction(&fMenu);
  connect(action, &QAction::triggered, this, [this, url] { fOwner.openUrl(url); });
  return action;
}

}  // namespace vorn::ui
