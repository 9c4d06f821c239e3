#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include "foundation/FileDescriptor.h"

namespace vorn::devicelisttool {

/// The signals that end the program: SIGINT, SIGTERM and, unless the program
/// was started with it ignored, as nohup does, SIGHUP.
[[nodiscard]] sigset_t EndingSignals();

/// Takes the signals that end the program on a thread of its own, so that the
/// program ends in time even while its main thread is stuck, in a write that
/// nobody reads or in the responder's library.
///
/// The first one binds the process to end within `limit` and then calls
/// `onSignal`, on that thread; later ones change nothing.
class EndSignals {
 public:
  /// `exitCodeOf` gives the exit code for a signal, on that thread. The signals
  /// must be blocked in every thread. Throws std::system_error when there is
  /// no descriptor or thread to be had.
  EndSignals(std::chrono::milliseconds limit, std::function<int(int signal)> exitCodeOf,
             std::function<void()> onSignal);
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  /// Stops and joins the thread.
  ~EndSignals();

  /// The signal that came; 0: none. Any thread.
  [[nodiscard]] int Received() const { return fReceived; }

 private:
  void ThreadProc();

  const std::chrono::milliseconds fLimit;
  const std::function<int(int)> fExitCodeOf;
  const std::function<void()> fOnSignal;
  FileDescriptor fSignals;
  FileDescriptor fStop;
  std::atomic<int> fReceived{0};
  std::thread fThread;  // last: uses all of the above
};

}  // namespace vorn::devicelisttool
