#pragma once

#include <functional>

namespace vorn {

/// Where work is handed to: the main thread, or a background thread.
///
/// Any thread may post; posting never blocks and never runs the job inside the
/// call. A job that the queues no longer run, because they are shutting down,
/// is destroyed unrun; so a waiter needs a sign that comes then too (a promise
/// held by the job). What a job throws is logged and goes no further.
class Dispatch {
 public:
  enum class Priority {
    kHigh,     ///< never waits behind work of default priority
    kDefault,  ///< ordinary background work; may wait for work of high priority, never the other way round
  };
  using Job = std::function<void()>;

  Dispatch() = default;
  Dispatch(const Dispatch&) = delete;
  Dispatch& operator=(const Dispatch&) = delete;
  virtual ~Dispatch() = default;

  /// Runs the job on the main thread, from its run loop, in the order posted.
  virtual void AsyncMain(Job job) = 0;

  /// Runs the job on a background thread. Jobs of one priority start in the
  /// order posted and run beside each other. A job must end by itself: the
  /// program's exit waits for those that have begun.
  virtual void AsyncBackground(Priority priority, Job job) = 0;
};

}  // namespace vorn
