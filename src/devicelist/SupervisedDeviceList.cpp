#include "devicelist/SupervisedDeviceList.h"

#include <exception>
#include <string>
#include <utility>

#include "foundation/Console.h"

namespace DeviceList {

std::function<std::unique_ptr<PollingDeviceList>(SupervisedDeviceList::Publish)>
SupervisedDeviceList::ListsAsking(UpdateServer server) {
  return [server = std::move(server)](Publish publish) {
    return std::make_unique<PollingDeviceList>(std::move(publish), server);
  };
}

SupervisedDeviceList::SupervisedDeviceList(Publish publish, StateChanged stateChanged, UpdateServer server)
    : SupervisedDeviceList(std::move(publish), std::move(stateChanged),
                           Makers{.list = ListsAsking(std::move(server))}) {}

SupervisedDeviceList::SupervisedDeviceList(Publish publish, StateChanged stateChanged, Makers makers)
    : fPublish(std::move(publish)),
      fStateChanged(std::move(stateChanged)),
      fMakers(std::move(makers)),
      fResponderItem(this, [this] { return HandleResponder(); }),
      fRetryTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { CheckBrowsing(); }) {
  fMonitor = fMakers.monitor([this](State state) {
    if (state == State::kAnswering) fMustBrowse = true;
    fReportedState = state;
    fResponderItem.Queue();
  });
}

SupervisedDeviceList::~SupervisedDeviceList() = default;

void SupervisedDeviceList::CheckForUpdates(bool check) {
  if (check == std::exchange(fChecksForUpdates, check)) return;
  if (fList) fList->CheckForUpdates(check);
}

bool SupervisedDeviceList::HandleResponder() {
  const State state = fReportedState;
  const bool changed = state != std::exchange(fState, state);
  if (state != State::kAnswering) {
    if (fList) fList->PauseHold();
  } else if (fMustBrowse) {
    Browse();
  }
  if (changed && fStateChanged) fStateChanged(state);
  return true;
}

void SupervisedDeviceList::Browse() {
  fMustBrowse = false;
  try {
    if (fList) {
      fList->BrowseAnew();
    } else {
      fList = fMakers.list(fPublish);
      if (!fChecksForUpdates) fList->CheckForUpdates(false);
    }
  } catch (const std::exception& error) {  // no thread or no descriptor left
    ReportFailure(std::string("the network cannot be browsed, trying again: ") + error.what());
  }
  ArmRetryTimer();  // only now: an attempt may take this long too, and the loop must turn in between
}

void SupervisedDeviceList::CheckBrowsing() {
  if (fState == State::kAnswering) {  // otherwise it browses again when the responder answers
    if (!fList || fList->HasBrowsingEnded()) {
      ReportFailure("browsing the network has ended, starting again");
      return Browse();
    }
    if (fList->IsBrowsing()) fReportedFailure = false;  // a browse that waits may still be refused
  }
  ArmRetryTimer();
}

void SupervisedDeviceList::ArmRetryTimer() {
  fRetryTimer.SetNextFireDate(vorn::AbsoluteTimeAt(fMakers.now() + fMakers.retryTime));
}

void SupervisedDeviceList::ReportFailure(const std::string& message) {
  if (!std::exchange(fReportedFailure, true)) vorn::WriteToConsole(message);
}

}  // namespace DeviceList
