#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "foundation/Clock.h"
#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"

namespace vorn {

/// A timer of a run loop. It calls back on the loop's thread once for each fire date. After that, the date is
/// "never" until it is set again.
///
/// Construct and destroy it on the loop's thread. Any thread may set the date, also the callback, and this
/// wakes the loop. If several dates are set before the loop turns, there is one call.
class RunLoopTimer {
 public:
  /// Throws std::system_error if no descriptor is left.
  RunLoopTimer(std::shared_ptr<RunLoop> loop, AbsoluteTime firstFireDate, std::function<void()> callback);
  RunLoopTimer(const RunLoopTimer&) = delete;
  RunLoopTimer& operator=(const RunLoopTimer&) = delete;
  ~RunLoopTimer();

  /// A date in the past, such as 0.0, fires as soon as possible. kNever,
  /// infinity, not-a-number and dates too far to represent never fire.
  void SetNextFireDate(AbsoluteTime date);

  /// Fires after that time; as soon as possible if it is not positive.
  void FireAfter(std::chrono::duration<double> time);

  /// The date that was set last; it stays after the fire.
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
