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

/// Has a polling device list browse whenever there is a DNS-SD responder to
/// browse with.
///
/// The list is made when the responder has answered for the first time and
/// lives as long as this object. It browses anew whenever the responder is found
/// answering again, be it another one or one that was silent for a while, and
/// within five seconds where browsing was refused or has ended although the
/// responder answers; the console is told then, once until browsing goes well.
/// What is listed stays meanwhile, as the Watcher says.
///
/// Lives on the thread that constructs it; both callbacks run there, from its
/// run loop.
class SupervisedDeviceList : private vorn::WorkLoop {
 public:
  using Publish = PollingDeviceList::Publish;
  using State = vorn::ResponderMonitor::State;
  using StateChanged = std::function<void(State)>;

  /// How often it is looked whether browsing goes on, and tried again if not.
  static constexpr std::chrono::seconds kRetryTime{5};

  /// How the parts are made, the time between two tries and its clock; what
  /// programs use is the default.
  struct Makers {
    std::function<std::unique_ptr<PollingDeviceList>(Publish)> list = ListsAsking(UpdateServer());
    std::function<std::unique_ptr<vorn::ResponderMonitor>(vorn::ResponderMonitor::Callback)> monitor =
        [](vorn::ResponderMonitor::Callback onChange) {
          return std::make_unique<vorn::ResponderMonitor>(std::move(onChange));
        };
    std::chrono::milliseconds retryTime = kRetryTime;
    vorn::Now now = vorn::Clock::now;
  };

  /// `publish` gets every list; `stateChanged`, which may be empty, whether a
  /// responder can be talked to. Neither may destroy this object. `server` is
  /// asked for the newest firmware.
  explicit SupervisedDeviceList(Publish publish, StateChanged stateChanged = {}, UpdateServer server = {});
  SupervisedDeviceList(Publish publish, StateChanged stateChanged, Makers makers);
  ~SupervisedDeviceList() override;

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
  bool fReportedFailure = false;  // since browsing last went well
  std::atomic<State> fReportedState{State::kUnknown};
  std::atomic<bool> fMustBrowse{false};  // a responder was found answering since browsing last began
  vorn::CppWorkItem fResponderItem;
  vorn::RunLoopTimer fRetryTimer;
  std::unique_ptr<PollingDeviceList> fList;          // none before a responder has answered
  std::unique_ptr<vorn::ResponderMonitor> fMonitor;  // last: its thread uses what stands above
};

}  // namespace DeviceList
