#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Clock.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// A thread that runs an ordered list of checks again and again until this
/// object is destroyed:
///
///       +--------------------- Restart: pause, then from the first ----+
///       v                                                              |
///     first --Done--> second --Done--> ... --Done--> last --Done--> first
///       ^ |             ^ |                           ^ |
///       +-+             +-+  Retry: pause, then again +-+      Stop: end
///
/// A pause lasts one period of the clock; only destruction shortens it.
class PollerInternals {
 public:
  /// What a check wants to happen next.
  enum class CheckResponse {
    Done,     ///< go on at once with the next check
    Retry,    ///< pause, then run the same check again, with its state
    Restart,  ///< pause, then start again from the first check
    Stop,     ///< end the thread
  };

  /// One check. Runs on the object's own thread, without any lock held.
  /// `state` is the loop's: empty whenever the loop comes to the check, and
  /// what the check left in it when the check is repeated after Retry. An
  /// exception out of a check counts as Restart.
  using Check = std::function<CheckResponse(vorn::optional<std::string>& state)>;

  /// Starts the thread; the first check runs at once. Throws std::system_error
  /// ("thread constructor failed") when no thread is left. The thread takes no
  /// signals: those are for the program's own threads. `now` is read on the
  /// thread, under fMutex.
  PollerInternals(std::chrono::milliseconds period, std::vector<Check> checks,
                  vorn::Now now = vorn::Clock::now);

  /// Ends a pause at once, waits for a running check to return (whoever gave
  /// it has to see that it does) and joins the thread; no further check runs.
  /// Not to be called from a check.
  ~PollerInternals();

  PollerInternals(const PollerInternals&) = delete;
  PollerInternals& operator=(const PollerInternals&) = delete;

 protected:
  std::mutex fMutex;                ///< guards fStop
  std::condition_variable fWakeup;  ///< the thread pauses here, and looks at the clock when woken
  bool fStop = false;               ///< true from the begin of destruction

 private:
  void Loop(std::chrono::milliseconds period, const std::vector<Check>& checks);
  CheckResponse RunCycle(std::chrono::milliseconds period, const Check& check);
  [[nodiscard]] bool PauseUnlessStopped(std::chrono::milliseconds period);
  [[nodiscard]] bool IsStopped();

  const vorn::Now fNow;
  std::thread fThread;  ///< last: uses all of the above
};

}  // namespace DeviceList
