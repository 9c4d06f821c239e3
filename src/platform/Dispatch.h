#pragma once

#include <functional>

namespace vorn {

/// Runs work elsewhere: on the main thread, or on a background thread.
///
/// Any thread may post. Posting never blocks and never runs the job inside the call. When the queues shut
/// down, they destroy the remaining jobs without running them. So a waiter needs a signal that comes in that
/// case too, such as a promise in the job. An exception of a job is logged and goes no further.
class Dispatch {
 public:
  enum class Priority {
    kHigh,     ///< never waits behind work of default priority
    kDefault,  ///< ordinary background work; may wait for work of high priority, but not the other way round
  };
  using Job = std::function<void()>;

  Dispatch() = default;
  Dispatch(const Dispatch&) = delete;
  Dispatch& operator=(const Dispatch&) = delete;
  virtual ~Dispatch() = default;

  /// Runs the job on the main thread, from its run loop, in the order of posting.
  virtual void AsyncMain(Job job) = 0;

  /// Runs the job on a background thread. Jobs of one priority start in the order of posting and run at the
  /// same time. A job must end by itself, because the program's exit waits for jobs that have started.
  virtual void AsyncBackground(Priority priority, Job job) = 0;
};

}  // namespace vorn
