#include "ui/StatusMenu.h"

#include <QGuiApplication>
#include <algorithm>
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
  return update.isEmpty() ? name : name + QStringLiteral(" (%1)").arg(update);
}

}  // namespace

StatusMenu::StatusMenu(PanelOwner& owner, QObject* parent, std::chrono::milliseconds settingsPeriod)
    : QObject(parent), fOwner(owner) {
  QAction* show = fMenu.addAction(QStringLiteral("Show Devices"));
  connect(show, &QAction::triggered, this, [this] { fOwner.setPanelVisible(true); });
  fMenu.addSeparator();
  fPlaceholder = fMenu.addAction(nothingListedWords());
  fPlaceholder->setEnabled(false);
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

void StatusMenu::updateDeviceList(std::vector<ExtendedDeviceInfo> list) {
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
  removeGoneEntries();
  placeEntries();
  fPlaceholder->setVisible(fEntries.empty());
  showHint();
}

void StatusMenu::showHint() {
  const QString words = fHintSource ? hintWords(fHintSource(), fEntries.empty()) : QString();
  setLiteralText(*fHint, words, fForm);
  fHint->setVisible(!words.isEmpty());
}

void StatusMenu::removeGoneEntries() {
  std::unordered_set<std::string> listed;
  for (const ExtendedDeviceInfo& info : fList) listed.insert(info.url);
  std::erase_if(fEntries, [&](const Entry& entry) {
    if (listed.contains(entry.url)) return false;
    fMenu.removeAction(entry.action);
    entry.action->deleteLater();  // it may be the one that is being triggered
    return true;
  });
}

// The first `at` entries are in place. The next device's entry is searched after them, or made, and put
// there.
void StatusMenu::placeEntries() {
  std::unordered_set<std::string> placed;
  for (const ExtendedDeviceInfo& info : fList) {
    const auto at = static_cast<std::ptrdiff_t>(placed.size());
    if (!placed.insert(info.url).second) continue;
    const auto place = fEntries.begin() + at;
    const auto known =
        std::find_if(place, fEntries.end(), [&](const Entry& entry) { return entry.url == info.url; });
    QAction* action = known == fEntries.end() ? makeEntry(info.url) : known->action;
    setLiteralText(*action, entryTitle(info), fForm);
    if (known == place && known != fEntries.end()) continue;
    fMenu.insertAction(place == fEntries.end() ? fHint : place->action, action);
    if (known != fEntries.end()) fEntries.erase(known);
    fEntries.insert(fEntries.begin() + at, {info.url, action});
  }
}

QAction* StatusMenu::makeEntry(const std::string& url) {
  auto* action = new QAction(&fMenu);
  connect(action, &QAction::triggered, this, [this, url] { fOwner.openUrl(url); });
  return action;
}

}  // namespace vorn::ui
