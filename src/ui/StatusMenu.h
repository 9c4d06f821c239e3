#pragma once

#include <QMenu>
#include <QTimer>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "devicelist/DiscoveryStatus.h"
#include "ui/DisplayText.h"
#include "ui/PanelOwner.h"

namespace vorn::ui {

class SettingsMenu;

/// The status item's context menu, for hosts that offer nothing else: "Show Devices", one entry for each
/// listed device with the update mark in words, the settings as a submenu, and quit. Its creator registers it
/// with the owner like any listener.
///
/// An entry belongs to one device for its whole life and is never reused, so the user's choice is always what
/// the user saw. Several lists are applied together a little later, because every change travels to the host.
/// The settings are read again when the menu opens. They are also read at intervals, because some hosts never
/// report that they open it. Main thread only.
class StatusMenu : public QObject, public DeviceListListener {
  Q_OBJECT

 public:
  static constexpr std::chrono::seconds kSettingsPeriod{10};

  explicit StatusMenu(PanelOwner& owner, QObject* parent = nullptr,
                      std::chrono::milliseconds settingsPeriod = kSettingsPeriod);
  ~StatusMenu() override;
  Q_DISABLE_COPY_MOVE(StatusMenu)

  /// For StatusItem::setContextMenu.
  [[nodiscard]] QMenu* contextMenu() { return &fMenu; }

  /// Exported, unless this is called: with the older kind of tray, the toolkit draws the menu.
  void setForm(MenuForm form);

  /// Makes the menu say why nothing may be listed, like the panel. `hint` is asked whenever the list changes,
  /// when the menu opens, and at intervals.
  void setHintSource(std::function<DeviceList::DiscoveryHint()> hint);

  void updateDeviceList(std::vector<DeviceList::ExtendedDeviceInfo> list) override;
  /// The settings submenu.
  QMenu* menu() override;

 private:
  struct Entry {
    std::string url;
    QAction* action;  // owned by fMenu
  };

  void aboutToShow();
  void takeOverList();
  void showHint();
  void removeGoneEntries();
  void placeEntries();
  QAction* makeEntry(const std::string& url);

  PanelOwner& fOwner;
  MenuForm fForm = MenuForm::Exported;
  QMenu fMenu;
  SettingsMenu* fSettings = nullptr;  // child of fMenu
  QAction* fPlaceholder = nullptr;    // owned by fMenu; visible while nothing is listed
  QAction* fHint = nullptr;           // owned by fMenu; visible while there is something to say
  QAction* fAfterDevices = nullptr;   // owned by fMenu; the separator below the devices
  std::function<DeviceList::DiscoveryHint()> fHintSource;
  std::vector<Entry> fEntries;
  std::vector<DeviceList::ExtendedDeviceInfo> fList;
  QTimer fListTimer;      // runs while a list waits
  QTimer fSettingsTimer;  // always runs
};

}  // namespace vorn::ui
