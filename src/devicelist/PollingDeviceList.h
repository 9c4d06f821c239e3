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

/// The list that the user sees: one poller a discovered unit, one firmware
/// poller a model, and after every change of any of them the whole sorted list
/// handed to one callback.
///
/// Lives on the thread that constructs it, where the callback runs too, from
/// the run loop, at every update whether or not the content changed. The
/// destructor stops and joins every poller's thread, cancelling what it waits
/// for.
class PollingDeviceList : public Watcher {
 public:
  using Publish = std::function<void(std::vector<ExtendedDeviceInfo>)>;

  /// At most so many units are polled and so many models asked about, because
  /// each takes a thread and anybody on the network can announce more. What is
  /// beyond gets no poller, and one console message.
  static constexpr std::size_t kMaxUnits = 2048;
  static constexpr std::size_t kMaxModels = 512;

  using FirmwarePollerMaker =
      std::function<FirmwarePoller(std::string model, std::string channel, std::function<void()> onChanged)>;

  /// How pollers are made, and the clock of the hold time; what programs use is
  /// the default.
  struct Makers {
    std::function<std::unique_ptr<Poller>(Entry, std::shared_ptr<const LocalHosts>)> poller = MakePoller;
    FirmwarePollerMaker firmwarePoller = FirmwarePollersOf(UpdateServer());
    vorn::Now now = vorn::Clock::now;
  };

  /// `server` is asked for the newest firmware.
  explicit PollingDeviceList(Publish publish, UpdateServer server = {});
  PollingDeviceList(Publish publish, vorn::DNSSD& dnssd, Makers makers);
  ~PollingDeviceList() override;

  /// Rebuilds and publishes the list; the work item's function. Returns true.
  bool UpdateList();

  /// The poller for the entry's kind, or null for an unknown kind. Throws
  /// std::system_error when its thread cannot be started, std::runtime_error or
  /// std::bad_alloc when no HTTP client can be made.
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
  std::vector<std::unique_ptr<Poller>> fPollers;           // one an entry of known kind
  std::map<std::string, FirmwarePoller> fFirmwarePollers;  // by model; only grows
};

}  // namespace DeviceList
