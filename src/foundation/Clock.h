#pragma once

#include <chrono>
#include <functional>
#include <limits>

namespace vorn {

/// The clock of all deadlines and pauses; setting the system's clock does not move it.
using Clock = std::chrono::steady_clock;

/// How a clock is put into what depends on time: `Now now = Clock::now` as the
/// last argument. A test passes its own. May be called on any thread that the
/// user of the clock has.
using Now = std::function<Clock::time_point()>;

/// Seconds since 1 January 2001, 00:00 UTC: the dates of run-loop timers and
/// work items.
using AbsoluteTime = double;

/// A date that never comes.
inline constexpr AbsoluteTime kNever = std::numeric_limits<double>::max();

/// The date at that reading of the clock. The dates are anchored to the wall
/// clock once per process and then carried by the monotonic clock, so setting
/// the system's clock never moves a date that is already queued. Any thread.
[[nodiscard]] AbsoluteTime AbsoluteTimeAt(Clock::time_point time);

/// The current date. Any thread.
[[nodiscard]] AbsoluteTime AbsoluteTimeGetCurrent();

/// The monotonic clock's reading, in seconds, at `date`. Any thread.
[[nodiscard]] double MonotonicSecondsAt(AbsoluteTime date);

}  // namespace vorn
