#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// Starts a thread that shows under `name` in process listings (its first 15
/// bytes) and takes no signals: those are for the program's own threads. The
/// caller's signals stay as they were. No exception may leave `body`. Throws
/// std::system_error ("thread constructor failed") when no thread is left, and
/// std::bad_alloc.
[[nodiscard]] std::thread StartThread(const char* name, std::function<void()> body);

/// A thread, started as above, that its owner asks to stop and joins. For a
/// body that waits in poll(): it includes StopDescriptor in what it waits for.
///
/// As a member it stands last, so that it is joined before anything that its
/// body uses goes.
class StoppableThread {
 public:
  /// No thread yet. Throws std::system_error when no descriptor is left.
  StoppableThread() = default;
  StoppableThread(const StoppableThread&) = delete;
  StoppableThread& operator=(const StoppableThread&) = delete;
  ~StoppableThread() { Stop(); }

  // The owner's.

  /// Starts the thread; once, a second call ends the process. Throws as StartThread does.
  void Start(const char* name, std::function<void()> body);
  /// Asks the body to stop. Does not wait. Any thread.
  void RequestStop() noexcept;
  /// Asks the body to stop and waits until it has. Not to be called by the body.
  void Stop();
  [[nodiscard]] bool IsStarted() const noexcept { return fThread.joinable(); }

  // The body's; any thread.

  [[nodiscard]] bool MustStop() const noexcept { return fMustStop; }
  /// Readable from the request to stop on.
  [[nodiscard]] int StopDescriptor() const noexcept { return fStop.Descriptor(); }
  /// Waits for so long, or until the request to stop. Returns whether the body may go on.
  [[nodiscard]] bool Pause(std::chrono::milliseconds time) const noexcept;
  void AwaitStop() const noexcept;

 private:
  Wakeup fStop;
  std::atomic<bool> fMustStop{false};
  std::thread fThread;
};

}  // namespace vorn
