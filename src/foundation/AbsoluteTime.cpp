#include "foundation/AbsoluteTime.h"

#include <algorithm>
#include <ctime>

namespace vorn {
namespace {

constexpr double kUnixSecondsAt2001 = 978307200.0;

double Read(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// A machine without a battery-backed clock may come up before 2001; then the
// dates count from its start, so that 0.0 is past there too.
double Anchor() {
  static const double anchor =
      std::max(Read(CLOCK_REALTIME) - kUnixSecondsAt2001 - Read(CLOCK_MONOTONIC), 0.0);
  return anchor;
}

}  // namespace

AbsoluteTime AbsoluteTimeGetCurrent() {
  return Anchor() + Read(CLOCK_MONOTONIC);
}

double MonotonicSecondsAt(AbsoluteTime date) {
  return date - Anchor();
}

}  // namespace vorn
