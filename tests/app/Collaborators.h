#pragma once

#include <gtest/gtest.h>

#include <QMenu>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/AppDelegate.h"
#include "devicelist/FirmwarePoller.h"
#include "tests/platform/FakeNotificationCenter.h"
#include "tests/platform/FakeUrlOpener.h"
#include "tests/platform/FakeUserDefaults.h"
#include "tests/platform/ManualDispatch.h"
#include "tests/support/LoopbackServer.h"
#include "tests/virtualentity/Scripted.h"

namespace vorn::app::testing {

/// The system's login items in memory.
class FakeLoginItems final : public LoginItems {
 public:
  bool SetEnabled(const std::string& identifier, bool enabled) override {
    if (fSucceeds) fJobs[identifier] = enabled;
    return fSucceeds;
  }
  bool Repair(const std::string& identifier) override {
    fRepaired.push_back(identifier);
    return fSucceeds;
  }
  std::optional<LoginJob> JobLabelled(const std::string& identifier) const override {
    const auto found = fJobs.find(identifier);
    return found == fJobs.end() ? std::optional<LoginJob>()
                                : std::optional<LoginJob>(LoginJob{identifier, found->second});
  }

  bool fSucceeds = true;
  std::map<std::string, bool> fJobs;  ///< label -> on demand
  std::vector<std::string> fRepaired;
};

/// A listener that keeps what it got.
class RecordingListener final : public ui::DeviceListListener {
 public:
  void updateDeviceList(DeviceList::SharedUnits list) override {
    fLists.push_back(std::move(list));
    if (fOnUpdate) fOnUpdate();
  }
  QMenu* menu() override { return &fMenu; }

  std::vector<DeviceList::SharedUnits> fLists;
  std::function<void()> fOnUpdate;
  QMenu fMenu;
};

/// What a user sees in the status bar and can do there. Panel and menu are listeners of their owner, as on a
/// real desktop.
class FakeStatusBar final : public ui::StatusBar {
 public:
  /// Lives longer than the status bar, which the controller owns.
  struct Seen {
    int length = 0;
    bool highlighted = false;
    bool active = false;
    std::function<void()> press;
    std::unique_ptr<RecordingListener> menu;
    std::unique_ptr<RecordingListener> panel;  ///< of the open panel
    int panelsShown = 0;
    std::function<void()> onPanelClose;  ///< called while the panel closes
  };

  FakeStatusBar(Seen& seen, int length) : fSeen(seen) { fSeen.length = length; }
  ~FakeStatusBar() override {
    closePanel();
    if (fSeen.menu) fOwner->removeListener(fSeen.menu.get());
    fSeen.menu.reset();
  }

  void setAction(std::function<void()> action) override { fSeen.press = std::move(action); }
  void setHighlight(bool highlight) override { fSeen.highlighted = highlight; }
  void setActive(bool active) override { fSeen.active = active; }
  void showPanel(ui::PanelOwner& owner) override {
    fOwner = &owner;
    ++fSeen.panelsShown;
    fSeen.panel = std::make_unique<RecordingListener>();
    owner.addListener(fSeen.panel.get());
  }
  void closePanel() override {
    const auto closing = std::move(fSeen.panel);
    if (!closing) return;
    if (fSeen.onPanelClose) fSeen.onPanelClose();
    fOwner->removeListener(closing.get());
  }
  void offerMenu(ui::PanelOwner& owner) override {
    fOwner = &owner;
    fSeen.menu = std::make_unique<RecordingListener>();
    owner.addListener(fSeen.menu.get());
  }

 private:
  Seen& fSeen;
  ui::PanelOwner* fOwner = nullptr;
};

/// What the controller works with: the core's own classes over fakes of the system, a local update server,
/// and a status bar in memory.
class Collaborators {
 public:
  AppDelegate::Makers Makers() {
    return {
        .urlOpener = fOpener,
        .loginItems = fIsInstalled ? &fLoginItems : nullptr,
        .terminate = [this] { ++fTerminated; },
        .bundleVersion = fBundleVersion,
        .updateServer = [this] { return fUpdateServer.Url("/api/"); },
        .dispatch = [this]() -> Dispatch& { return fQueues; },
        .userDefaults = [this]() -> UserDefaults& { return fDefaults; },
        .notificationCenter = [this]() -> NotificationCenter& { return fCenter; },
        .firmwarePoller =
            [this](std::string model, std::string channel, std::function<void()> onChanged) {
              const auto noted = [this, call = std::move(onChanged)] {
                call();
                ++fDriverChanges;
              };
              return std::make_unique<DeviceList::FirmwarePoller>(
                  std::move(model), std::move(channel), noted,
                  DeviceList::UpdateServer::At(fUpdateServer.Url("/api/")).value(), std::chrono::hours(1));
            },
        .virtualEntity =
            [this] {
              return std::make_shared<MacVirtualEntity>(
                  fQueues, fLauncher, fServices, fCapability,
                  AVBTool{"/bin/sh", "/usr/bin/avbutil", {}, std::chrono::milliseconds(1)});
            },
        .deviceList =
            [this](std::function<void(AppDelegate::List)> publish) {
              fPublish = std::move(publish);
              return nullptr;
            },
        .statusBar = [this](int length) { return std::make_unique<FakeStatusBar>(fStatusBar, length); },
    };
  }

  /// One capable interface, on which the entity is not enabled.
  void HaveAVBInterface() {
    fServices.fServices = std::vector<NetworkService>{{"Rack", "eth1"}};
    fCapability.fAnswers = {{"eth1", AVBCapability::Answer::kCapable}};
  }

  /// Makes the device list publish, and the main queue take the list over.
  void Publish(AppDelegate::List list) {
    fPublish(std::move(list));
    fQueues.RunMain();
  }

  vorn::testing::LoopbackServer fUpdateServer;
  std::string fBundleVersion = "1.2.3+4";
  vorn::testing::FakeUrlOpener fOpener;
  FakeLoginItems fLoginItems;
  bool fIsInstalled = true;
  vorn::testing::FakeUserDefaults fDefaults;
  vorn::testing::FakeNotificationCenter fCenter;
  FakeStatusBar::Seen fStatusBar;
  std::function<void(AppDelegate::List)> fPublish;  ///< of the device list
  int fTerminated = 0;
  std::atomic<int> fDriverChanges{0};  ///< of the poller's answer, passed to the main queue
  ScriptedLauncher fLauncher;
  ScriptedServices fServices;
  ScriptedCapability fCapability;
  vorn::testing::ManualDispatch fQueues;  ///< last: its jobs use the members above
};

/// A unit with a name and a type, at its own address.
inline DeviceList::ExtendedDeviceInfo Unit(const std::string& name, const std::string& type) {
  DeviceList::ExtendedDeviceInfo unit;
  unit.name = name;
  unit.type = type;
  unit.uid = name;
  unit.url = "http://" + name + ".local/";
  return unit;
}

/// The same, with an update.
inline DeviceList::ExtendedDeviceInfo Outdated(const std::string& name, const std::string& type) {
  auto unit = Unit(name, type);
  unit.firmwareVersion = FirmwareVersion{1, 0, 0, 0};
  unit.latestVersion = FirmwareVersion{1, 4, 2, 0};
  return unit;
}

}  // namespace vorn::app::testing
