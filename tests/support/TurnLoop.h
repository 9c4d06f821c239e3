#pragma once

#include <chrono>

#include "foundation/Clock.h"
#include "foundation/RunLoop.h"
#include "foundation/RunLoopTimer.h"
#include "tests/support/Eventually.h"

namespace vorn::testing {

/// Turns the calling thread's run loop until the condition is true; false if the deadline comes first.
template <typename Condition>
[[nodiscard]] bool TurnLoopUntil(Condition condition) {
  const auto end = Clock::now() + kGenerousDeadline;
  while (!condition()) {
    if (Clock::now() >= end) return false;
    PollRunLoop::Current()->RunOnce(std::chrono::milliseconds(10));
  }
  return true;
}

/// Serves what waits on the calling thread's run loop.
inline void TurnLoop() {
  while (PollRunLoop::Current()->RunOnce(std::chrono::milliseconds(0))) {
  }
}

/// Turns the calling thread's run loop until a timer of that time has fired, and all timers that were due
/// before.
inline void TurnLoopFor(std::chrono::milliseconds time) {
  bool hasFired = false;
  const RunLoopTimer timer(RunLoop::Current(), AbsoluteTimeAt(Clock::now() + time), [&] { hasFired = true; });
  (void)TurnLoopUntil([&] { return hasFired; });
  TurnLoop();
}

}  // namespace vorn::testing
