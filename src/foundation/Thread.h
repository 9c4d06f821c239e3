#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "foundation/FileDescriptor.h"

namespace vorn {

/// Starts a thread with `name` in process listings (its first 15 bytes). It takes no signals, because only
/// the program's own threads handle them. The caller's signals stay as they were. No exception may leave
/// `body`. Throws std::system_error ("thread constructor failed") if no thread is left, and std::bad_alloc.
[[nodiscard]] std::thread StartThread(const char* name, std::function<void()> body);

/// A thread, started as above, that its owner asks to stop and joins. For a body that waits in poll(): it
/// must wait for StopDescriptor too.
///
/// As a member it must be the last, so that it is joined before anything that its body uses is destroyed.
class StoppableThread {
 public:
  /// No thread yet. Throws std::system_error if no descriptor is left.
  StoppableThread() = default;
  StoppableThread(const StoppableThread&) = delete;
  StoppableThread& operator=(const StoppableThread&) = delete;
  ~StoppableThread() { Stop(); }

  // The owner's.

  /// Starts the thread, once; a second call ends the process. Throws like StartThread.
  void Start(const char* name, std::function<void()> body);
  /// Asks the body to stop. Does not wait. Any thread.
  void RequestStop() noexcept;
  /// Asks the body to stop and waits for its end. The body must not call it.
  void Stop();
  [[nodiscard]] bool IsStarted() const noexcept { return fThread.joinable(); }

  // For the body; any thread.

  [[nodiscard]] bool MustStop() const noexcept { return fMustStop; }
  /// Readable from the request to stop on.
  [[nodiscard]] int StopDescriptor() const noexcept { return fStop.Descriptor(); }
  /// Waits for this time, or until the request to stop. Returns whether the body may continue.
  [[nodiscard]] bool Pause(std::chrono::milliseconds time) const noexcept;
  void AwaitStop() const noexcept;

 private:
  Wakeup fStop;
  std::atomic<bool> fMustStop{false};
  std::thread fThread;
};

}  // namespace vorn
