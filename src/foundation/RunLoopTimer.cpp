#include "foundation/RunLoopTimer.h"

#include <sys/timerfd.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <system_error>
#include <utility>

namespace vorn {
namespace {

// Longer than any uptime, and far below the overflow of the kernel's nanoseconds.
constexpr double kFarthestMonotonicSeconds = 4e9;

itimerspec SpecOf(AbsoluteTime date) {
  itimerspec spec{};
  const double seconds = MonotonicSecondsAt(date);
  if (!(seconds < kFarthestMonotonicSeconds)) return spec;  // never; all zero disarms
  if (seconds <= 0) {
    spec.it_value.tv_nsec = 1;  // the earliest date that does not disarm
    return spec;
  }
  const double whole = std::floor(seconds);
  spec.it_value.tv_sec = static_cast<time_t>(whole);
  spec.it_value.tv_nsec = static_cast<long>((seconds - whole) * 1e9);
  if (spec.it_value.tv_sec == 0 && spec.it_value.tv_nsec == 0) spec.it_value.tv_nsec = 1;
  return spec;
}

}  // namespace

RunLoopTimer::RunLoopTimer(std::shared_ptr<RunLoop> loop, AbsoluteTime firstFireDate,
                           std::function<void()> callback)
    : fLoop(std::move(loop)),
      fCallback(std::move(callback)),
      fDescriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
  if (!fDescriptor) throw std::system_error(errno, std::generic_category(), "timerfd_create");
  SetNextFireDate(firstFireDate);
  fSource = fLoop->AddSource(fDescriptor.Get(), [this] { Fire(); });
}

RunLoopTimer::~RunLoopTimer() {
  fLoop->RemoveSource(fSource);
}

void RunLoopTimer::SetNextFireDate(AbsoluteTime date) {
  fNextFireDate = date;
  const itimerspec spec = SpecOf(date);
  ::timerfd_settime(fDescriptor.Get(), TFD_TIMER_ABSTIME, &spec, nullptr);
}

void RunLoopTimer::FireAfter(std::chrono::duration<double> time) {
  SetNextFireDate(AbsoluteTimeGetCurrent() + time.count());
}

void RunLoopTimer::Fire() {
  std::uint64_t expirations = 0;
  // Nothing to read means that the date was changed since the wait ended.
  if (::read(fDescriptor.Get(), &expirations, sizeof expirations) != sizeof expirations) return;
  fCallback();
}

}  // namespace vorn
