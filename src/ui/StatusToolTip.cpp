#include "ui/StatusToolTip.h"

#include <utility>

#include "ui/DeviceWords.h"

namespace vorn::ui {

StatusToolTip::StatusToolTip(PanelOwner& owner, std::function<DeviceList::DiscoveryHint()> hint,
                             std::function<void(const QString&)> show, Timing timing)
    : fOwner(owner), fHint(std::move(hint)), fShow(std::move(show)), fTiming(timing) {
  fTimer.setSingleShot(true);
  QObject::connect(&fTimer, &QTimer::timeout, &fTimer, [this] { showWords(); });
  fOwner.addListener(this);
}

StatusToolTip::~StatusToolTip() {
  fOwner.removeListener(this);
}

void StatusToolTip::updateDeviceList(DeviceList::SharedUnits list) {
  const bool isFirst = !fList;
  fList = std::move(list);
  if (isFirst) {
    showWords();
  } else if (!std::exchange(fListWaits, true)) {
    fTimer.start(fTiming.collect);
  }
}

void StatusToolTip::showWords() {
  fListWaits = false;
  fShow(listWords(*fList, fHint()));
  if (fList->empty()) fTimer.start(fTiming.look);
}

}  // namespace vorn::ui
