#include "tests/foundation/ClockStandIn.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace vorn::testing {

constinit std::atomic<std::int64_t> gMonotonicNanoseconds{kMonotonicAtLoad};
constinit std::atomic<std::int64_t> gRealtimeNanoseconds{kRealtimeAtLoad};

}  // namespace vorn::testing

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  using namespace vorn::testing;
  std::int64_t nanoseconds = 0;
  switch (clock) {
    case CLOCK_MONOTONIC:
      nanoseconds = gMonotonicNanoseconds;
      break;
    case CLOCK_REALTIME:
      nanoseconds = gRealtimeNanoseconds;
      break;
    default:
      return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  }
  *time = {nanoseconds / kSecond, nanoseconds % kSecond};
  return 0;
}
