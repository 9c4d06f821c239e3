#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>

#include "foundation/FileDescriptor.h"
#include "foundation/Thread.h"

namespace vorn::devicelisttool {

/// Blocks the signals that end the program. If it draws on a terminal, also those that change its page. So
/// every later thread leaves them to the functions below. Call before threads start.
void BlockSignals(bool drawsOnTerminal);

/// Takes the signals that end the program on a separate thread. So the program ends in time even while its
/// main thread is stuck, in a write that nobody reads or in the responder's library. These signals are
/// SIGINT, SIGTERM and SIGHUP. SIGHUP does not count if the program was started with it ignored, as by nohup.
///
/// The first signal makes the process end within `limit` and then calls `onSignal`, on that thread. Later
/// ones change nothing.
class EndSignals {
 public:
  /// `exitCodeOf` gives the exit status for a signal, on that thread. The signals must be blocked in every
  /// thread. Throws std::system_error if no descriptor or no thread is left.
  EndSignals(std::chrono::milliseconds limit, std::function<int(int signal)> exitCodeOf,
             std::function<void()> onSignal);
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

  /// Stops and joins the thread.
  ~EndSignals() = default;

  /// The signal that came; 0: none. Any thread.
  [[nodiscard]] int Received() const { return fReceived; }

 private:
  void ThreadProc();

  const std::chrono::milliseconds fLimit;
  const std::function<int(int)> fExitCodeOf;
  const std::function<void()> fOnSignal;
  FileDescriptor fSignals;
  std::atomic<int> fReceived{0};
  StoppableThread fThread;  // last: uses all members above
};

/// A descriptor that is readable after a signal that changes the page on a terminal: its size changed, the
/// stop key was pressed, or the program was continued. Empty if no descriptor is left.
[[nodiscard]] FileDescriptor TerminalSignals();

/// Takes the signals that came; returns whether the stop key was pressed.
[[nodiscard]] bool TakeTerminalSignals(const FileDescriptor& signals);

/// Stops the program as the system does if the signal is not blocked. An orphaned process group, for example,
/// is not stopped.
void StopAsTheSystemDoes();

}  // namespace vorn::devicelisttool
