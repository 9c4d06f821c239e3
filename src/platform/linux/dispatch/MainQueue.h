#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"

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
  FileDescriptor fWakeup;                   // readable exactly while fJobs holds any
  std::deque<std::function<void()>> fJobs;  // guarded by fMutex
  RunLoop::SourceId fSource;
};

}  // namespace vorn
