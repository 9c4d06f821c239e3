#include "foundation/Clock.h"

#include <algorithm>

namespace vorn {
namespace {

constexpr double kUnixSecondsAt2001 = 978307200.0;

template <typename TimePoint>
double Seconds(TimePoint time) {
  return std::chrono::duration<double>(time.time_since_epoch()).count();
}

// A machine without a battery-backed clock may start before 2001. Then the dates count from its start, so
// that 0.0 is in the past there too.
double Anchor() {
  static const double anchor =
      std::max(Seconds(std::chrono::system_clock::now()) - kUnixSecondsAt2001 - Seconds(Clock::now()), 0.0);
  return anchor;
}

}  // namespace

AbsoluteTime AbsoluteTimeAt(Clock::time_point time) {
  return Anchor() + Seconds(time);
}

AbsoluteTime AbsoluteTimeGetCurrent() {
  return AbsoluteTimeAt(Clock::now());
}

double MonotonicSecondsAt(AbsoluteTime date) {
  return date - Anchor();
}

}  // namespace vorn
