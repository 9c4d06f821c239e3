#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AVB/Util/ResponderMonitor.h"
#include "devicelist/HeldUnits.h"
#include "devicelist/PollingDeviceList.h"
#include "foundation/RunLoopTimer.h"
#include "foundation/WorkLoop.h"

namespace DeviceList {

/// A polling device list that outlives the DNS-SD responder.
///
/// Discovery falls silent for good when the responder ends, so a fresh
/// PollingDeviceList is built whenever the monitor finds a responder answering
/// (again). What was shown stays in view until the fresh list knows each unit
/// as well, for five seconds at most; a restart within that time gives five
/// more only to the units that a list has named in between. The list is built
/// only after the responder has answered a probe, and an old one is left after
/// half a second if it is stuck, so that no thread of the owner's waits for a
/// responder. One whose browsing is refused, or ends by itself, under a
/// responder that answers is replaced as well, and the console is told, once until
/// one goes well. One such list a process.
///
/// Lives on the thread that constructs it; both callbacks run there, from its
/// run loop.
class SupervisedDeviceList : private vorn::WorkLoop {
 public:
  using Publish = PollingDeviceList::Publish;
  using State = vorn::ResponderMonitor::State;
  using StateChanged = std::function<void(State)>;

  /// How long units of before are shown that the fresh list has not found.
  static constexpr std::chrono::seconds kHoldTime{5};

  /// When a list that could not be built is tried again, and how often one is
  /// looked at that could.
  static constexpr std::chrono::seconds kRetryTime{5};

  /// How the parts are made, when a list is tried again, and the clock of the
  /// hold time; what programs use is the default.
  struct Makers {
    std::function<std::unique_ptr<PollingDeviceList>(Publish)> list = [](Publish publish) {
      return std::make_unique<PollingDeviceList>(std::move(publish));
    };
    std::function<std::unique_ptr<vorn::ResponderMonitor>(vorn::ResponderMonitor::Callback)> monitor =
        [](vorn::ResponderMonitor::Callback onChange) {
          return std::make_unique<vorn::ResponderMonitor>(std::move(onChange));
        };
    std::chrono::milliseconds retryTime = kRetryTime;
    std::function<vorn::AbsoluteTime()> now = vorn::AbsoluteTimeGetCurrent;
  };

  /// `publish` gets every list; `stateChanged`, which may be empty, whether a
  /// responder can be talked to. Neither may destroy this object.
  explicit SupervisedDeviceList(Publish publish, StateChanged stateChanged = {});
  SupervisedDeviceList(Publish publish, StateChanged stateChanged, Makers makers);
  ~SupervisedDeviceList() override;

 private:
  bool HandleResponder();
  void Rebuild();
  void CheckList();
  void TellOfFailure(const std::string& message);
  void TakeList(std::vector<ExtendedDeviceInfo> list);
  void EndHold();
  void ArmHoldTimer();

  const Publish fPublish;
  const StateChanged fStateChanged;
  const Makers fMakers;
  std::vector<ExtendedDeviceInfo> fCurrent;  // the fresh list's last word
  std::vector<ExtendedDeviceInfo> fShown;    // what was last published
  HeldUnits fHeld;
  State fState = State::kUnknown;
  unsigned fBuiltGeneration = 0;
  std::size_t fFailedEngines = 0;  // of this process, before the list was built
  bool fToldOfFailure = false;     // since a list last went well
  std::atomic<State> fReportedState{State::kUnknown};
  std::atomic<unsigned> fGeneration{0};  // how often a responder was found answering
  vorn::CppWorkItem fResponderItem;
  vorn::RunLoopTimer fHoldTimer;
  vorn::RunLoopTimer fRetryTimer;
  std::unique_ptr<PollingDeviceList> fList;
  std::unique_ptr<vorn::ResponderMonitor> fMonitor;  // last: its thread uses what stands above
};

}  // namespace DeviceList
