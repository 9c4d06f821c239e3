#pragma once

#include <memory>

#include "foundation/RunLoop.h"
#include "platform/Dispatch.h"
#include "platform/linux/dispatch/MainQueue.h"
#include "platform/linux/dispatch/WorkerPool.h"

namespace vorn {

/// The queues on a run loop and two pools of threads, one for each background
/// priority, so that default work may wait for high work without a deadlock.
///
/// Construction and destruction belong to the main thread. Destruction waits
/// for the background jobs that have begun and drops all others, those for the
/// main thread included. Whoever posts from another thread must be gone before.
class DispatchLinux final : public Dispatch {
 public:
  /// Threads of each priority; more jobs than this wait their turn.
  static constexpr std::size_t kThreadLimit = 16;

  /// Throws std::system_error when no descriptor is left.
  explicit DispatchLinux(std::shared_ptr<RunLoop> mainLoop);

  void AsyncMain(Job job) override;
  void AsyncBackground(Priority priority, Job job) override;

 private:
  // In this order: default work may wait for high work and post to the main queue while it ends.
  MainQueue fMain;
  WorkerPool fHigh;
  WorkerPool fDefault;
};

}  // namespace vorn
