#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "foundation/Optional.h"
#include "platform/Dispatch.h"
#include "platform/LoginItems.h"
#include "platform/UserDefaults.h"

class QAction;

namespace vorn::ui {
class PanelOwner;
}

namespace vorn::app {

/// Keeps asking the update server for the newest version of one product for as
/// long as it lives.
class LatestVersionSource {
 public:
  virtual ~LatestVersionSource() = default;
  /// As the server writes it; empty: not known yet. Any thread.
  virtual optional<std::string> GetLatestVersion() const = 0;
};

/// Keeps finding devices and publishing the list for as long as it lives.
class DeviceListSource {
 public:
  virtual ~DeviceListSource() = default;
};

/// Announces new releases, each once.
class ReleaseNotices {
 public:
  virtual ~ReleaseNotices() = default;
  virtual void MaybeNotify(const std::vector<DeviceList::ExtendedDeviceInfo>& devices) = 0;
};

/// The workstation's own AVB entity. Destroyed on whichever thread drops it last.
class VirtualEntity {
 public:
  virtual ~VirtualEntity() = default;
  /// Where the submenu of interfaces goes; null is nowhere. Main thread.
  virtual void setFVirtualEntityMenuItem(std::shared_ptr<QAction> item) = 0;
  /// Finds the capable interfaces and makes the submenu; whether there is one.
  /// Blocks for a second or more: on a background thread.
  virtual bool EnumerateAVBInterfaces() = 0;
  /// Gives the item, and those set before it, the submenu that was found last.
  /// Main thread.
  virtual void installSubmenus() = 0;
  /// An entry of the submenu was chosen. Main thread.
  virtual void EnableDisableVirtualAudio(QAction* sender) = 0;
};

/// The place in the desktop's status bar, empty until a view is made for it.
class StatusItem {
 public:
  virtual ~StatusItem() = default;
};

/// What the item shows. Main thread.
class StatusView {
 public:
  virtual ~StatusView() = default;
  virtual void setAction(std::function<void()> action) = 0;  ///< what a press does
  virtual void setHighlight(bool highlight) = 0;             ///< the panel is open
  virtual void setActive(bool active) = 0;                   ///< at least one device is listed
};

/// The item's menu, a listener of its own for as long as it lives.
class StatusMenu {
 public:
  virtual ~StatusMenu() = default;
};

/// One showing of the panel. Main thread. May be destroyed inside its own events.
class PanelWindow {
 public:
  virtual ~PanelWindow() = default;
  /// In front, with the focus, where it belongs for the status item.
  virtual void show() = 0;
  virtual void close() = 0;
};

/// Everything that the application controller asks of its surroundings: it
/// makes the long-lived objects, and holds those that are the system's own.
/// Outlives the controller. Main thread.
class AppDelegateEnvironment {
 public:
  using Publish = std::function<void(std::vector<DeviceList::ExtendedDeviceInfo>)>;

  virtual ~AppDelegateEnvironment() = default;

  /// A notice of ours started the program: open its page.
  virtual void handleNotificationActivation(const std::string& address,
                                            const std::string& activationToken) = 0;
  /// Ends the program once the current event has been handled.
  virtual void terminate() = 0;

  virtual std::string bundleVersion() = 0;
  /// `onChanged` comes on the source's own thread.
  virtual std::unique_ptr<LatestVersionSource> makeFirmwarePoller(const std::string& model,
                                                                  const std::string& channel,
                                                                  std::function<void()> onChanged) = 0;
  virtual std::shared_ptr<VirtualEntity> makeVirtualEntity() = 0;
  virtual UserDefaults& standardUserDefaults() = 0;
  virtual std::unique_ptr<ReleaseNotices> makeNotificationLogic() = 0;
  /// `publish` may come on any thread.
  virtual std::unique_ptr<DeviceListSource> makeDeviceList(Publish publish) = 0;
  virtual std::unique_ptr<StatusItem> makeStatusItem(int length) = 0;
  virtual std::unique_ptr<StatusView> makeStatusView(StatusItem& item) = 0;
  virtual std::unique_ptr<StatusMenu> makeStatusMenu(ui::PanelOwner& owner, StatusItem& item) = 0;
  virtual std::unique_ptr<PanelWindow> makePanel(ui::PanelOwner& owner, StatusItem& item) = 0;

  virtual LoginItems& loginItems() = 0;
  virtual Dispatch& dispatch() = 0;
  virtual void openUrl(const std::string& url, const std::string& activationToken) = 0;
};

}  // namespace vorn::app
