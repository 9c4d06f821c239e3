#include "foundation/AbsoluteTime.h"

#include <ctime>

namespace vorn {
namespace {

constexpr double kUnixSecondsAt2001 = 978307200.0;

double Read(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double Anchor() {
  static const double anchor = Read(CLOCK_REALTIME) - kUnixSecondsAt2001 - Read(CLOCK_MONOTONIC);
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
