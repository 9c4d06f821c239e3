#include "ui/TriggerFilter.h"

#include <utility>

namespace vorn::ui {

TriggerFilter::TriggerFilter(std::chrono::milliseconds doubleClickInterval, Now now)
    : fDoubleClickInterval(doubleClickInterval), fNow(std::move(now)) {}

bool TriggerFilter::accept() {
  if (fHandling) return false;
  const Clock::time_point now = fNow();
  // The interval runs from the first activation and is not prolonged, so that
  // steady clicking is never swallowed for good.
  if (fClick && now - *fClick < fDoubleClickInterval) return false;
  fClick = now;
  const bool closedThePanel = fHidden && now - *fHidden < kDeactivationWindow;
  fHidden.reset();
  fHandling = !closedThePanel;
  return fHandling;
}

void TriggerFilter::noteHandled() {
  fHandling = false;
}

void TriggerFilter::noteHiddenByDeactivation() {
  fHidden = fNow();
}

}  // namespace vorn::ui
