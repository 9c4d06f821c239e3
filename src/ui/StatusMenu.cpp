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

bool haveSameTitle(const ExtendedDeviceInfo& a, const ExtendedDeviceInfo& b) {
  return a.name == b.name && a.firmwareVersion == b.firmwareVersion && a.latestVersion == b.latestVersion;
}

}  // namespace

StatusMenu::StatusMenu(PanelOwner& owner, QObject* parent, std::chrono::milliseconds settingsPeriod)
    : QObject(parent), fOwner(owner) {
  QAction* show = fMenu.addAction(tr("Show Devices"));
  connect(show, &QAction::triggered, this, [this] { fOwner.setPanelVisible(true); });
  fMenu.addSeparator();
  fPlaceholder = fMenu.addAction(nothingListedWords());
  fPlaceholder->setEnabled(false);
  fMore = fMenu.addAction(QString());
  fMore->setVisible(false);
  connect(fMore, &QAction::triggered, this, [this] { fOwner.setPanelVisible(true); });
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
  connect(&fMenu, &QMenu::aboutToShow, this, &StatusMenu::aboutToShow);
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
  fSettings->menuNeedsUpdate();  // hosts need not report that they open a submenu
  if (fListTimer.isActive()) {
    takeOverList();
  } else {
    showHint();
  }
}

void StatusMenu::takeOverList() {
  fListTimer.stop();
  const Devices devices = devicesToShow();
  removeGoneEntries(devices);
  placeEntries(devices);
  fShown = fList;
  fPlaceholder->setVisible(fEntries.empty());
  showHint();
}

void StatusMenu::showHint() {
  const QString words = fHintSource ? hintWords(fHintSource(), fEntries.empty()) : QString();
  setLiteralText(*fHint, words, fForm);
  fHint->setVisible(!words.isEmpty());
}

// One for each url. Says in the menu how many more there are.
StatusMenu::Devices StatusMenu::devicesToShow() {
  Devices devices;
  std::unordered_set<std::string_view> urls;
  for (const ExtendedDeviceInfo& device : *fList) {
    if (urls.insert(device.url).second && devices.size() < kMaxEntries) devices.push_back(&device);
  }
  const std::size_t others = urls.size() - devices.size();
  if (others > 0) setLiteralText(*fMore, moreDevicesWords(others), fForm);
  fMore->setVisible(others > 0);
  return devices;
}

void StatusMenu::removeGoneEntries(const Devices& devices) {
  std::unordered_set<std::string_view> urls;
  for (const ExtendedDeviceInfo* device : devices) urls.insert(device->url);
  std::erase_if(fEntries, [&](const Entry& entry) {
    if (urls.contains(entry.device->url)) return false;
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
    const auto place = fEntries.begin() + static_cast<std::ptrdiff_t>(at);
    const auto known = std::find_if(place, fEntries.end(),
                                    [&](const Entry& entry) { return entry.device->url == device.url; });
    const bool isNew = known == fEntries.end();
    const Entry entry{&device, isNew ? makeEntry(device.url) : known->action};
    if (isNew || !haveSameTitle(*known->device, device)) {
      setLiteralText(*entry.action, entryTitle(device), fForm);
    }
    if (!isNew && known == place) {
      *place = entry;
      continue;
    }
    fMenu.insertAction(place == fEntries.end() ? fMore : place->action, entry.action);
    if (!isNew) fEntries.erase(known);
    fEntries.insert(fEntries.begin() + static_cast<std::ptrdiff_t>(at), entry);
  }
}

QAction* StatusMenu::makeEntry(const std::string& url) {
  auto* action = new QAction(&fMenu);
  connect(action, &QAction::triggered, this, [this, url] { fOwner.openUrl(url); });
  return action;
}

}  // namespace vorn::ui
