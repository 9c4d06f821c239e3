#include "devicelist/PollerInternals.h"

#include <cstddef>
#include <utility>

#include "foundation/Thread.h"

namespace DeviceList {
namespace {

PollerInternals::CheckResponse RunCheck(const PollerInternals::Check& check,
                                        vorn::optional<std::string>& state) {
  try {
    return check(state);
  } catch (...) {
    return PollerInternals::CheckResponse::Restart;
  }
}

}  // namespace

PollerInternals::PollerInternals(std::chrono::milliseconds period, std::vector<Check> checks, vorn::Now now)
    : fNow(std::move(now)) {
  fThread = vorn::StartThread("poller", [this, period, own = std::move(checks)] { Loop(period, own); });
}

PollerInternals::~PollerInternals() {
  {
    const std::lock_guard lock(fMutex);
    fStop = true;
    fWakeup.notify_all();
  }
  fThread.join();
}

void PollerInternals::Loop(std::chrono::milliseconds period, const std::vector<Check>& checks) {
  for (std::size_t next = 0;;) {
    if (next >= checks.size()) {
      if (checks.empty() && IsStopped()) return;
      next = 0;
      continue;
    }
    switch (RunCycle(period, checks[next])) {
      case CheckResponse::Done:
        ++next;
        break;
      case CheckResponse::Retry:  // a cycle repeats it by itself
      case CheckResponse::Restart:
        next = 0;
        break;
      case CheckResponse::Stop:
        return;
    }
  }
}

/// Runs one check with its own state until it is finished. Never returns Retry.
PollerInternals::CheckResponse PollerInternals::RunCycle(std::chrono::milliseconds period,
                                                         const Check& check) {
  vorn::optional<std::string> state;
  for (;;) {
    if (IsStopped()) return CheckResponse::Stop;
    const auto response = RunCheck(check, state);
    if (response == CheckResponse::Done || response == CheckResponse::Stop) return response;
    if (!PauseUnlessStopped(period)) return CheckResponse::Stop;
    if (response == CheckResponse::Restart) return response;
  }
}

/// True after a whole period, false if stopped before or during it.
bool PollerInternals::PauseUnlessStopped(std::chrono::milliseconds period) {
  std::unique_lock lock(fMutex);
  const auto deadline = fNow() + period;
  while (!fStop) {
    const auto left = deadline - fNow();
    if (left <= left.zero()) return true;
    fWakeup.wait_for(lock, left);
  }
  return false;
}

bool PollerInternals::IsStopped() {
  const std::lock_guard lock(fMutex);
  return fStop;
}

}  // namespace DeviceList
