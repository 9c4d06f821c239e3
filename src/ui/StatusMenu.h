#pragma once

#include <QMenu>
#include <QTimer>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "devicelist/DiscoveryStatus.h"
#include "ui/DisplayText.h"
#include "ui/PanelOwner.h"

namespace vorn::ui {

class SettingsMenu;

/// The status item's context menu, for hosts that offer nothing else: "Show Devices", an entry for each of
/// the first devices with the update mark in words, the settings as a submenu, and quit. Devices with an
/// update come first, otherwise the order is the list's. If there are more devices than entries, one more
/// entry counts them all and shows the panel. Its creator registers it with the owner like any listener.
///
/// An entry belongs to one device for its whole life and is never reused. An open menu moves no entry, so the
/// user's choice is always what the user aimed at: titles change in place, the entry of a device that has
/// gone is disabled, and all else waits until the menu closes. Hosts need not report that they close it, so
/// after kLongestOpening a menu that a host draws counts as closed.
///
/// Several lists are applied together a little later, because every change travels to the host. The settings
/// are read again when the menu opens. They are also read at intervals, because some hosts never report that
/// they open it. Main thread only.
class StatusMenu : public QObject, public DeviceListListener {
  Q_OBJECT

 public:
  static constexpr std::chrono::seconds kSettingsPeriod{10};

  static constexpr std::chrono::seconds kLongestOpening{20};

  /// The most devices with an entry, so that the settings and quit stay in sight.
  static constexpr std::size_t kMaxEntries = 12;

  explicit StatusMenu(PanelOwner& owner, QObject* parent = nullptr,
                      std::chrono::milliseconds settingsPeriod = kSettingsPeriod,
                      std::chrono::milliseconds longestOpening = kLongestOpening);
  ~StatusMenu() override;
  Q_DISABLE_COPY_MOVE(StatusMenu)

  /// For StatusItem::setContextMenu.
  [[nodiscard]] QMenu* contextMenu() { return &fMenu; }

  /// Exported, unless this is called: with the older kind of tray, the toolkit draws the menu.
  void setForm(MenuForm form);

  /// Makes the menu say why nothing may be listed, like the panel. `hint` is asked whenever the list changes,
  /// when the menu opens, and at intervals.
  void setHintSource(std::function<DeviceList::DiscoveryHint()> hint);

  void updateDeviceList(DeviceList::SharedUnits list) override;
  /// The settings submenu.
  QMenu* menu() override;

 private:
  struct Entry {
    std::string url;
    QAction* action;  // owned by fMenu
  };
  using Devices = std::vector<const DeviceList::ExtendedDeviceInfo*>;

  void aboutToShow();
  void aboutToHide();
  [[nodiscard]] bool isOpen() const;
  void takeOverList();
  void updateInPlace();
  void showHint();
  [[nodiscard]] Devices devicesToShow();
  void removeGoneEntries(const Devices& devices);
  void placeEntries(const Devices& devices);
  QAction* makeEntry(const std::string& url);

  PanelOwner& fOwner;
  MenuForm fForm = MenuForm::Exported;
  QMenu fMenu;
  SettingsMenu* fSettings = nullptr;  // child of fMenu
  QAction* fPlaceholder = nullptr;    // owned by fMenu; visible while nothing is listed
  QAction* fAllDevices = nullptr;     // owned by fMenu; visible while devices have no entry
  QAction* fHint = nullptr;           // owned by fMenu; visible while there is something to say
  QAction* fAfterDevices = nullptr;   // owned by fMenu; the separator below the devices
  std::function<DeviceList::DiscoveryHint()> fHintSource;
  std::vector<Entry> fEntries;
  DeviceList::SharedUnits fList;  // the last one
  QTimer fListTimer;              // runs while a list waits
  QTimer fSettingsTimer;          // always runs
  QTimer fOpening;                // runs while a host may show the menu
};

}  // namespace vorn::ui
