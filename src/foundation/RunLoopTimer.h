#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "foundation/Clock.h"
#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"

namespace vorn {

/// A timer of a run loop. It calls back on the loop's thread once per fire
/// date; after a fire the date is "never" until it is set again.
///
/// Construction and destruction belong to the loop's thread; setting the date
/// may be done by any thread, the callback included, and wakes the loop.
/// Several dates set before the loop turns give one call.
class RunLoopTimer {
 public:
  /// Throws std::system_error when no descriptor is left.
  RunLoopTimer(std::shared_ptr<RunLoop> loop, AbsoluteTime firstFireDate, std::function<void()> callback);
  RunLoopTimer(const RunLoopTimer&) = delete;
  RunLoopTimer& operator=(const RunLoopTimer&) = delete;
  ~RunLoopTimer();

  /// A date in the past, such as 0.0, fires as soon as possible. kNever,
  /// infinity, not-a-number and dates too far to represent never fire.
  void SetNextFireDate(AbsoluteTime date);

  /// Fires once that time has passed; as soon as possible when it is not positive.
  void FireAfter(Clock::duration time);

  /// The date last set; stays after the fire.
  [[nodiscard]] AbsoluteTime NextFireDate() const { return fNextFireDate; }

 private:
  void Fire();

  std::shared_ptr<RunLoop> fLoop;
  std::function<void()> fCallback;
  FileDescriptor fDescriptor;
  std::atomic<AbsoluteTime> fNextFireDate{kNever};
  RunLoop::SourceId fSource;
};

}  // namespace vorn
