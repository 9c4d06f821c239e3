#pragma once

#include <functional>
#include <memory>
#include <tuple>
#include <utility>

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

/// A function for other threads: each call queues `work(owner, values...)` for the main thread. The job does
/// nothing if the owner has dropped `alive` by then. The values are moved, and need not be copyable.
///
/// Any thread may call the function, and the queues must live longer than it. The owner drops `alive` on the
/// main thread.
template <typename Owner, typename Work>
[[nodiscard]] auto OnMain(Dispatch& queues, const std::shared_ptr<Owner*>& alive, Work work) {
  return [&queues, owner = std::weak_ptr(alive), work = std::move(work)](auto... values) {
    // Shared, because jobs are copied.
    const auto kept = std::make_shared<std::tuple<decltype(values)...>>(std::move(values)...);
    queues.AsyncMain([owner, work, kept] {
      const auto self = owner.lock();
      if (!self) return;
      std::apply([&](auto&... value) { std::invoke(work, **self, std::move(value)...); }, *kept);
    });
  };
}

}  // namespace vorn
