#include "tests/app/ScriptedEnvironment.h"

#include <algorithm>

namespace vorn::app::testing {
namespace {

class ScriptedPoller final : public LatestVersionSource {
 public:
  explicit ScriptedPoller(ScriptedEnvironment& environment) : fEnvironment(environment) {}
  optional<std::string> GetLatestVersion() const override { return fEnvironment.latestDriver; }

 private:
  ScriptedEnvironment& fEnvironment;
};

class ScriptedEntity final : public VirtualEntity {
 public:
  explicit ScriptedEntity(ScriptedEnvironment& environment) : fEnvironment(environment) {}
  void setFVirtualEntityMenuItem(std::shared_ptr<QAction> item) override {
    fEnvironment.entityItem = std::move(item);
  }
  bool EnumerateAVBInterfaces() override {
    fEnvironment.journal.push_back("enumerate");
    return fEnvironment.hasAVBInterfaces;
  }
  void stopEnumerations() override { fEnvironment.journal.push_back("stop enumerations"); }
  bool installSubmenus() override {
    fEnvironment.journal.push_back("install submenus");
    return fEnvironment.hasAVBInterfaces;
  }
  void EnableDisableVirtualAudio(QAction* sender) override { fEnvironment.toggled = sender; }

 private:
  ScriptedEnvironment& fEnvironment;
};

class ScriptedNotices final : public ReleaseNotices {
 public:
  explicit ScriptedNotices(ScriptedEnvironment& environment) : fEnvironment(environment) {}
  void MaybeNotify(const ScriptedEnvironment::List& devices) override {
    fEnvironment.journal.push_back("maybe notify");
    fEnvironment.notified.push_back(devices);
  }
  void WithdrawAll() override { fEnvironment.journal.push_back("withdraw all"); }

 private:
  ScriptedEnvironment& fEnvironment;
};

class ScriptedView final : public StatusBarView {
 public:
  explicit ScriptedView(ScriptedEnvironment& environment) : fEnvironment(environment) {}
  void setAction(std::function<void()> action) override { fEnvironment.pressItem = std::move(action); }
  void setHighlight(bool highlight) override {
    fEnvironment.journal.push_back(highlight ? "highlight" : "no highlight");
  }
  void setActive(bool active) override { fEnvironment.active = active; }

 private:
  ScriptedEnvironment& fEnvironment;
};

class ScriptedPanel final : public PanelWindow {
 public:
  explicit ScriptedPanel(ScriptedEnvironment& environment) : fEnvironment(environment) {}
  ~ScriptedPanel() override { fEnvironment.journal.push_back("panel gone"); }
  void show() override { fEnvironment.journal.push_back("panel shown"); }
  void close() override {
    fEnvironment.journal.push_back("panel closed");
    if (fEnvironment.onPanelClose) fEnvironment.onPanelClose();
  }

 private:
  ScriptedEnvironment& fEnvironment;
};

}  // namespace

void ScriptedEnvironment::handleNotificationActivation(const std::string& address, const std::string& token) {
  journal.push_back("activate notice " + address + " " + token);
}

std::string ScriptedEnvironment::bundleVersion() {
  journal.push_back("read version");
  return version;
}

std::unique_ptr<LatestVersionSource> ScriptedEnvironment::makeFirmwarePoller(
    const std::string& model, const std::string& channel, std::function<void()> onChanged) {
  journal.push_back("make poller " + model + " " + channel);
  driverChanged = std::move(onChanged);
  return std::make_unique<ScriptedPoller>(*this);
}

std::shared_ptr<VirtualEntity> ScriptedEnvironment::makeVirtualEntity() {
  journal.push_back("make virtual entity");
  return std::make_shared<ScriptedEntity>(*this);
}

UserDefaults& ScriptedEnvironment::standardUserDefaults() {
  journal.push_back("take defaults");
  return defaults;
}

std::unique_ptr<ReleaseNotices> ScriptedEnvironment::makeNotificationLogic() {
  return std::make_unique<ScriptedNotices>(*this);
}

std::unique_ptr<DeviceListSource> ScriptedEnvironment::makeDeviceList(
    AppDelegateEnvironment::Publish publishList) {
  journal.push_back("make device list");
  publish = std::move(publishList);
  return std::make_unique<DeviceListSource>();
}

std::unique_ptr<StatusBarItem> ScriptedEnvironment::makeStatusItem(int length) {
  journal.push_back("make status item " + std::to_string(length));
  return std::make_unique<StatusBarItem>();
}

std::unique_ptr<StatusBarView> ScriptedEnvironment::makeStatusView(StatusBarItem&) {
  journal.push_back("make status view");
  return std::make_unique<ScriptedView>(*this);
}

std::unique_ptr<StatusBarMenu> ScriptedEnvironment::makeStatusMenu(ui::PanelOwner&, StatusBarItem&) {
  journal.push_back("make status menu");
  return std::make_unique<StatusBarMenu>();
}

std::unique_ptr<PanelWindow> ScriptedEnvironment::makePanel(ui::PanelOwner&, StatusBarItem&) {
  journal.push_back("make panel");
  return std::make_unique<ScriptedPanel>(*this);
}

void ScriptedEnvironment::Publish(List list) {
  publish(std::move(list));
  ScriptedDispatch::Run(queues.main);
}

std::size_t ScriptedEnvironment::Count(const std::string& entry) const {
  return static_cast<std::size_t>(std::count(journal.begin(), journal.end(), entry));
}

DeviceList::ExtendedDeviceInfo Unit(const std::string& name, const std::string& type) {
  DeviceList::ExtendedDeviceInfo unit;
  unit.name = name;
  unit.type = type;
  unit.uid = name;
  unit.url = "http://" + name + ".local/";
  return unit;
}

std::vector<std::string> NamesOf(const ScriptedEnvironment::List& list) {
  std::vector<std::string> names;
  for (const auto& unit : list) names.push_back(unit.name ? *unit.name : "");
  return names;
}

}  // namespace vorn::app::testing
