#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"
#include "platform/Dispatch.h"
#include "platform/linux/dispatch/WorkerPool.h"

namespace vorn {

/// The queue of jobs that a run loop's thread works off.
///
/// Construction and destruction belong to the loop's thread. Destruction drops
/// the jobs that have not begun, so none runs after the queue's end.
class MainQueue {
 public:
  /// Throws std::system_error when no descriptor is left.
  explicit MainQueue(std::shared_ptr<RunLoop> loop);
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;
  ~MainQueue();

  /// Appends the job and wakes the loop. Any thread, as long as the queue
  /// lives. Jobs run one for each turn of the loop, in the order posted; one
  /// that runs a loop of its own (an open menu) does not hold up the others.
  void Post(std::function<void()> job);

 private:
  void RunNext();

  std::shared_ptr<RunLoop> fLoop;
  std::mutex fMutex;
  const Wakeup fWakeup;                     // readable exactly while fJobs holds any
  std::deque<std::function<void()>> fJobs;  // guarded by fMutex
  RunLoop::SourceId fSource;
};

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
