#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "foundation/Thread.h"

namespace vorn {

/// Watches whether the system's DNS-SD responder can be talked to, from the
/// system bus: who owns its name, and whether that owner still answers.
///
///   kAbsent --(name owned, probe answered)--> kAnswering
///   kAnswering --(name lost, bus lost)------> kAbsent
///   kAnswering --(probe unanswered)---------> kSilent --(answered)--> kAnswering
///
/// It never starts the responder and never waits for it: all calls are sent
/// without waiting for the reply. The bus itself is waited for when a connection
/// is made: one that hangs holds the monitor's thread, and its destructor, for
/// libdbus's 25 seconds. A bus that is missing is tried again every second.
class ResponderMonitor {
 public:
  enum class State {
    kUnknown,    ///< nothing found out yet
    kAbsent,     ///< no system bus, or nobody owns the responder's name
    kSilent,     ///< the name is owned, but the owner does not answer
    kAnswering,  ///< the responder answers: operations can be made now
  };

  /// Called at every change of state. That another responder has taken over is
  /// told by kAbsent, and by kAnswering once the new one has answered. On the
  /// monitor's thread; must not block and must not destroy the monitor. A report
  /// that throws is made again soon.
  using Callback = std::function<void(State)>;

  struct Timing {
    std::chrono::milliseconds probePeriod{10'000};  ///< between one answer and the next probe
    std::chrono::milliseconds probeTimeout{5'000};  ///< unanswered for so long counts as silent
    std::chrono::milliseconds retryPeriod{1'000};   ///< between attempts to reach a missing bus
  };

  /// Starts the monitor's thread. Throws std::system_error when there is none
  /// to be had. Any thread; does not block.
  explicit ResponderMonitor(Callback onChange);
  ResponderMonitor(Callback onChange, Timing timing);
  ResponderMonitor(const ResponderMonitor&) = delete;
  ResponderMonitor& operator=(const ResponderMonitor&) = delete;

  /// Stops and joins the thread; no callback runs once this returns. Waits as
  /// the thread does for a bus that hangs.
  ~ResponderMonitor();

 private:
  class Connection;

  void ThreadProc();
  void Report(State state);

  const Callback fOnChange;
  const Timing fTiming;
  State fState = State::kUnknown;  // the monitor's thread alone
  StoppableThread fThread;         // last: uses all of the above
};

}  // namespace vorn
