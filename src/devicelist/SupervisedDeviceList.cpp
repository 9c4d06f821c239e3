#include "devicelist/SupervisedDeviceList.h"

#include <exception>
#include <string>
#include <utility>

#include "foundation/Console.h"

namespace DeviceList {
namespace {

constexpr vorn::AbsoluteTime kHoldSeconds =
    std::chrono::duration<double>(SupervisedDeviceList::kHoldTime).count();

vorn::AbsoluteTime In(std::chrono::duration<double> time) {
  return vorn::AbsoluteTimeGetCurrent() + time.count();
}

}  // namespace

SupervisedDeviceList::SupervisedDeviceList(Publish publish, StateChanged stateChanged)
    : SupervisedDeviceList(std::move(publish), std::move(stateChanged), Makers{}) {}

SupervisedDeviceList::SupervisedDeviceList(Publish publish, StateChanged stateChanged, Makers makers)
    : fPublish(std::move(publish)),
      fStateChanged(std::move(stateChanged)),
      fMakers(std::move(makers)),
      fResponderItem(this, [this] { return HandleResponder(); }),
      fHoldTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { EndHold(); }),
      fRetryTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { CheckList(); }) {
  fMonitor = fMakers.monitor([this](State state) {
    if (state == State::kAnswering) ++fGeneration;
    fReportedState = state;
    fResponderItem.Queue();
  });
}

SupervisedDeviceList::~SupervisedDeviceList() = default;

bool SupervisedDeviceList::HandleResponder() {
  const State state = fReportedState;
  const bool changed = state != std::exchange(fState, state);
  if (state == State::kAnswering && fBuiltGeneration != fGeneration) Rebuild();
  if (changed && fStateChanged) fStateChanged(state);
  return true;
}

void SupervisedDeviceList::Rebuild() {
  fBuiltGeneration = fGeneration;
  fHeld.Hold(fShown, fMakers.now() + kHoldSeconds);
  ArmHoldTimer();
  fCurrent.clear();
  fList.reset();
  fFailedEngines = vorn::ZeroConfEngine::FailedEngines();
  fRetryTimer.SetNextFireDate(In(fMakers.retryTime));
  try {
    fList = fMakers.list([this](std::vector<ExtendedDeviceInfo> list) { TakeList(std::move(list)); });
  } catch (const std::exception& error) {  // no thread or no descriptor left
    TellOfFailure(std::string("the network cannot be browsed, trying again: ") + error.what());
    fBuiltGeneration = fGeneration - 1;
  }
}

void SupervisedDeviceList::CheckList() {
  fRetryTimer.SetNextFireDate(In(fMakers.retryTime));
  if (fState == State::kAnswering && fList) {
    if (fFailedEngines == vorn::ZeroConfEngine::FailedEngines()) {
      fToldOfFailure = false;
    } else {
      TellOfFailure("the network is not browsed any more, beginning anew");
      fBuiltGeneration = fGeneration - 1;
    }
  }
  fResponderItem.Queue();
}

void SupervisedDeviceList::TellOfFailure(const std::string& message) {
  if (!std::exchange(fToldOfFailure, true)) vorn::WriteToConsole(message);
}

void SupervisedDeviceList::TakeList(std::vector<ExtendedDeviceInfo> list) {
  fCurrent = std::move(list);
  fShown = fHeld.Merge(fCurrent);
  if (fPublish) fPublish(fShown);
}

void SupervisedDeviceList::EndHold() {
  if (fHeld.ReleaseDue(fMakers.now())) TakeList(std::move(fCurrent));
  ArmHoldTimer();
}

void SupervisedDeviceList::ArmHoldTimer() {
  const auto due = fHeld.NextDue();
  if (due) fHoldTimer.SetNextFireDate(vorn::AbsoluteTimeGetCurrent() + (*due - fMakers.now()));
}

}  // namespace DeviceList
