#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "AVB/Util/ResponderMonitor.h"
#include "devicelist/PollingDeviceList.h"
#include "foundation/Clock.h"
#include "foundation/RunLoopTimer.h"
#include "foundation/WorkLoop.h"

namespace DeviceList {

/// Makes a polling device list browse whenever there is a DNS-SD responder.
///
/// The list is made when the responder answers for the first time, and lives as long as this object. It
/// browses again in two cases: the responder answers again (another one, or one that was silent for a while),
/// or, within five seconds, browsing was refused or ended although the responder answers. The second case
/// writes one console message until browsing succeeds. A browse that a slow responder has not accepted yet
/// goes on: it is accepted, or it fails in the end. The listed units stay in the meantime, as described in
/// Watcher.
///
/// Lives on the thread that constructs it. Both callbacks run there, from its run loop.
class SupervisedDeviceList : private vorn::WorkLoop {
 public:
  using Publish = PollingDeviceList::Publish;
  using State = vorn::ResponderMonitor::State;
  using StateChanged = std::function<void(State)>;

  /// How often it checks that browsing continues, and tries again if not.
  static constexpr std::chrono::seconds kRetryTime{5};

  /// How the parts are made, the time between two tries and its clock; programs use the default.
  struct Makers {
    std::function<std::unique_ptr<PollingDeviceList>(Publish)> list = ListsAsking(UpdateServer());
    std::function<std::unique_ptr<vorn::ResponderMonitor>(vorn::ResponderMonitor::Callback)> monitor =
        [](vorn::ResponderMonitor::Callback onChange) {
          return std::make_unique<vorn::ResponderMonitor>(std::move(onChange));
        };
    std::chrono::milliseconds retryTime = kRetryTime;
    vorn::Now now = vorn::Clock::now;
  };

  /// `publish` gets every list. `stateChanged`, which may be empty, gets the responder's state. Neither may
  /// destroy this object. Firmware pollers ask `server`.
  explicit SupervisedDeviceList(Publish publish, StateChanged stateChanged = {}, UpdateServer server = {});
  SupervisedDeviceList(Publish publish, StateChanged stateChanged, Makers makers);
  ~SupervisedDeviceList() override;

  /// See PollingDeviceList. Holds for the list that a later responder brings, too.
  void CheckForUpdates(bool check);

 private:
  static std::function<std::unique_ptr<PollingDeviceList>(Publish)> ListsAsking(UpdateServer server);
  bool HandleResponder();
  void Browse();
  void CheckBrowsing();
  void ArmRetryTimer();
  void ReportFailure(const std::string& message);

  const Publish fPublish;
  const StateChanged fStateChanged;
  const Makers fMakers;
  State fState = State::kUnknown;
  bool fChecksForUpdates = true;
  bool fReportedFailure = false;  // since browsing last succeeded
  std::atomic<State> fReportedState{State::kUnknown};
  std::atomic<bool> fMustBrowse{false};  // a responder has answered since browsing last started
  vorn::CppWorkItem fResponderItem;
  vorn::RunLoopTimer fRetryTimer;
  std::unique_ptr<PollingDeviceList> fList;          // none before a responder has answered
  std::unique_ptr<vorn::ResponderMonitor> fMonitor;  // last: its thread uses the members above
};

}  // namespace DeviceList
