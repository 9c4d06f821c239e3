#pragma once

#include <QAction>
#include <QMenu>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "app/AppDelegate.h"
#include "app/AppDelegateEnvironment.h"
#include "ui/PanelOwner.h"

namespace vorn::app::testing {

/// What happened, in order.
using Journal = std::vector<std::string>;

/// Queues that run only when told to.
class ScriptedDispatch final : public Dispatch {
 public:
  void AsyncMain(Job job) override { main.push_back(std::move(job)); }
  void AsyncBackground(Priority priority, Job job) override {
    priorities.push_back(priority);
    background.push_back(std::move(job));
  }
  static void Run(std::deque<Job>& jobs) {
    while (!jobs.empty()) {
      const Job job = std::move(jobs.front());
      jobs.pop_front();
      job();
    }
  }

  std::deque<Job> main;
  std::deque<Job> background;
  std::vector<Priority> priorities;
};

class MemoryDefaults final : public UserDefaults {
 public:
  explicit MemoryDefaults(Journal& journal) : fJournal(journal) {}
  void RegisterBool(const std::string& key, bool value) override {
    fJournal.push_back("register " + key + (value ? " true" : " false"));
    registered[key] = value;
  }
  bool GetBool(const std::string& key) const override {
    const auto stored = bools.find(key);
    if (stored != bools.end()) return stored->second;
    const auto byDefault = registered.find(key);
    return byDefault != registered.end() && byDefault->second;
  }
  optional<std::string> GetString(const std::string&) const override { return {}; }
  optional<std::vector<std::string>> GetStringArray(const std::string&) const override { return {}; }
  void SetBool(const std::string& key, bool value) override {
    fJournal.push_back("set " + key + (value ? " true" : " false"));
    bools[key] = value;
  }
  void SetString(const std::string&, const std::string&) override {}
  void SetStringArray(const std::string&, const std::vector<std::string>&) override {}
  [[nodiscard]] Condition StoreCondition() const override { return condition; }
  bool Synchronize() override { return true; }

  Condition condition = Condition::kWhole;
  std::map<std::string, bool> bools;
  std::map<std::string, bool> registered;

 private:
  Journal& fJournal;
};

class ScriptedLoginItems final : public LoginItems {
 public:
  explicit ScriptedLoginItems(Journal& journal) : fJournal(journal) {}
  bool SetEnabled(const std::string& identifier, bool enabled) override {
    fJournal.push_back((enabled ? "enable " : "disable ") + identifier);
    return succeeds;
  }
  bool Repair(const std::string& identifier) override {
    fJournal.push_back("repair " + identifier);
    return succeeds;
  }
  optional<LoginJob> JobLabelled(const std::string& identifier) const override {
    const auto found = jobs.find(identifier);
    return found == jobs.end() ? optional<LoginJob>()
                               : optional<LoginJob>(LoginJob{identifier, found->second});
  }

  bool succeeds = true;
  std::map<std::string, bool> jobs;  ///< label -> on demand

 private:
  Journal& fJournal;
};

/// Everything around the controller, scripted; the parts it makes write into
/// one journal and are reachable while they live.
class ScriptedEnvironment final : public AppDelegateEnvironment {
 public:
  using List = std::vector<DeviceList::ExtendedDeviceInfo>;

  void handleNotificationActivation(const std::string& address, const std::string& token) override;
  void terminate() override { journal.push_back("terminate"); }
  std::string bundleVersion() override;
  std::unique_ptr<LatestVersionSource> makeFirmwarePoller(const std::string& model,
                                                          const std::string& channel,
                                                          std::function<void()> onChanged) override;
  std::shared_ptr<VirtualEntity> makeVirtualEntity() override;
  UserDefaults& standardUserDefaults() override;
  std::unique_ptr<ReleaseNotices> makeNotificationLogic() override;
  std::unique_ptr<DeviceListSource> makeDeviceList(Publish publishList) override;
  std::unique_ptr<StatusBarItem> makeStatusItem(int length) override;
  std::unique_ptr<StatusBarView> makeStatusView(StatusBarItem& item) override;
  std::unique_ptr<StatusBarMenu> makeStatusMenu(ui::PanelOwner& owner, StatusBarItem& item) override;
  std::unique_ptr<PanelWindow> makePanel(ui::PanelOwner& owner, StatusBarItem& item) override;
  LoginItems& loginItems() override { return items; }
  Dispatch& dispatch() override { return queues; }
  void openUrl(const std::string& url, const std::string&) override { journal.push_back("open " + url); }

  /// Has the device list publish, and the main queue take it over.
  void Publish(List list);
  /// How often the entry stands in the journal.
  [[nodiscard]] std::size_t Count(const std::string& entry) const;

  Journal journal;
  ScriptedDispatch queues;
  MemoryDefaults defaults{journal};
  ScriptedLoginItems items{journal};
  std::string version = "1.2.3+4";
  optional<std::string> latestDriver;
  bool hasAVBInterfaces = false;
  std::function<void()> onPanelClose;  ///< called inside the panel's close

  std::function<void()> driverChanged;
  AppDelegateEnvironment::Publish publish;
  std::function<void()> pressItem;
  std::vector<List> notified;  ///< what the notice logic was given
  bool active = false;
  std::shared_ptr<QAction> entityItem;
  QAction* toggled = nullptr;
};

/// A listener that keeps what it got.
class RecordingListener final : public ui::DeviceListListener {
 public:
  void updateDeviceList(ScriptedEnvironment::List list) override {
    lists.push_back(std::move(list));
    if (onUpdate) onUpdate();
  }
  QMenu* menu() override { return &settings; }

  std::vector<ScriptedEnvironment::List> lists;
  std::function<void()> onUpdate;
  QMenu settings;
};

/// A unit with a name and a type, at an address of its own.
DeviceList::ExtendedDeviceInfo Unit(const std::string& name, const std::string& type);

/// The units' names.
std::vector<std::string> NamesOf(const ScriptedEnvironment::List& list);

}  // namespace vorn::app::testing
