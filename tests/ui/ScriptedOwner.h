#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Clock.h"
#include "tests/ui/Devices.h"
#include "ui/ClickablePanel.h"
#include "ui/DeviceListController.h"
#include "ui/DeviceListWindowController.h"
#include "ui/PanelOwner.h"
#include "ui/PanelPlacement.h"

namespace vorn::ui {

/// An owner that acts like the application with a panel. For example, it destroys its controller inside the
/// very event that asks for it. It records the requests.
class ScriptedOwner : public PanelOwner {
 public:
  ~ScriptedOwner() override { setPanelVisible(false); }

  void addListener(DeviceListListener* listener) override {
    listener->updateDeviceList(Shared(fList));
    if (std::find(fListeners.begin(), fListeners.end(), listener) == fListeners.end()) {
      fListeners.push_back(listener);
    }
  }
  void removeListener(DeviceListListener* listener) override { std::erase(fListeners, listener); }
  void setPanelVisible(bool visible) override {
    fVisibleRequests.push_back(visible);
    if (visible && !fController) {
      fController = std::make_unique<DeviceListWindowController>(*this, [this] { return fTime; });
      QObject::connect(fController.get(), &DeviceListWindowController::hiddenByDeactivation,
                       [this] { ++fDeactivations; });
      fController->showAt(fPlace ? *fPlace : currentPanelPlace(nullptr));
    } else if (!visible && fController) {
      const auto kept = std::move(fController);
      kept->close();
    }
  }
  bool canLaunchOnLogin() override { return fCanLaunch; }
  bool launchOnLogin() override {
    ++fSettingsRead;
    return fLaunch;
  }
  void setLaunchOnLogin(bool enabled) override { fLaunch = enabled; }
  bool showSwitches() override { return fSwitches; }
  void setShowSwitches(bool shown) override { fSwitches = shown; }
  bool notify() override { return fNotify; }
  void setNotify(bool enabled) override { fNotify = enabled; }
  bool checkForUpdates() override { return fChecks; }
  void setCheckForUpdates(bool enabled) override { fChecks = enabled; }
  bool firstRunWords() override { return fFirstRunWords; }
  void endFirstRunWords() override { fFirstRunWords = false; }
  std::string updateServer() override { return fUpdateServer; }
  void openUrl(const std::string& url) override { fOpened.push_back(url); }
  void quit() override { ++fQuits; }

  void publish(const List& list) {
    fList = list;
    const auto shared = Shared(fList);
    for (std::size_t i = 0; i < fListeners.size(); ++i) fListeners[i]->updateDeviceList(shared);
  }

  DeviceListController* panelController() const { return fController->deviceListController(); }
  ReturnIsDoubleClickTableView* table() const { return panelController()->table(); }

  List fList;
  std::optional<PanelPlace> fPlace;  ///< of the panel; otherwise that for an unknown item
  std::vector<DeviceListListener*> fListeners;
  std::unique_ptr<DeviceListWindowController> fController;
  std::vector<bool> fVisibleRequests;
  std::vector<std::string> fOpened;
  int fDeactivations = 0;
  Clock::time_point fTime{};  ///< of the panel's clock, which only a test moves
  int fQuits = 0;
  int fSettingsRead = 0;
  bool fCanLaunch = true;
  bool fLaunch = false;
  bool fSwitches = false;
  bool fNotify = true;
  bool fChecks = true;
  bool fFirstRunWords = false;
  std::string fUpdateServer = "http://updates.vorn.example/api/";
};

}  // namespace vorn::ui
