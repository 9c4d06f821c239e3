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

class PanelOwner;
class SettingsMenu;

/// The status item's context menu, for hosts that offer nothing else: "Show
/// Devices", one entry per listed device with the update mark in words, the
/// settings as a submenu, and quit. Registered with the owner like any
/// listener, by whoever creates it.
///
/// An entry belongs to one device for its whole life and is never reused for
/// another, so what the user chooses is what the user saw. Lists are taken over
/// a little later and together, because every change travels to the host. The
/// settings are read anew when the menu opens, and every now and then for hosts
/// that never tell of opening it.
/// Main thread only.
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

  /// Exported, unless this is called: the older kind of tray has the toolkit
  /// draw the menu.
  void setForm(MenuForm form);

  /// Has the menu say why nothing may be listed, as the panel does. `hint` is
  /// asked whenever the list changes, when the menu opens, and every now and then.
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
