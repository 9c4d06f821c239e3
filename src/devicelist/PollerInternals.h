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

/// A thread that runs an ordered list of checks again and again until this object is destroyed:
///
///       +--------------------- Restart: pause, then from the first ----+
///       v                                                              |
///     first --Done--> second --Done--> ... --Done--> last --Done--> first
///       ^ |             ^ |                           ^ |
///       +-+             +-+  Retry: pause, then again +-+      Stop: end
///
/// A pause lasts one period of the clock. Only destruction makes it shorter.
class PollerInternals {
 public:
  /// What must happen after a check.
  enum class CheckResponse {
    Done,     ///< continue at once with the next check
    Retry,    ///< pause, then run the same check again, with its state
    Restart,  ///< pause, then start again from the first check
    Stop,     ///< end the thread
  };

  /// One check. Runs on the object's own thread, without any lock. `state` belongs to the loop. It is empty
  /// whenever the loop comes to the check. If the check is repeated after Retry, it has the contents from the
  /// last time. An exception from a check counts as Restart.
  using Check = std::function<CheckResponse(vorn::optional<std::string>& state)>;

  /// Starts the thread. The first check runs at once. Throws std::system_error ("thread constructor failed")
  /// if no thread is left. The thread takes no signals, because only the program's own threads handle them.
  /// The thread calls `now` under fMutex.
  PollerInternals(std::chrono::milliseconds period, std::vector<Check> checks,
                  vorn::Now now = vorn::Clock::now);

  /// Ends a pause at once, waits until a running check returns, and joins the thread. No further check runs.
  /// The owner of the check must make sure that it returns. Do not call it from a check.
  ~PollerInternals();

  PollerInternals(const PollerInternals&) = delete;
  PollerInternals& operator=(const PollerInternals&) = delete;

 protected:
  std::mutex fMutex;                ///< guards fStop
  std::condition_variable fWakeup;  ///< the thread pauses here, and reads the clock when it wakes
  bool fStop = false;               ///< true from the start of destruction

 private:
  void Loop(std::chrono::milliseconds period, const std::vector<Check>& checks);
  CheckResponse RunCycle(std::chrono::milliseconds period, const Check& check);
  [[nodiscard]] bool PauseUnlessStopped(std::chrono::milliseconds period);
  [[nodiscard]] bool IsStopped();

  const vorn::Now fNow;
  std::thread fThread;  ///< last: uses all members above
};

}  // namespace DeviceList
