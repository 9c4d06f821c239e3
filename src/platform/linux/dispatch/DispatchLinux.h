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

/// The queue of jobs for a run loop's thread.
///
/// Construct and destroy it on the loop's thread. The destructor drops jobs that have not started, so none
/// runs after the queue's end.
class MainQueue {
 public:
  /// Throws std::system_error if no descriptor is left.
  explicit MainQueue(std::shared_ptr<RunLoop> loop);
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;
  ~MainQueue();

  /// Appends the job and wakes the loop. Any thread, as long as the queue lives. Each turn of the loop runs
  /// one job, in the order of posting. A job that runs its own loop (an open menu) does not stop the others.
  void Post(std::function<void()> job);

 private:
  void RunNext();

  std::shared_ptr<RunLoop> fLoop;
  std::mutex fMutex;
  const Wakeup fWakeup;                     // readable exactly while fJobs has any
  std::deque<std::function<void()>> fJobs;  // guarded by fMutex
  RunLoop::SourceId fSource;
};

/// The queues on a run loop and two pools of threads, one for each background priority. So default work may
/// wait for high work without a deadlock.
///
/// Construct and destroy it on the main thread. The destructor waits for background jobs that have started
/// and drops all others, also those for the main thread. Objects that post from other threads must be gone
/// before.
class DispatchLinux final : public Dispatch {
 public:
  /// Threads of each priority; further jobs wait.
  static constexpr std::size_t kThreadLimit = 16;

  /// Throws std::system_error if no descriptor is left.
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
