#pragma once

#include <limits>

namespace vorn {

/// Seconds since 1 January 2001, 00:00 UTC: the dates of run-loop timers and
/// work items.
using AbsoluteTime = double;

/// A date that never comes.
inline constexpr AbsoluteTime kNever = std::numeric_limits<double>::max();

/// The current date. Anchored to the wall clock once per process and then
/// carried by the monotonic clock, so setting the system's clock never moves a
/// date that is already queued. Any thread.
[[nodiscard]] AbsoluteTime AbsoluteTimeGetCurrent();

/// The monotonic clock's reading, in seconds, at `date`.
[[nodiscard]] double MonotonicSecondsAt(AbsoluteTime date);

}  // namespace vorn
