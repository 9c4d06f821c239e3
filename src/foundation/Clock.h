#pragma once

#include <chrono>
#include <functional>
#include <limits>

namespace vorn {

/// The clock of all deadlines and pauses. A change of the system's clock does not move it.
using Clock = std::chrono::steady_clock;

/// How code that depends on time gets its clock: `Now now = Clock::now` as the last argument. A test passes
/// its own. Any thread of the clock's user may call it.
using Now = std::function<Clock::time_point()>;

/// Seconds since 1 January 2001, 00:00 UTC. Run-loop timers and work items use these dates.
using AbsoluteTime = double;

/// A date that never comes.
inline constexpr AbsoluteTime kNever = std::numeric_limits<double>::max();

/// The date at that reading of the clock. Dates are set from the wall clock once per process and then follow
/// the monotonic clock. So a change of the system's clock never moves a queued date. Any thread.
[[nodiscard]] AbsoluteTime AbsoluteTimeAt(Clock::time_point time);

/// The current date. Any thread.
[[nodiscard]] AbsoluteTime AbsoluteTimeGetCurrent();

/// The monotonic clock's reading, in seconds, at `date`. Any thread.
[[nodiscard]] double MonotonicSecondsAt(AbsoluteTime date);

}  // namespace vorn
