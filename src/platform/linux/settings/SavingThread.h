#pragma once

#include <functional>
#include <memory>
#include <thread>

#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"

namespace vorn {

/// Runs the work of one save beside a run loop, so that the loop never waits for a disk or a lock. There is
/// one piece of work at a time, and a thread only while it runs.
///
/// @threadsafety The loop's thread only.
class SavingThread {
 public:
  /// `onDone` is called from the loop after each piece of work. Throws std::system_error if no descriptor is
  /// left.
  SavingThread(std::shared_ptr<RunLoop> loop, std::function<void()> onDone);
  SavingThread(const SavingThread&) = delete;
  SavingThread& operator=(const SavingThread&) = delete;
  /// Waits for the work, without a call of `onDone`.
  ~SavingThread();

  /// Starts the work; not while other work runs. If no thread is left, it runs inside this call. No exception
  /// may leave it.
  void Start(const std::function<void()>& work);

  /// From Start until `onDone` is called, or Await returns.
  [[nodiscard]] bool IsRunning() const { return fIsRunning; }

  /// Waits for the work, if any; `onDone` is not called for it. Returns whether there was any.
  bool Await();

 private:
  void Finish();

  std::shared_ptr<RunLoop> fLoop;
  std::function<void()> fOnDone;
  const Wakeup fDone;
  bool fIsRunning = false;
  std::thread fThread;
  RunLoop::SourceId fSource;
};

}  // namespace vorn
