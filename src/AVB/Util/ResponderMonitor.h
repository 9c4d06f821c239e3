#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "foundation/Thread.h"

namespace vorn {

/// Watches on the system bus whether the system's DNS-SD responder can be used: who owns its name, and
/// whether that owner still answers.
///
///   kAbsent --(name owned, probe answered)--> kAnswering
///   kAnswering --(name lost, bus lost)------> kAbsent
///   kAnswering --(probe unanswered)---------> kSilent --(answered)--> kAnswering
///
/// It never starts the responder and never waits for it: all calls are sent without waiting for the reply.
/// Only a new connection waits for the bus, at most a second. If there is no bus, or a hung one, the monitor
/// tries again every second.
class ResponderMonitor {
 public:
  enum class State {
    kUnknown,    ///< nothing is known yet
    kAbsent,     ///< there is no system bus, or nobody owns the responder's name
    kSilent,     ///< the name has an owner, but the owner does not answer
    kAnswering,  ///< the responder answers: operations can be made now
  };

  /// Called at every change of state. If another responder takes over, the reports are kAbsent, and
  /// kAnswering when the new one has answered. Runs on the monitor's thread. Must not block and must not
  /// destroy the monitor. If a report throws, it is repeated soon.
  using Callback = std::function<void(State)>;

  struct Timing {
    std::chrono::milliseconds probePeriod{10'000};  ///< between one answer and the next probe
    std::chrono::milliseconds probeTimeout{
        5'000};  ///< a probe without an answer for this time counts as silent
    std::chrono::milliseconds retryPeriod{1'000};  ///< between attempts to reach a missing bus
  };

  /// Starts the monitor's thread. Throws std::system_error if no thread is left. Any thread; does not block.
  explicit ResponderMonitor(Callback onChange);
  ResponderMonitor(Callback onChange, Timing timing);
  ResponderMonitor(const ResponderMonitor&) = delete;
  ResponderMonitor& operator=(const ResponderMonitor&) = delete;

  /// Stops and joins the thread. No callback runs after this returns. Waits for a hung bus as the thread
  /// does.
  ~ResponderMonitor();

 private:
  class Connection;

  void ThreadProc();
  void Report(State state);

  const Callback fOnChange;
  const Timing fTiming;
  State fState = State::kUnknown;  // used by the monitor's thread only
  StoppableThread fThread;         // last: uses all members above
};

}  // namespace vorn
