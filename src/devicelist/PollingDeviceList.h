#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "devicelist/FirmwarePoller.h"
#include "devicelist/Poller.h"
#include "devicelist/Watcher.h"

namespace DeviceList {

/// The list that the user sees: one poller for each discovered unit and one firmware poller for each model.
/// After every change of any of them, one callback gets the whole sorted list.
///
/// Lives on the thread that constructs it. The callback runs there too, from the run loop, at every update,
/// also if the content has not changed. The destructor cancels the requests of all pollers and joins their
/// threads.
class PollingDeviceList : public Watcher {
 public:
  using Publish = std::function<void(std::vector<ExtendedDeviceInfo>)>;

  /// The most units and models that are polled. Each takes a thread, and anybody on the network can announce
  /// more. Those beyond the bound get no poller, and there is one console message.
  static constexpr std::size_t kMaxUnits = 2048;
  static constexpr std::size_t kMaxModels = 512;

  using FirmwarePollerMaker =
      std::function<FirmwarePoller(std::string model, std::string channel, std::function<void()> onChanged)>;

  /// How pollers are made, and the clock of the hold time; programs use the default.
  struct Makers {
    std::function<std::unique_ptr<Poller>(Entry, std::shared_ptr<const LocalHosts>)> poller = MakePoller;
    FirmwarePollerMaker firmwarePoller = FirmwarePollersOf(UpdateServer());
    vorn::Now now = vorn::Clock::now;
  };

  /// Firmware pollers ask `server`.
  explicit PollingDeviceList(Publish publish, UpdateServer server = {});
  PollingDeviceList(Publish publish, vorn::DNSSD& dnssd, Makers makers);
  ~PollingDeviceList() override;

  /// Rebuilds and publishes the list. This is the function of the work item. Returns true.
  bool UpdateList();

  /// The poller for the entry's kind, or null for an unknown kind. Throws std::system_error if its thread
  /// cannot be started, and std::runtime_error or std::bad_alloc if no HTTP client can be made.
  static std::unique_ptr<Poller> MakePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts);

  /// Makes firmware pollers that ask this server.
  static FirmwarePollerMaker FirmwarePollersOf(UpdateServer server);

 private:
  void TakeEntries(std::vector<Entry> entries);
  std::vector<std::size_t> KeptPollers(std::vector<Entry>& entries) const;
  std::unique_ptr<Poller> NewPoller(Entry entry);
  ExtendedDeviceInfo Assemble(const Poller& poller);
  vorn::optional<std::string> LatestVersionText(const std::string& model);
  void ReportOnce(bool& reported, const std::string& message);

  const Makers fMakers;
  bool fReportedUnits = false;
  bool fReportedModels = false;
  bool fReportedThreads = false;
  vorn::CppWorkItem fUpdateItem;
  Publish fPublish;
  std::vector<std::unique_ptr<Poller>> fPollers;           // one for each entry of a known kind
  std::map<std::string, FirmwarePoller> fFirmwarePollers;  // by model; only grows
};

}  // namespace DeviceList
