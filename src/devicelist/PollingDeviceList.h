#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "devicelist/AskedModels.h"
#include "devicelist/ExtendedDeviceInfo.h"
#include "devicelist/FirmwarePoller.h"
#include "devicelist/PolledUnits.h"
#include "devicelist/Poller.h"
#include "devicelist/Watcher.h"
#include "foundation/Clock.h"
#include "foundation/RunLoopTimer.h"

namespace DeviceList {

/// The list that the user sees: one poller for each discovered unit and one firmware poller for each model.
/// After every change of any of them, one callback gets the whole sorted list. If many units are polled,
/// changes that follow a list too soon share the next one (kPause).
///
/// Lives on the thread that constructs it. The callback runs there too, from the run loop, at every update,
/// also if the content has not changed. The destructor cancels the requests of all pollers and joins their
/// threads.
class PollingDeviceList : public Watcher {
 public:
  using Publish = std::function<void(std::vector<ExtendedDeviceInfo>)>;

  /// The most units and models that are polled. UnitPlaces and AskedModels say who gets a place, and the
  /// console says once for each address what is refused.
  static constexpr std::size_t kMaxUnits = UnitPlaces::kMaxUnits;
  static constexpr std::size_t kMaxModels = AskedModels::kMaxModels;

  /// How often the units without a place or a thread are tried again. Then some units that have not answered
  /// since the last time give way to them.
  static constexpr std::chrono::seconds kRetryTime{5};

  /// While more units than this are polled, at least this time passes between two lists. So a network on
  /// which everything changes leaves the thread time for other work. The first change after it makes a list
  /// at once.
  static constexpr std::size_t kUnitsWithoutPause = 128;
  static constexpr std::chrono::milliseconds kPause{100};

  using FirmwarePollerMaker =
      std::function<FirmwarePoller(std::string model, std::string channel, std::function<void()> onChanged)>;

  /// How pollers are made, the clock of the hold time, of the pause and of AskedModels, and the time between
  /// two tries; programs use the default.
  struct Makers {
    std::function<std::unique_ptr<Poller>(Entry, std::shared_ptr<const LocalHosts>)> poller = MakePoller;
    FirmwarePollerMaker firmwarePoller = FirmwarePollersOf(UpdateServer());
    vorn::Now now = vorn::Clock::now;
    std::chrono::milliseconds retryTime = kRetryTime;
  };

  /// Firmware pollers ask `server`.
  explicit PollingDeviceList(Publish publish, UpdateServer server = {});
  PollingDeviceList(Publish publish, vorn::DNSSD& dnssd, Makers makers);
  ~PollingDeviceList() override;

  /// Whether the update server is asked, as it is at first. If not, no unit has a newest version: those that
  /// are known are forgotten.
  void CheckForUpdates(bool check);

  /// Rebuilds and publishes the list, without a pause. The work item calls this. Returns true.
  bool UpdateList();

  /// The poller for the entry's kind, or null for an unknown kind. Throws std::system_error if its thread
  /// cannot be started, and std::runtime_error or std::bad_alloc if no HTTP client can be made.
  static std::unique_ptr<Poller> MakePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts);

  /// Makes firmware pollers that ask this server.
  static FirmwarePollerMaker FirmwarePollersOf(UpdateServer server);

 private:
  bool UpdateAfterPause();
  void TakeEntries(std::vector<Entry> entries);
  bool Retry();
  void RetryLater();
  std::unique_ptr<Poller> NewPoller(const Entry& entry);
  ExtendedDeviceInfo Assemble(const Poller& poller) const;
  vorn::optional<std::string> LatestVersionText(const std::string& url, const std::string& model);
  void ReportFull(const std::optional<std::string>& address);
  void ReportOnce(bool& reported, const std::string& message);
  void ReportOnce(const std::string& message);

  const Makers fMakers;
  bool fChecksForUpdates = true;
  bool fReportedThreads = false;
  std::set<std::string> fReported;  // messages, a bounded number
  vorn::CppWorkItem fUpdateItem;
  vorn::Clock::time_point fPauseEnds;
  vorn::RunLoopTimer fPauseTimer;  // runs while a change waits for the end of the pause
  Publish fPublish;
  PolledUnits fUnits;
  AskedModels fModels;
  bool fMustAskAboutModels = false;  // one could not be asked about
  bool fIsRetryDue = false;          // the timer runs
  vorn::CppWorkItem fRetryItem;
  vorn::RunLoopTimer fRetryTimer;
};

}  // namespace DeviceList
